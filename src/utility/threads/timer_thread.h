#ifndef TUZUTIL_TIMER_THREAD
#define TUZUTIL_TIMER_THREAD

// TMasterTimer: the thread that serves the timers, and the state that all timers share. The thread exists as long as
// there are timers; a forked child starts its own when it is needed.

#include "tuzutil/THREAD.h"
#include "utility/threads/timer_queue.h"

class TMasterTimer : public TThread {
public:
    // Guards everything below; taken by every operation of a timer. Under it nothing else is locked, and so nothing is
    // traced: a destination may set timers.
    static TMutexSemaphore &fsLock; // never destroyed

    // An object whose thread can be started without a trace entry. Null if there is no memory for it, which is traced.
    // The caller must not hold the lock.
    static TReference<TMasterTimer> New() noexcept;

    // REQUIRES, for all that follow: the caller holds the lock.
    static bool IsMissing() noexcept { return !fsOnly && !fsIsOver; } // there should be a thread
    static bool Start(TMasterTimer &master) noexcept;                 // false if no thread can be started
    static void Add() noexcept { ++fsCount; }                         // one more timer
    static void Remove() noexcept;                                    // one less; without timers, the thread ends
    static void Arm(TTimerLink &link, std::int64_t now) noexcept;
    static void Disarm(TTimerLink &link) noexcept { fsArmed.Remove(link); }

    // Ends the thread at the end of the process; no other is started. Takes the lock itself.
    static void Shutdown() noexcept;
    static bool fsIsOver;

    // Called in a forked child, which has the timers but not the thread. The next use starts one.
    static void LoseThread() noexcept;

    int Run() override;

private:
    static void Stop() noexcept;
    static TReference<TSemaphore> PostUntilOneFails(bool &isAnyLeft) noexcept;
    static bool PostDue();

    static TTimerQueue fsArmed;
    static std::uint32_t fsCount; // of all timers
    static TMasterTimer *fsOnly;  // null while there are no timers

    TSemaphore fWake;
    std::atomic<bool> fStop{false};
};

#endif
