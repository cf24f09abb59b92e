// TMasterTimer: the one thread that posts the events of due timers, and the state that all timers share. The lock
// fsLock guards the state. While it is held, no other lock of the library is taken, and nothing is traced.

#include "utility/threads/timer_thread.h"

#include "platform/platform.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/threads/thread_launch.h"

#include <new>
#include <utility>

namespace {

// While a timer is armed, the thread reads the clock every second, so that it notices when somebody sets the clock.
constexpr long fsLongestSleep = 1000; // milliseconds

} // namespace

void TMasterTimer::Remove() noexcept {
    if (--fsCount == 0)
        Stop();
}

// While a timer is armed, the thread reads the clock every second. So it must be woken only if no timer was armed
// before, or if this one is already due.
void TMasterTimer::Arm(TTimerLink &link, std::int64_t now) noexcept {
    bool const sleeps = fsArmed.IsEmpty();
    fsArmed.Add(link);
    if (fsOnly && (sleeps || link.second <= now))
        fsOnly->fWake.Post();
}

TReference<TMasterTimer> TMasterTimer::New() noexcept {
    try {
        TReference<TMasterTimer> master(new TMasterTimer);
        if (master->fWake.Wait(0) >= 0 && TThreadLaunch::HasAll(*master))
            return master;
    } catch (std::bad_alloc const &) {
        // Without memory the result is null, as if the event could not be made.
    }
    return nullptr;
}

// Does not wait until the thread runs: a static timer of a library is made while the system loads that library, and no
// thread can begin before the load has ended.
bool TMasterTimer::Start(TMasterTimer &master) noexcept {
    master.AddRef(); // the reference of the thread
    if (!TThreadLaunch::StartUnannounced(master)) {
        master.RemoveRef();
        return false;
    }
    master.AddRef(); // the reference of fsOnly
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
        lost->RemoveRef(); // the reference of the thread
        lost->RemoveRef(); // the reference of fsOnly
    }
}

int TMasterTimer::Run() {
    while (!fStop) {
        fWake.Wait(PostDue() ? fsLongestSleep : TMutexSemaphore::fsInfinite);
        fWake.Clear();
    }
    return 0;
}

// Posts due timers until it meets one whose event could not be created, and returns that event. If there is none,
// returns null and sets `isAnyLeft` to whether any timer is still armed.
TReference<TSemaphore> TMasterTimer::PostUntilOneFails(bool &isAnyLeft) noexcept {
    TInsistentEntry const lock(fsLock);
    if (!lock) { // without the lock, another thread may be changing the queue; the thread tries again in a second
        isAnyLeft = true;
        return nullptr;
    }
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

// Posts all due timers. Returns whether any timer is still armed.
bool TMasterTimer::PostDue() {
    bool isAnyLeft = false;
    while (TReference<TSemaphore> const missing = PostUntilOneFails(isAnyLeft))
        missing->Post(); // fails, and traces that; the lock is not held here
    return isAnyLeft;
}
