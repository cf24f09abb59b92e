// What the locks within one process need seldom: the end of a thread that holds some, and a fork. It takes no lock; the
// caller makes sure that the record is its own thread's.

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
