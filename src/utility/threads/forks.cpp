// TForks: takes locks of the library before a fork, and releases them after the fork, in the parent and in the child.
// forks.h explains the order of the locks.

#include "utility/threads/forks.h"

#include "platform/platform.h"
#include "tuzutil/TRACE.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/kernel/trace_observers.h"
#include "utility/kernel/trace_registry.h"
#include "utility/threads/timer_thread.h"

bool TForks::Follow() noexcept {
    return platform::FollowForks(Before, InParent, InChild);
}

void TForks::Before() noexcept {
    for (TMutexSemaphore *const mutex :
         {&TTrace::Base::fsMutex, &TTraceObservers::fsMutex, &TMasterTimer::fsLock, &TTraceRegistry::fsMutex})
        TInsistentEntry::Insist(*mutex);
}

void TForks::InParent() noexcept {
    TTraceRegistry::fsMutex.Unlock();
    TMasterTimer::fsLock.Unlock();
    TTraceObservers::fsMutex.Unlock();
    TTrace::Base::fsMutex.Unlock();
}

// The first lock that a thread takes needs memory. If there was no memory, Before() failed to take the lock of the
// timers, so the timers may be incomplete.
void TForks::InChild() noexcept {
    // No test gets here: memory would have to be lacking when the parent takes its first lock, which is before the
    // fork.
    if (TMasterTimer::fsLock.IsHeld())
        TMasterTimer::LoseThread();
    else
        TMasterTimer::LoseTimers();
    InParent();
}
