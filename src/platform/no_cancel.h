#ifndef TUZUTIL_PLATFORM_NO_CANCEL
#define TUZUTIL_PLATFORM_NO_CANCEL

// TNoCancel: keeps this thread from being cancelled while the object exists. Some systems unwind the stack of a
// cancelled thread as if the thread had thrown an exception. A catch (...) catches this unwinding too, but must not end
// it. Therefore code that catches and drops all exceptions needs a TNoCancel. The classes of this file take no locks.

#include "platform/platform.h"
#include "platform/single_thread.h"

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

// Keeps other threads from cancelling this thread while the object exists. If the process has only one thread, the
// constructor and the destructor call nothing. REQUIRES: while the object exists, the thread neither reaches a
// cancellation point nor starts a thread. (With only one thread, the object does not hold back a cancellation. If the
// thread has cancelled itself earlier, it would end at the cancellation point.)
class TNoCancelByOthers {
public:
    TNoCancelByOthers() noexcept : fHeld(*singleThreadByte ? fsNotHeld : HoldCancellation()) {}
    TNoCancelByOthers(TNoCancelByOthers const &) = delete;
    TNoCancelByOthers &operator=(TNoCancelByOthers const &) = delete;
    ~TNoCancelByOthers() {
        if (fHeld != fsNotHeld)
            ReleaseCancellation(fHeld);
    }

private:
    static constexpr int fsNotHeld = -1; // HoldCancellation() never returns this number

    int fHeld;
};

} // namespace platform

using platform::TNoCancel; // the layers above use the short names
using platform::TNoCancelByOthers;

#endif
