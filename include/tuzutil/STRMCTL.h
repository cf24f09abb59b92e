#ifndef TUZUTIL_STRMCTL_H
#define TUZUTIL_STRMCTL_H

// TStreamControl: lets the exceptions of DOTBYTE.h, which stream buffers throw, reach the caller of the stream.
//
// Example:
//     TDotByteStreamBuf body(connection);
//     std::istream in(&body);
//     body.Attach(&in);         // the library's own stream classes do this themselves
//     body.Cancel();
//     try {
//         in.get();
//     } catch (TDotByteError &) {
//     }
//     in.get();                 // proceeds: the stream is good again
//
// Ownership:  The stream is borrowed. If the stream is destroyed before the control, call Attach(nullptr) first.
// Threads:    One thread at a time may use a control and its stream. If another thread gets the exception, that thread
//             must destroy the exception before the stream is used again.
// Failures:   The control itself does not fail.
// Surprises:
// - While a handler has the exception, the stream is still bad, and its exception mask has badbit and failbit. When the
//   last copy of the exception is destroyed, both bits are cleared in the mask and in the state, except those that were
//   set before.
// - If a buffer is not attached, call exceptions(std::ios::badbit) of the stream before reading or writing, and call
//   clear() after an exception.
class TStreamControl;

#include "tuzutil/EXPORT.h"

#include <iosfwd>
#include <memory>

class TStreamLink;

class TUZUTIL_API TStreamControl {
public:
    TStreamControl() noexcept = default;
    ~TStreamControl();
    TStreamControl(TStreamControl const &) = delete;
    TStreamControl &operator=(TStreamControl const &) = delete;

    // Attaches the stream whose buffer may throw; null detaches it. When the buffer of a standard stream throws, the
    // stream sets badbit or failbit. The stream then drops the exception, unless its exception mask has that bit.
    // Therefore this class sets both bits in the mask when the buffer throws an exception of DOTBYTE.h. The class
    // restores the mask when the last copy of the exception is destroyed.
    void Attach(std::ios *stream) noexcept;
    bool IsUnitBuffered() const noexcept; // whether the stream flushes after every write; false without a stream

private:
    friend class TStreamFailure;

    std::shared_ptr<TStreamLink> const &Link(); // allocates memory; null without a stream

    std::ios *fStream = nullptr;
    std::shared_ptr<TStreamLink> fLink; // made at the first failure
};

#endif
