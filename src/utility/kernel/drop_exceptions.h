#ifndef TUZUTIL_DROP_EXCEPTIONS
#define TUZUTIL_DROP_EXCEPTIONS

// DropExceptions(): calls code whose failure must not stop the work of the library. Some systems unwind the stack of a
// cancelled thread as if the thread had thrown an exception. A catch (...) catches this unwinding too, but must not end
// it. Therefore the thread is not cancelled during the call.

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
