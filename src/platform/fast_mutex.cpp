// The rare operations of TFastMutex: releasing the locks of a thread that ends, taking over such a lock, and resetting
// locks after a fork. None of these operations acquires a lock of its own. REQUIRES: every TThreadRecord that a
// function uses is that of the calling thread.

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

// If the previous owner ended while it held the lock, records that the present owner took the lock over, and returns
// `abandoned`. Otherwise sets fAbandoned to `no`, because the previous owner released the lock itself, and returns
// `done`.
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
