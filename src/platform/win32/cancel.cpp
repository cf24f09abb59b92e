// Threads are not cancelled on this system.

#include "platform/platform.h"

int platform::HoldCancellation() noexcept {
    return 0;
}

void platform::ReleaseCancellation(int) noexcept {}
