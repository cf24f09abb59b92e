// Registers the functions that are called before and after a fork. The thread that forks first calls `before`, and then
// takes the locks of forks.h. After the fork, the parent and the child release these locks, and then call `inParent` or
// `inChild`. FollowForks() must not be called twice.

#include "platform/posix/forks.h"

#include "platform/platform.h"

#include <errno.h>
#include <pthread.h>

// pthread_atfork() calls the `prepare` handlers in reverse order of registration, and the other handlers in the order
// of registration.
bool platform::FollowForks(void (*before)() noexcept, void (*inParent)() noexcept,
                           void (*inChild)() noexcept) noexcept {
    int error = ::pthread_atfork(HoldMutexes, ReleaseMutexes, SettleMutexesInChild);
    if (error == 0)
        error = ::pthread_atfork(HoldSharedMemory, ReleaseSharedMemory, ReleaseSharedMemory);
    if (error == 0)
        error = ::pthread_atfork(before, inParent, inChild);
    if (error == 0)
        error = ::pthread_atfork(nullptr, nullptr, ForgetIdsInChild);
    if (error == 0)
        KeepProcessId();
    errno = error;
    return error == 0;
}
