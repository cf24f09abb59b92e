#ifndef TUZUTIL_PLATFORM_POSIX_DEADLINE
#define TUZUTIL_PLATFORM_POSIX_DEADLINE

// TDeadline: the time at which a wait ends, measured by one of the system's clocks. A wait that never ends has no
// deadline. A wait that was interrupted can begin again with the same deadline. The class takes no locks.

#include "platform/platform.h"

#include <time.h>

namespace platform {

class TDeadline {
public:
    explicit TDeadline(std::uint32_t milliseconds, clockid_t clock = CLOCK_MONOTONIC) noexcept
        : fIsLimited(milliseconds != waitForEver) {
        if (!fIsLimited)
            return;
        ::clock_gettime(clock, &fEnd);
        fEnd.tv_sec += static_cast<time_t>(milliseconds / 1000);
        fEnd.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
        if (fEnd.tv_nsec >= 1000000000) {
            fEnd.tv_nsec -= 1000000000;
            ++fEnd.tv_sec;
        }
    }

    timespec const *End() const noexcept { return fIsLimited ? &fEnd : nullptr; } // null for a wait without an end

private:
    bool fIsLimited;
    timespec fEnd{};
};

} // namespace platform

#endif
