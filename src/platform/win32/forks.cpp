// Processes do not fork on this system. FollowForks() therefore reports success and never calls the functions that it
// receives. The function takes no locks.

#include "platform/platform.h"

bool platform::FollowForks(void (*)() noexcept, void (*)() noexcept, void (*)() noexcept) noexcept {
    return true;
}
