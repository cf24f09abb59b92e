#ifndef TUZUTIL_DROP_EXCEPTIONS
#define TUZUTIL_DROP_EXCEPTIONS

// For code of somebody else whose failure must not stop the library's own work. A thread that is being cancelled is
// unwound like by an exception, on some systems; that must not be dropped, so the thread is not cancelled meanwhile.

#include "platform/no_cancel.h"

// Runs `act` and drops what it throws. False if it has thrown.
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
