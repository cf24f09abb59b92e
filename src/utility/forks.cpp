// TForks: takes locks of the library before a fork, and releases them after the fork, in the parent and in the child.
//
// Some locks are not taken here, because they may be held for a long time: the lock of weak references, which a program
// may take itself, a factory loader's own lock, and the lock of a thread object. In the child, these locks are free,
// unless the forking thread holds them. The library itself keeps nothing under them that could be incomplete.

#include "utility/forks.h"

#include "platform/platform.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TRACESTR.h"
#include "utility/factories/factory_registry.h"
#include "utility/factories/library_path.h"
#include "utility/files/search_table.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/kernel/trace_observers.h"
#include "utility/kernel/trace_registry.h"
#include "utility/threads/timer_thread.h"

// The locks, in the order in which they are taken.
struct TForks::TLocks {
    TMutexSemaphore *const all[9] = {
        &TTrace::Base::fsMutex,         &TFactoryRegistry::fsMutex,    &TLibpath::fsMutex,
        &TTraceObservers::fsMutex,      &TMasterTimer::fsLock,         &TTraceRegistry::fsMutex,
        &TTraceStreamBase::fsFileMutex, &TTextMessageArchive::fsMutex, &TFindTable::fsOnly.fMutex,
    };
};

bool TForks::Follow() noexcept {
    return platform::FollowForks(Before, InParent, InChild);
}

void TForks::Before() noexcept {
    for (TMutexSemaphore *const mutex : TLocks().all)
        TInsistentEntry::Insist(*mutex);
}

void TForks::InParent() noexcept {
    TLocks const locks;
    for (auto mutex = std::rbegin(locks.all); mutex != std::rend(locks.all); ++mutex)
        (*mutex)->Unlock();
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
