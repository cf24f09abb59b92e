// Processes do not fork on this system.

#include "platform/platform.h"

bool platform::FollowForks(void (*)() noexcept, void (*)() noexcept, void (*)() noexcept) noexcept {
    return true;
}
