#ifndef TUZUTIL_POSIX_DEADLINE_H
#define TUZUTIL_POSIX_DEADLINE_H

#include <cstdint>
#include <time.h>

// The point of a clock that lies so many milliseconds ahead.
inline timespec DeadlineIn(std::uint32_t milliseconds, clockid_t clock) noexcept {
    timespec at;
    ::clock_gettime(clock, &at);
    at.tv_sec += static_cast<time_t>(milliseconds / 1000);
    at.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (at.tv_nsec >= 1000000000) {
        at.tv_nsec -= 1000000000;
        ++at.tv_sec;
    }
    return at;
}

#endif
