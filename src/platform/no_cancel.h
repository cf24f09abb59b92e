#ifndef TUZUTIL_PLATFORM_NO_CANCEL
#define TUZUTIL_PLATFORM_NO_CANCEL

// TNoCancel: keeps this thread from being cancelled for a scope. Code that drops every exception of a caller's needs
// it: some systems unwind a cancelled thread as an exception does, and this one must not be dropped. Takes no locks.

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
