// The rare operations of locks within one process: they release the locks of a thread that ends, hand them on, and
// reset locks after a fork. They take no lock. REQUIRES: every record that is passed is that of the calling thread.

#include "platform/fast_mutex.h"

void platform::TThreadRecord::AbandonAll() noexcept {
    while (held)
        held->Abandon(*this);
}

void platform::TFastMutex::ForgetOtherThreads(TThreadRecord const &self) noexcept {
    if (IsHeldBy(self))
        return;
    fState = free;
    fOwner = 0;
    fDepth = 0;
    fAbandoned = no;
}

// Records that the present owner took the lock from an owner that ended, or that the owner before did so.
platform::TWaitResult platform::TFastMutex::TakeOver() noexcept {
    bool const isNow = fAbandoned == yes;
    fAbandoned = isNow ? takenOver : no;
    return isNow ? TWaitResult::abandoned : TWaitResult::done;
}

void platform::TFastMutex::Abandon(TThreadRecord &thread) noexcept {
    fAbandoned = yes;
    fDepth = 0;
    Release(thread);
}
