// TTimerQueue: the hierarchy of wheels (see timer_queue.h). Its functions are called under TMasterTimer::fsLock, and
// neither allocate nor throw. Add() and Remove() have few branches, because the processor could not predict them.

#include "utility/threads/timer_queue.h"

#include <bit>

namespace {

bool HasTimers(TTimerRing const &list) noexcept {
    return list.next != &list;
}

// Puts the links from `first` to `last` between `before` and the link that follows it.
void Insert(TTimerRing &before, TTimerRing &first, TTimerRing &last) noexcept {
    last.next = before.next;
    first.previous = &before;
    before.next->previous = &last;
    before.next = &first;
}

} // namespace

// Returns the list to which a timer belongs. REQUIRES: `due` is not before fBase.
inline TTimerQueue::TPlace TTimerQueue::PlaceOf(std::uint64_t due) const noexcept {
    unsigned int const highestBit = 63U - static_cast<unsigned int>(std::countl_zero((due ^ fBase) | 1));
    unsigned int const wheel = highestBit / fsDigitBits;
    return {wheel, static_cast<unsigned int>(due >> (wheel * fsDigitBits)) % fsDigits};
}

// Returns the list whose timers are due first. REQUIRES: the queue is not empty.
inline TTimerQueue::TPlace TTimerQueue::FirstPlace() noexcept {
    for (;;) {
        auto const wheel = static_cast<unsigned int>(std::countr_zero(fMarkedWheels));
        TPlace const place = {wheel, static_cast<unsigned int>(std::countr_zero(fMarkedDigits[wheel]))};
        if (HasTimers(fLists[wheel][place.digit]))
            return place;
        Unmark(place);
    }
}

// Returns the earliest time that belongs to a list.
inline std::uint64_t TTimerQueue::Begin(TPlace place) const noexcept {
    unsigned int const shift = place.wheel * fsDigitBits;
    return ((fBase >> shift) / fsDigits * fsDigits + place.digit) << shift;
}

// Marks a list, closes it to a ring if it was never marked, and returns it. Called before the list gets a timer.
inline TTimerRing &TTimerQueue::Prepare(TPlace place) noexcept {
    fMarkedWheels |= 1U << place.wheel;
    fMarkedDigits[place.wheel] |= std::uint64_t{1} << place.digit;
    TTimerRing &list = fLists[place.wheel][place.digit];
    if (!list.next)
        list.next = list.previous = &list;
    return list;
}

// Removes the mark of a list, and returns the list. Called if the list is empty, or before it becomes empty.
TTimerRing &TTimerQueue::Unmark(TPlace place) noexcept {
    std::uint64_t &digits = fMarkedDigits[place.wheel];
    digits &= ~(std::uint64_t{1} << place.digit);
    if (digits == 0)
        fMarkedWheels &= ~(1U << place.wheel);
    return fLists[place.wheel][place.digit];
}

// Advances fBase to the earliest time of the first list, and moves the timers of this list to lower wheels. The last
// timer moves first, so timers of the same time keep their order. REQUIRES: `place` is the place of the first list,
// which is not in the lowest wheel.
void TTimerQueue::Advance(TPlace place) noexcept {
    fBase = Begin(place);
    TTimerRing &list = Unmark(place);
    for (TTimerRing *ring = list.previous; ring != &list;) {
        TTimerRing *const previous = ring->previous;
        Insert(Prepare(PlaceOf(static_cast<TTimerLink *>(ring)->due)), *ring, *ring);
        ring = previous;
    }
    list.next = list.previous = &list;
}

// Sets fBase to an earlier time. Let D be the highest digit of fBase that changes, and W the wheel of D. D is now also
// the highest digit in which fBase differs from the timers of the wheels below W, so these timers move to W. They all
// have the same value of D, which is that of the old fBase, so they move to one list. This list was empty, because D
// was larger in the timers of W than in the old fBase.
void TTimerQueue::SetBack(std::uint64_t base) noexcept {
    std::uint64_t const oldBase = fBase;
    fBase = base;
    TPlace const target = PlaceOf(oldBase);
    TTimerRing &to = Prepare(target);
    while (fMarkedWheels & ((1U << target.wheel) - 1)) {
        auto const wheel = static_cast<unsigned int>(std::countr_zero(fMarkedWheels));
        TTimerRing &from = Unmark({wheel, static_cast<unsigned int>(std::countr_zero(fMarkedDigits[wheel]))});
        if (HasTimers(from))
            Insert(to, *from.next, *from.previous);
        from.next = from.previous = &from;
    }
}

// If the queue is empty, fBase is set to the time of the new timer, rounded down to a multiple of fsDigits. Later
// timers are seldom due before this time, so SetBack() is seldom called.
void TTimerQueue::Add(TTimerLink &link) noexcept {
    if (IsEmpty())
        fBase = link.due / fsDigits * fsDigits;
    else if (link.due < fBase)
        SetBack(link.due / fsDigits * fsDigits);
    ++fCount;
    link.isArmed = true;
    Insert(Prepare(PlaceOf(link.due)), link, link);
}

void TTimerQueue::Remove(TTimerLink &link) noexcept {
    if (!link.isArmed)
        return;
    --fCount;
    link.isArmed = false;
    link.next->previous = link.previous;
    link.previous->next = link.next;
}

TTimerLink *TTimerQueue::FirstDue(std::int64_t now) noexcept {
    while (!IsEmpty()) {
        TPlace const place = FirstPlace();
        if (static_cast<std::int64_t>(Begin(place)) > now)
            return nullptr;
        if (place.wheel == 0)
            return static_cast<TTimerLink *>(fLists[0][place.digit].next);
        Advance(place);
    }
    return nullptr;
}

std::int64_t TTimerQueue::NoneBefore() noexcept {
    return static_cast<std::int64_t>(Begin(FirstPlace()));
}
