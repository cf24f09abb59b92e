#ifndef TUZUTIL_PLATFORM_WIN32_DEADLINE
#define TUZUTIL_PLATFORM_WIN32_DEADLINE

// TDeadline: the time at which a wait ends. A wait that never ends has no deadline. The system's functions take a
// duration, so the class computes how many milliseconds are left. The class takes no locks.

#include "platform/platform.h"

#include <windows.h>

namespace platform {

class TDeadline {
public:
    explicit TDeadline(std::uint32_t milliseconds) noexcept
        : fIsLimited(milliseconds != waitForEver), fEnd(GetTickCount64() + milliseconds) {}

    // Returns how many milliseconds are left: 0 after the end, INFINITE for a wait without an end.
    DWORD Remaining() const noexcept {
        if (!fIsLimited)
            return INFINITE;
        ULONGLONG const now = GetTickCount64();
        return now < fEnd ? static_cast<DWORD>(fEnd - now) : 0;
    }

private:
    bool fIsLimited;
    ULONGLONG fEnd;
};

} // namespace platform

#endif
