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
    struct {
        void (*prepare)() noexcept;
        void (*inParent)() noexcept;
        void (*inChild)() noexcept;
    } const handlers[] = {{HoldMutexes, ReleaseMutexes, SettleMutexesInChild},
                          {HoldSharedMemory, ReleaseSharedMemory, ReleaseSharedMemory},
                          {before, inParent, inChild},
                          {nullptr, nullptr, ForgetIdsInChild}};
    for (auto const &each : handlers) {
        // No test gets here: this call fails only if memory is lacking while the program starts.
        if (int const error = ::pthread_atfork(each.prepare, each.inParent, each.inChild); error != 0) {
            errno = error;
            return false;
        }
    }
    KeepProcessId();
    return true;
}
