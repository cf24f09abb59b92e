// The rare operations of locks within one process: they release the locks of a thread that ends, and reset locks after
// a fork. They take no lock. REQUIRES: every record that is passed is that of the calling thread.

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
    fAbandoned = false;
}

void platform::TFastMutex::Abandon(TThreadRecord &thread) noexcept {
    fAbandoned = true;
    fDepth = 0;
    Release(thread);
}
