#include "platform/posix/forks.h"

#include "platform/platform.h"

#include <errno.h>
#include <pthread.h>

// What is registered first comes last before a fork, and first after it.
bool platform::FollowForks(void (*before)() noexcept, void (*inParent)() noexcept,
                           void (*inChild)() noexcept) noexcept {
    int error = ::pthread_atfork(posix::HoldMutexes, posix::ReleaseMutexes, posix::SettleMutexesInChild);
    if (error == 0)
        error = ::pthread_atfork(posix::HoldSharedMemory, posix::ReleaseSharedMemory, posix::ReleaseSharedMemory);
    if (error == 0)
        error = ::pthread_atfork(before, inParent, inChild);
    if (error == 0)
        error = ::pthread_atfork(nullptr, nullptr, posix::ForgetThreadIdInChild);
    errno = error;
    return error == 0;
}
