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

    // A thread that can be started without a trace, whatever comes; null, with traces, where there is no memory for it.
    // Not to be called under the lock.
    static TReference<TMasterTimer> New() noexcept;

    // What follows is called under the lock.
    static bool IsMissing() noexcept { return !fsOnly && !fsIsOver; } // there should be a thread
    static bool Start(TMasterTimer &master) noexcept;                 // false if there is no thread to be had
    static void Add() noexcept { ++fsCount; }                         // one more timer
    static void Remove() noexcept;                                    // one less; without timers, the thread ends
    static void Arm(TTimerLink &link, std::int64_t now) noexcept;
    static void Disarm(TTimerLink &link) noexcept { fsArmed.Remove(link); }

    // At the end of the process: ends the thread; no other will be started.
    static void Shutdown() noexcept;
    static bool fsIsOver;

    // In a forked child, under the lock: it has the timers, but not the thread. The next use starts one.
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
