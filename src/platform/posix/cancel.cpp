// Holding back the cancellation of this thread. Takes no locks.

#include "platform/platform.h"

#include <pthread.h>

int platform::HoldCancellation() noexcept {
    int before = PTHREAD_CANCEL_ENABLE;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    return before;
}

void platform::ReleaseCancellation(int held) noexcept {
    ::pthread_setcancelstate(held, nullptr);
}
