// Keeps the calling thread from being cancelled, through the cancel state that the C library has for each thread. A
// cancellation that arrives meanwhile stays pending until the former state is restored. The functions take no locks.

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
