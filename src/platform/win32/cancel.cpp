// Threads are not cancelled on this system, so HoldCancellation() and ReleaseCancellation() do nothing. They exist so
// that common code can call them on every system. They take no locks.

#include "platform/platform.h"

int platform::HoldCancellation() noexcept {
    return 0;
}

void platform::ReleaseCancellation(int) noexcept {}
