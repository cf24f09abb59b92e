#ifndef TUZUTIL_PLATFORM_NO_CANCEL
#define TUZUTIL_PLATFORM_NO_CANCEL

// For code that drops every exception of somebody else's: on some systems a thread that is cancelled is unwound like by
// an exception, which must not be dropped. For a scope, it is not cancelled.

#include "platform/platform.h"

class TNoCancel {
public:
    TNoCancel() noexcept : fHeld(platform::HoldCancellation()) {}
    TNoCancel(TNoCancel const &) = delete;
    TNoCancel &operator=(TNoCancel const &) = delete;
    ~TNoCancel() { platform::ReleaseCancellation(fHeld); }

private:
    int fHeld;
};

#endif
