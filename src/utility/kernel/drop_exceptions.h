#ifndef TUZUTIL_DROP_EXCEPTIONS
#define TUZUTIL_DROP_EXCEPTIONS

// For calls of code outside the library whose failure must not stop the library's own work. Some systems unwind a
// cancelled thread like an exception, and catch (...) must not drop that. So the thread cannot be cancelled during the
// call.

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
