#ifndef TUZUTIL_TIMER_QUEUE
#define TUZUTIL_TIMER_QUEUE

// Holds the armed timers, and finds those that are due, in the order of their times. If several timers have the same
// time, the one that was set last comes first. Set() and Remove() take a constant number of steps. FirstDue() takes at
// most seven steps for each call of Set(), as long as no timer is set for a time that has passed, and sorts timers that
// were set again. These functions allocate nothing, so they cannot fail.
//
// The queue is a hierarchy of wheels. A time is a number of seven digits to the base 64, and each wheel has a list of
// timers for each value of one digit. The times are compared with `fBase`, which is never later than any timer. A timer
// belongs to the wheel of the highest digit in which its time and fBase differ. So the lists of the lowest wheel hold
// timers of a single time each, and all timers of a wheel are due before those of the wheels above. When the time of a
// list of a higher wheel begins, fBase advances to this time, and the timers of that list move to lower wheels.
//
// If an armed timer is set to a later time, it stays where it is, because most timers are set again before they are
// due. Therefore a list also contains timers that are due later than its times. When the time of the list comes, those
// timers move to their places.

#include "tuzutil/TIMER.h"

#include <cstddef>

class TTimerQueue {
public:
    static constexpr unsigned int fsBits = 42; // the number of bits of a time

    // Arms a timer, which is represented by its link, for the time `due`. REQUIRES: if the link is armed, it is in this
    // queue. The time has at most fsBits bits.
    void Set(TTimerLink &link, std::uint64_t due) noexcept {
        link.due = due;
        link.order = ++fOrder;
        if (!link.isArmed || due <= link.queued)
            Move(link);
    }
    void Remove(TTimerLink &link) noexcept; // does nothing if the link is not armed
    bool IsEmpty() const noexcept { return fCount == 0; }
    TTimerLink *FirstDue(std::int64_t now) noexcept; // the timer due first; null if none is due at the time `now`
    // Returns a time before which no timer is due. The thread of the timers wakes at this time, and calls FirstDue().
    // If no timer is due then, the next result is later. REQUIRES: the queue is not empty.
    std::int64_t NoneBefore() noexcept;

private:
    static constexpr unsigned int fsDigitBits = 6;
    static constexpr unsigned int fsWheels = fsBits / fsDigitBits;
    static constexpr unsigned int fsDigits = 1U << fsDigitBits;

    struct TPlace {
        unsigned int wheel;
        unsigned int digit;
    };

    TPlace PlaceOf(std::uint64_t due) const noexcept;
    TPlace FirstPlace() noexcept;
    std::uint64_t Begin(TPlace place) const noexcept;
    TTimerRing &Prepare(TPlace place) noexcept;
    TTimerRing &Unmark(TPlace place) noexcept;
    void Move(TTimerLink &link) noexcept;
    void Place(TTimerLink &link) noexcept;
    TTimerLink *FirstOf(TPlace place) noexcept;
    void Advance(TPlace place) noexcept;
    void SetBack(std::uint64_t base) noexcept;

    std::uint64_t fBase = 0;
    std::size_t fCount = 0;
    std::uint64_t fOrder = 0; // how many times a timer was set
    // A bit for each list of the lowest wheel whose timers may not be in the order in which they were set.
    std::uint64_t fUnsorted = 0;
    // A bit for each wheel and for each list that may have timers. Remove() leaves these bits alone, because a list
    // often gets another timer soon. FirstPlace() clears the bits of empty lists.
    std::uint32_t fMarkedWheels = 0;
    std::uint64_t fMarkedDigits[fsWheels] = {};
    // Each list is a ring with its timers. A list that was never marked is not yet closed to a ring.
    TTimerRing fLists[fsWheels][fsDigits] = {};
};

#endif
