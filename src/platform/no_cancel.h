#ifndef TUZUTIL_PLATFORM_NO_CANCEL
#define TUZUTIL_PLATFORM_NO_CANCEL

// TNoCancel: keeps this thread from being cancelled while the object exists. Code that catches and drops all exceptions
// needs a TNoCancel, because some systems unwind a cancelled thread like an exception, and catch (...) must not drop
// that unwinding. Takes no locks.

#include "platform/platform.h"

namespace platform {

class TNoCancel {
public:
    TNoCancel() noexcept : fHeld(HoldCancellation()) {}
    TNoCancel(TNoCancel const &) = delete;
    TNoCancel &operator=(TNoCancel const &) = delete;
    ~TNoCancel() { ReleaseCancellation(fHeld); }

private:
    int fHeld;
};

} // namespace platform

using platform::TNoCancel; // the layers above use the short name

#endif
