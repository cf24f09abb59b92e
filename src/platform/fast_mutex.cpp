#include "platform/fast_mutex.h"

void TThreadRecord::AbandonAll() noexcept {
    while (held)
        held->Abandon(*this);
}

void TFastMutex::ForgetOtherThreads(TThreadRecord const &self) noexcept {
    if (IsHeldBy(self))
        return;
    fState = free;
    fOwner = 0;
    fDepth = 0;
    fAbandoned = false;
}

void TFastMutex::Abandon(TThreadRecord &thread) noexcept {
    fAbandoned = true;
    fDepth = 0;
    Release(thread);
}
