#ifndef TUZUTIL_TIMER_H
#define TUZUTIL_TIMER_H

// TTimer: posts an event after a number of seconds. One thread of the library serves all timers of the process.
//
// Example:
//     TReference<TSemaphore> const idle(new TSemaphore);
//     TTimer timer(idle);
//     timer.Set(600); // at every command: starts again
//     timer.Cancel();
//
// Ownership:  A timer refers to its event. If the event is null, the timer posts nothing.
// Threads:    Different threads may use different timers, but one thread at a time uses one timer. The library's thread
//             may post its event at any time. A timer posts nothing after its destructor has returned.
// Failures:   The only report is a trace entry, "Unable to start thread". Armed timers then wait until another timer is
//             made or set and a thread can be started. If that thread has no memory for its first lock, it waits
//             until there is some.
// Surprises:
// - Times are whole seconds of the calendar: a timer may be late by a second, or early by less than one, and it
//   follows changes of the clock. A time that has passed, or is negative, posts at once.
// - Of the timers due in the same second, the one set last is posted first.
// - Set() clears the event, Cancel() does not change it.
// - A copy is not armed, but reports the time for which the original is set.
// - In a forked child no timer posts until a timer is made or set.
// - At the end of the process, timers that still exist are no longer served.

#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <atomic>
#include <cstdint>

class TTimer;

// The links of a timer to other armed timers.
struct TTimerLink {
    TTimer *timer;
    std::uint32_t second = 0; // when it is due
    bool isArmed = false;
    TTimerLink *next = nullptr;     // the timer of the same second that was set before this one
    TTimerLink *previous = nullptr; // the one that was set after it; null for the one set last
    TTimerLink *branch[2] = {};     // other seconds; only the one set last has them
};

class TUZUTIL_API TTimer {
public:
    explicit TTimer(TReference<TSemaphore> semaphore);
    TTimer(TTimer const &other);
    TTimer &operator=(TTimer const &other); // disarms the timer
    ~TTimer();

    void Set(long seconds); // from now
    void Cancel();
    long QueryTimeLeft() const noexcept;                               // in seconds; 0 if not armed or due
    unsigned long QueryPostTime() const noexcept { return fPostTime; } // since 1970; 0 if not armed

private:
    friend class TMasterTimer;

    void Post() noexcept;
    bool HasEvent() const noexcept { return fSemaphore && fSemaphore->fHandle; }
    bool LacksEvent() const noexcept { return fSemaphore && !fSemaphore->fHandle; } // it could not be created

    TReference<TSemaphore> fSemaphore;
    std::atomic<std::uint32_t> fPostTime{0};
    TTimerLink fLink{this};
};

#endif
