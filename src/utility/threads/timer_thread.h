#ifndef TUZUTIL_TIMER_THREAD
#define TUZUTIL_TIMER_THREAD

// TMasterTimer: the thread that serves the timers, and the state that all timers share. The thread exists as long as
// there are timers. A forked child starts a thread of its own when a timer is made or set.

#include "tuzutil/THREAD.h"
#include "utility/threads/timer_queue.h"

class TMasterTimer : public TThread {
public:
    // Guards all static members below. Under this lock, only locks of the platform are taken and, when a thread is
    // started, the lock fEnding (THREAD.h) of that thread's object. TForks also takes other locks under it.
    // Nothing is traced under this lock, because a trace destination may set timers.
    static TMutexSemaphore &fsLock; // never destroyed

    // Returns an object that has all its parts, so Start() traces nothing. Returns null if there is no memory for the
    // object or its parts. REQUIRES: the caller does not hold the lock, because the failure of a part is traced.
    static TReference<TMasterTimer> New() noexcept;

    // REQUIRES, for the functions up to Disarm(): the caller holds the lock.
    static bool IsMissing() noexcept { return !fsOnly && !fsIsOver; } // whether the thread must be started
    static bool Start(TMasterTimer &master) noexcept;                 // false if no thread can be started
    static void Add(TTimerLink &link) noexcept {                      // counts a timer, but only once
        if (!link.isCounted)
            ++fsCount;
        link.isCounted = true;
    }
    static void Remove(TTimerLink &link) noexcept; // counts one timer less; ends the thread if none is left
    // Sets a timer for the time `due` of its clock, and wakes the thread if it would sleep too long. `today` is the
    // time of the calendar clock. If the thread reads the calendar clock every second already, it is woken for a
    // further timer of that clock only if this timer is already due.
    static void Arm(TTimerLink &link, bool isSteady, std::uint64_t due, std::int64_t today) noexcept {
        if (link.isSteady != isSteady)
            Disarm(link);
        link.isSteady = isSteady;
        if (fsAreTimersLost) {
            link.due = due;
            return;
        }
        QueueOf(link).Set(link, due);
        auto const time = static_cast<std::int64_t>(due);
        if (isSteady ? time < fsWakeTime : fsMissesCalendar || time <= today)
            Wake();
    }
    static void Disarm(TTimerLink &link) noexcept;

    static constexpr std::int64_t fsNanoseconds = 1000000; // in a millisecond

    // Ends the thread at the end of the process, and keeps timers from starting another one. Takes the lock itself.
    static void Shutdown() noexcept;
    static bool fsIsOver;

    // Called in a forked child, which has the timers but not the thread. REQUIRES: the caller holds the lock.
    static void LoseThread() noexcept;

    // Called in a forked child instead of LoseThread(), if the lock could not be taken before the fork. Another thread
    // may have been changing the queues, so no function touches them any more, and no timer of the child posts.
    static void LoseTimers() noexcept;
    static bool fsAreTimersLost;

    int Run() override;

private:
    static void Stop() noexcept;
    static TTimerQueue &QueueOf(TTimerLink const &link) noexcept { return link.isSteady ? fsSteady : fsArmed; }
    static std::int64_t TimeFor(TTimerQueue const &queue) noexcept;
    static TReference<TSemaphore> PostUntilOneFails(long &sleep) noexcept;
    static long PostDue();
    static long PlanSleep() noexcept;
    static void ExpectWake() noexcept;
    static void Wake() noexcept;

    static TTimerQueue fsArmed;  // armed timers of the calendar clock; times in seconds since 1970
    static TTimerQueue fsSteady; // armed timers of the steady clock; times in milliseconds
    // The time at which the thread wakes by itself, in milliseconds of the steady clock. This time is in the past if
    // the thread woke by itself. It is 0 if the thread has been started or woken, and INT64_MAX if the thread sleeps
    // until it is woken.
    static std::int64_t fsWakeTime;
    static bool fsMissesCalendar; // whether the thread sleeps without reading the calendar clock every second
    static std::uint32_t fsCount; // the number of timers, armed or not
    static TMasterTimer *fsOnly;  // the object of the running thread; null if there is none

    TSemaphore fWake;
    std::atomic<bool> fStop{false};
};

#endif
