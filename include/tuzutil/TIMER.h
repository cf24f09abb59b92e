#ifndef TUZUTIL_TIMER_H
#define TUZUTIL_TIMER_H

// TTimer: posts an event after some time. One thread of the library serves all timers of the process.
//
// Example:
//     TReference<TSemaphore> const idle(new TSemaphore);
//     TTimer timer(idle);
//     timer.Set(std::chrono::minutes(10)); // at every command: starts again
//     timer.Cancel();
//
// Ownership:  A timer holds a reference to its event. If the event is null, the timer posts nothing.
// Threads:    One thread at a time may use a timer. The library's thread may post the event at any time, but not after
//             the timer's destructor has returned.
// Failures:   The class throws nothing. If the library's thread cannot be started, "Unable to start thread" is traced.
//             The library tries to start it again when a timer is created or set; until then no timer posts. If there
//             is no memory for the first lock of the library's thread, that thread retries for about 0.2 seconds.
// Surprises:
// - After Set() with a duration, the timer counts milliseconds of the steady clock, and never posts early. After Set()
//   with a number, it counts whole seconds of the calendar clock, and follows changes of this clock. It may then be
//   late by a second, or early by less than a second. If the time has passed or is negative, the timer posts at once.
// - Of several timers of one kind that are due at the same time, the one that was set last posts first.
// - Set() clears the event. Cancel() does not change the event.
// - A copy is not armed, but reports the time for which the original was set when it was copied.
// - In a forked child, no timer posts until a timer is created or set.
// - When the process ends, timers that still exist no longer post.
class TTimer;

#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <atomic>
#include <chrono>
#include <cstdint>

class TTimer;

// A place in a ring of armed timers.
struct TTimerRing {
    TTimerRing *next = nullptr;
    TTimerRing *previous = nullptr;
};

// The time for which a timer is set.
struct TTimerSetting {
    std::uint64_t due = 0;    // in seconds since 1970, or in milliseconds of the steady clock if `isSteady`
    std::uint64_t queued = 0; // the time for which the timer is queued if it is armed; not later than `due`
    std::uint64_t order = 0;  // grows with each call that sets a timer
    bool isSteady = false;
    bool isArmed = false;
    bool isCounted = false; // whether the timer is counted among those that exist
};

// Connects a timer with other armed timers. A timer is armed from Set() until it posts, is cancelled or is assigned to.
// The setting comes first, because it is then near the members of TTimer that a call of Set() changes too.
struct TTimerLink : TTimerSetting, TTimerRing {
    explicit TTimerLink(TTimer *aTimer, std::uint64_t aDue = 0) noexcept : timer(aTimer) { due = aDue; }

    TTimer *timer;
};

class TUZUTIL_API TTimer {
public:
    explicit TTimer(TReference<TSemaphore> semaphore); // not armed; null is allowed
    TTimer(TTimer const &other);
    TTimer &operator=(TTimer const &other); // disarms this timer
    ~TTimer();

    void Set(long seconds); // sets the timer by the calendar clock; the seconds count from now
    // Sets the timer by the steady clock. The duration is rounded up to milliseconds. A duration of more than about 69
    // years counts as 69 years.
    template <typename Number, typename Period>
    void Set(std::chrono::duration<Number, Period> const &fromNow) {
        SetMilliseconds(TWaitTime::Milliseconds(fromNow, 0x20000000000));
    }
    void Cancel(); // disarms the timer, and leaves the event as it is
    // These functions tell about the time for which the timer is set. TimeLeft() and QueryTimeLeft() return the time
    // that is left: at least 1 unit until the time has passed, and then 0. QueryPostTime() returns the time itself. If
    // the timer is not armed, the functions return 0. Exception: a copy is not armed, but it returns the values for the
    // time for which the original was set when it was copied.
    std::chrono::milliseconds TimeLeft() const noexcept { return std::chrono::milliseconds(MillisecondsLeft()); }
    long QueryTimeLeft() const noexcept;                               // in seconds
    unsigned long QueryPostTime() const noexcept { return fPostTime; } // in seconds since 1970

private:
    friend class TMasterTimer;

    void SetMilliseconds(long long fromNow);
    long long MillisecondsLeft() const noexcept;
    void Arm(bool isSteady, long long fromNow);
    void CopyTime(TTimer const &other) noexcept;
    void Post() noexcept;
    bool HasEvent() const noexcept { return fSemaphore && fSemaphore->fHandle; }
    bool LacksEvent() const noexcept { return fSemaphore && !fSemaphore->fHandle; } // the event could not be created

    TReference<TSemaphore> fSemaphore;
    std::atomic<std::uint32_t> fPostTime{0};
    TTimerLink fLink{this};
};

#endif
