// TMasterTimer: the one thread that posts the events of timers that are due, and the state that all timers share. The
// state is guarded by fsLock, under which nothing else is locked and nothing is traced.

#include "utility/threads/timer_thread.h"

#include "platform/platform.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/threads/thread_launch.h"

#include <new>
#include <utility>

namespace {

// While anything is armed the master looks at the calendar every second: a clock that is set is noticed.
constexpr long fsLongestSleep = 1000;

} // namespace

void TMasterTimer::Remove() noexcept {
    if (--fsCount == 0)
        Stop();
}

// The master need not be woken for a time to come: it looks every second, but for when nothing was armed before.
void TMasterTimer::Arm(TTimerLink &link, std::int64_t now) noexcept {
    bool const sleeps = fsArmed.IsEmpty();
    fsArmed.Add(link);
    if (fsOnly && (sleeps || link.second <= now))
        fsOnly->fWake.Post();
}

TReference<TMasterTimer> TMasterTimer::New() noexcept {
    try {
        TReference<TMasterTimer> const master(new TMasterTimer);
        if (master->fWake.Wait(0) >= 0 && TThreadLaunch::HasAll(*master))
            return master;
    } catch (std::bad_alloc const &) {
        // As without an event.
    }
    return nullptr;
}

// Without waiting until it runs: a static timer of a library is made while the system loads that library, and no thread
// can begin before that is done.
bool TMasterTimer::Start(TMasterTimer &master) noexcept {
    master.AddRef(); // the thread's
    if (!TThreadLaunch::StartUnannounced(master)) {
        master.RemoveRef();
        return false;
    }
    master.AddRef(); // that of fsOnly
    fsOnly = &master;
    return true;
}

void TMasterTimer::Stop() noexcept {
    TMasterTimer *const master = std::exchange(fsOnly, nullptr);
    if (!master)
        return;
    master->fStop = true;
    master->fWake.Post();
    master->RemoveRef();
}

void TMasterTimer::Shutdown() noexcept {
    if (platform::threadsEndFirst)
        return;
    TReference<TMasterTimer> master;
    {
        TInsistentEntry const lock(fsLock);
        fsIsOver = true;
        master = TReference<TMasterTimer>(fsOnly);
        Stop();
    }
    if (master)
        master->WaitForTermination(-1);
}

void TMasterTimer::LoseThread() noexcept {
    if (TMasterTimer *const lost = std::exchange(fsOnly, nullptr)) {
        TThreadLaunch::ForgetRun(*lost);
        lost->RemoveRef(); // the thread's
        lost->RemoveRef();
    }
}

int TMasterTimer::Run() {
    while (!fStop) {
        fWake.Wait(PostDue() ? fsLongestSleep : TMutexSemaphore::fsInfinite);
        fWake.Clear();
    }
    return 0;
}

// Up to a timer whose event could not be made: that event, or null. Whether any timer is left that is armed.
TReference<TSemaphore> TMasterTimer::PostUntilOneFails(bool &isAnyLeft) noexcept {
    TInsistentEntry const lock(fsLock);
    std::int64_t const now = platform::CurrentTime();
    TTimerLink *first;
    while ((first = fsArmed.First()) && first->second <= now) {
        fsArmed.Remove(*first);
        first->timer->Post();
        if (first->timer->LacksEvent())
            return first->timer->fSemaphore;
    }
    isAnyLeft = first != nullptr;
    return nullptr;
}

// Whether any timer is left that is armed.
bool TMasterTimer::PostDue() {
    bool isAnyLeft = false;
    while (TReference<TSemaphore> const missing = PostUntilOneFails(isAnyLeft))
        missing->Post(); // says so
    return isAnyLeft;
}
