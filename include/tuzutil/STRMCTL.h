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
// Ownership:  the stream is borrowed: Attach(nullptr) before it ends, unless the control ends first.
// Threads:    one thread at a time; an exception that is handed to another thread must end before the stream is used.
// Failures:   none of its own.
// Surprises:  a standard stream swallows what its buffer throws, unless the bit that it sets is in its exception mask.
//             So the mask holds badbit and failbit from the throw until the last copy of the exception is gone; then
//             mask and state have both bits as before. Inside the handler the stream is still bad. A stream that is not
//             attached needs exceptions(std::ios::badbit) and a clear() afterwards.

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

    void Attach(std::ios *stream) noexcept; // null: no stream from now on
    bool IsUnitBuffered() const noexcept;   // the stream flushes after every write; false without a stream

private:
    friend class TStreamFailure;

    std::shared_ptr<TStreamLink> const &Link(); // allocates; null without a stream

    std::ios *fStream = nullptr;
    std::shared_ptr<TStreamLink> fLink; // made by the first failure
};

#endif
