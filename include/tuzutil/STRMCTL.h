#ifndef TUZUTIL_STRMCTL_H
#define TUZUTIL_STRMCTL_H

// TStreamControl: lets an exception of a stream buffer reach the caller of the stream with its own type.
//
// Example:
//     TDotByteStreamBuf body(connection);
//     std::istream in(&body);
//     body.Attach(&in);         // the library's own stream classes have done this
//     body.Cancel();
//     try {
//         in.get();
//     } catch (TDotByteError &) {
//     }
//     in.get();                 // proceeds: the stream is good again
//
// Ownership:  The stream is borrowed. Call Attach(nullptr) before it is destroyed, unless the control is destroyed
//             first.
// Threads:    One thread at a time. If another thread gets the exception, it must destroy it before the stream is used.
// Failures:   None of its own.
// Surprises:
// - Inside the handler the stream is still bad: its mask holds badbit and failbit until the last copy of the exception
//   is destroyed. Then both bits are again as they were before, in mask and state.
// - If a buffer is not attached, call exceptions(std::ios::badbit) of the stream before, and clear() afterwards.

#include "tuzutil/EXPORT.h"

#include <iosfwd>
#include <memory>

class TStreamLink;

// When its buffer throws, a standard stream sets badbit or failbit, and drops the exception unless its exception mask
// has that bit. This class therefore sets both bits in the mask when the buffer throws, and restores the mask when the
// last copy of the exception is destroyed.
class TUZUTIL_API TStreamControl {
public:
    TStreamControl() noexcept = default;
    ~TStreamControl();
    TStreamControl(TStreamControl const &) = delete;
    TStreamControl &operator=(TStreamControl const &) = delete;

    void Attach(std::ios *stream) noexcept; // null detaches
    bool IsUnitBuffered() const noexcept;   // whether the stream flushes after every write; false without a stream

private:
    friend class TStreamFailure;

    std::shared_ptr<TStreamLink> const &Link(); // allocates; null without a stream

    std::ios *fStream = nullptr;
    std::shared_ptr<TStreamLink> fLink; // made at the first failure
};

#endif
