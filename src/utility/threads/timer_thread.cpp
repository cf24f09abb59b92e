// TMasterTimer: the one thread that posts the events of due timers, and the state that all timers share. The lock
// fsLock guards the state. While it is held, nothing is traced. timer_thread.h says which locks are taken under it.

#include "utility/threads/timer_thread.h"

#include "platform/platform.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/threads/thread_launch.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

// While a timer of the calendar clock is armed, the thread reads this clock every second, because its time may be set.
constexpr long fsLongestSleep = 1000;          // milliseconds
constexpr long fsLongestSteadySleep = 1000000; // while only timers of the steady clock are armed

} // namespace

std::int64_t TMasterTimer::TimeFor(TTimerQueue const &queue) noexcept {
    return &queue == &fsSteady ? platform::SteadyTime() / fsNanoseconds : platform::CurrentTime();
}

void TMasterTimer::Remove(TTimerLink &link) noexcept {
    if (link.isCounted && --fsCount == 0)
        Stop();
}

void TMasterTimer::Disarm(TTimerLink &link) noexcept {
    if (!fsAreTimersLost)
        QueueOf(link).Remove(link);
}

// Records that the thread will inspect the queues before it sleeps again. Therefore nobody needs to wake it.
void TMasterTimer::ExpectWake() noexcept {
    fsWakeTime = 0;
    fsMissesCalendar = false;
}

void TMasterTimer::Wake() noexcept {
    if (!fsOnly)
        return;
    ExpectWake();
    fsOnly->fWake.Post();
}

TReference<TMasterTimer> TMasterTimer::New() noexcept {
    try {
        // No test gets here: if the constructor throws, there is an object to deallocate, so the test for null never
        // fails.
        auto *const made = new TMasterTimer;
        TReference<TMasterTimer> master(made);
        if (master->fWake.Wait(0) >= 0 && TThreadLaunch::HasAll(*master))
            return master;
    } catch (std::bad_alloc const &) {
        // If there is no memory, the result is null. This is also the result if the event cannot be made.
    }
    return nullptr;
}

// Does not wait until the thread runs. A library may have a static timer, which is made while the system loads the
// library. On some systems, a new thread cannot run before the library is loaded.
bool TMasterTimer::Start(TMasterTimer &master) noexcept {
    master.AddRef(); // the reference of the thread
    if (!TThreadLaunch::StartUnannounced(master)) {
        master.RemoveRef();
        return false;
    }
    master.AddRef(); // the reference of fsOnly
    fsOnly = &master;
    ExpectWake();
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
    // No test gets here: on a system that ends the threads first, the counters of coverage are written before the
    // library's static objects are destroyed.
    if (platform::threadsEndFirst)
        return;
    TReference<TMasterTimer> master;
    {
        TInsistentEntry const lock(fsLock);
        // No test gets here: the lock of the timers would have to fail.
        if (!lock) // without the lock, another thread may be changing the state
            return;
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

void TMasterTimer::LoseTimers() noexcept {
    fsIsOver = true;
    fsAreTimersLost = true;
    fsOnly = nullptr;
}

int TMasterTimer::Run() {
    while (!fStop) {
        fWake.Wait(PostDue());
        fWake.Clear();
    }
    return 0;
}

// Decides how long the thread sleeps. A sleep lasts at most as long as the armed timers of the calendar clock allow,
// and at most until a timer of the steady clock can be due. Returns milliseconds, or fsInfinite if no timer is armed.
long TMasterTimer::PlanSleep() noexcept {
    if (fsSteady.IsEmpty() && fsArmed.IsEmpty()) {
        fsWakeTime = INT64_MAX;
        fsMissesCalendar = true;
        return TMutexSemaphore::fsInfinite;
    }
    std::int64_t const now = platform::SteadyTime();
    long sleep = fsArmed.IsEmpty() ? fsLongestSteadySleep : fsLongestSleep;
    if (!fsSteady.IsEmpty()) {
        std::int64_t const left = fsSteady.NoneBefore() * fsNanoseconds - now;
        std::int64_t const milliseconds = (left + fsNanoseconds - 1) / fsNanoseconds;
        sleep = static_cast<long>(std::clamp<std::int64_t>(milliseconds, 0, sleep));
    }
    fsWakeTime = now / fsNanoseconds + sleep;
    fsMissesCalendar = fsArmed.IsEmpty();
    return sleep;
}

// Posts due timers until it meets one whose event could not be created, and returns that event. If there is no such
// timer, returns null and sets `sleep` to the time that the thread is to sleep. If the lock cannot be taken, another
// thread may be changing the queues. Nothing is posted then, and the thread tries again after a second.
TReference<TSemaphore> TMasterTimer::PostUntilOneFails(long &sleep) noexcept {
    sleep = fsLongestSleep;
    TInsistentEntry const lock(fsLock);
    if (!lock)
        return nullptr;
    for (TTimerQueue *const queue : {&fsArmed, &fsSteady}) {
        std::int64_t const now = TimeFor(*queue);
        while (TTimerLink *const first = queue->FirstDue(now)) {
            queue->Remove(*first);
            first->timer->Post();
            if (first->timer->LacksEvent())
                return first->timer->fSemaphore;
        }
    }
    sleep = PlanSleep();
    return nullptr;
}

// Posts all due timers. Returns the time that the thread is to sleep.
long TMasterTimer::PostDue() {
    long sleep = 0;
    while (TReference<TSemaphore> const missing = PostUntilOneFails(sleep))
        missing->Post(); // fails and traces the failure, so the lock must not be held here
    return sleep;
}
