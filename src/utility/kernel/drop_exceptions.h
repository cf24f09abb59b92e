#ifndef TUZUTIL_DROP_EXCEPTIONS
#define TUZUTIL_DROP_EXCEPTIONS

// DropExceptions(): calls code whose failure must not stop the work of the library. On some systems, the cancellation
// of a thread unwinds it like an exception. catch (...) must not drop this unwinding, so the thread cannot be cancelled
// during the call.

#include "platform/no_cancel.h"

// Runs `act` and drops any exception. Returns false if there was one.
template <typename Act>
bool DropExceptions(Act act) noexcept {
    TNoCancel const noCancel;
    try {
        act();
        return true;
    } catch (...) {
        return false;
    }
}

#endif
