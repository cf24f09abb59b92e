#ifndef TUZUTIL_TIMER_H
#define TUZUTIL_TIMER_H

// TTimer: posts an event when a number of seconds has passed. One thread of the library serves all timers of the
// process; it is there while there are timers.
//
// Example:
//     TReference<TSemaphore> const idle(new TSemaphore);
//     TTimer timer(idle);
//     timer.Set(600); // at every command: begins anew
//     ...
//     timer.Cancel();
//
// Ownership:  a timer refers to its event; null is allowed and posts nothing.
// Threads:    different timers may be used by different threads. One timer belongs to one thread at a time; its event
//             is posted meanwhile. Once its destructor has returned, a timer posts nothing more.
// Failures:   none are reported but by a trace entry, "Unable to start thread": armed timers then wait until another
//             timer is made or set and there is a thread to be had. A thread without memory for its first lock waits
//             for it.
// Surprises:  times are whole seconds of the calendar: a timer may be late by a second, or early by less than one, and
//             follows a clock that is set. A time that has passed already, or is negative, posts at once. Of timers
//             due in the same second, the one set last is posted first. Cancel() leaves the event as it is, Set()
//             clears it. A copy is not armed, but tells the time that the original is set for. In a forked child the
//             timers go on from the next one that is made or set. At the end of the process, timers that still stand
//             are no longer served.

#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <atomic>
#include <cstdint>

class TTimer;

// The place of a timer among those that are armed.
struct TTimerLink {
    TTimer *timer;
    std::uint32_t second = 0; // when it is due
    bool isArmed = false;
    TTimerLink *next = nullptr;     // of the same second, set before this one
    TTimerLink *previous = nullptr; // null for the one set last
    TTimerLink *branch[2] = {};     // other seconds; of the one set last
};

class TUZUTIL_API TTimer {
public:
    explicit TTimer(TReference<TSemaphore> semaphore);
    TTimer(TTimer const &other);
    TTimer &operator=(TTimer const &other); // the timer is no longer armed
    ~TTimer();

    void Set(long seconds); // from now
    void Cancel();
    long QueryTimeLeft() const noexcept;                               // in seconds; 0 if not armed or due
    unsigned long QueryPostTime() const noexcept { return fPostTime; } // since 1970; 0 if not armed

private:
    friend class TMasterTimer;

    void Post() noexcept;
    bool HasEvent() const noexcept { return fSemaphore && fSemaphore->fHandle; }
    bool LacksEvent() const noexcept { return fSemaphore && !fSemaphore->fHandle; } // it could not be made

    TReference<TSemaphore> fSemaphore;
    std::atomic<std::uint32_t> fPostTime{0};
    TTimerLink fLink{this};
};

#endif
