#ifndef TUZUTIL_MASTTIMR_H
#define TUZUTIL_MASTTIMR_H

// The thread that serves the timers, and the state that all timers share.

#include "tuzutil/THREAD.h"
#include "utility/TIMERQUE.h"

class TMasterTimer : public TThread {
public:
    // Guards everything below; taken by every operation of a timer. Under it
    // nothing else is locked.
    struct TLock : TMutexSemaphore {
        using TMutexSemaphore::Lock;
        using TMutexSemaphore::Unlock;
    };
    static TLock &fsLock; // never destroyed

    // What follows is called under the lock. Add() and Arm() see to it that there is a thread: false if there is none
    // to be had.
    static bool Add() noexcept;    // one more timer
    static void Remove() noexcept; // one less; without timers, the thread ends
    static bool Arm(TTimerLink &link, std::int64_t now) noexcept;
    static void Disarm(TTimerLink &link) noexcept { fsArmed.Remove(link); }

    // At the end of the process: ends the thread; no other will be started.
    static void Shutdown() noexcept;
    static bool fsIsOver;

    // In a forked child, under the lock: it has the timers, but not the thread. The next use starts one.
    static void LoseThread() noexcept;

    int Run() override;

private:
    static bool Ensure() noexcept;
    static void Stop() noexcept;
    static bool PostDue();

    static TTimerQueue fsArmed;
    static std::uint32_t fsCount; // of all timers
    static TMasterTimer *fsOnly;  // null while there are no timers

    TSemaphore fWake;
    std::atomic<bool> fStop{false};
};

#endif
