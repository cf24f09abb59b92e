// TTimerQueue: the hierarchy of wheels (see timer_queue.h). Its functions are called under TMasterTimer::fsLock, and
// neither allocate nor throw. Move() and Remove() have few branches, because the processor could not predict them. If
// there are many timers, most of the time is spent on waiting for memory. Therefore Set() touches only the timer itself
// if it can.

#include "utility/threads/timer_queue.h"

#include <bit>
#include <cstddef>
#include <utility>

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

void Unlink(TTimerRing &ring) noexcept {
    ring.next->previous = ring.previous;
    ring.previous->next = ring.next;
}

std::uint64_t OrderOf(TTimerRing const *ring) noexcept {
    // No test gets here: the cast tests for null, and a ring has no such pointer.
    return static_cast<TTimerLink const *>(ring)->order;
}

// Merges two chains that end with null. In the chains and in the result, the timer that was set last comes first.
TTimerRing *Merged(TTimerRing *left, TTimerRing *right) noexcept {
    TTimerRing *first = nullptr;
    TTimerRing **end = &first;
    while (left && right) {
        TTimerRing *&from = OrderOf(left) > OrderOf(right) ? left : right;
        *end = from;
        end = &from->next;
        from = from->next;
    }
    *end = left ? left : right;
    return first;
}

// Sorts a list, so that the timer that was set last comes first. `sorted[i]` is a sorted chain of 2 to the power of `i`
// timers, or null.
void Sort(TTimerRing &list) noexcept {
    TTimerRing *sorted[64] = {};
    list.previous->next = nullptr;
    for (TTimerRing *ring = list.next; ring;) {
        TTimerRing *chain = std::exchange(ring, ring->next);
        chain->next = nullptr;
        std::size_t i = 0;
        for (; sorted[i]; ++i)
            chain = Merged(std::exchange(sorted[i], nullptr), chain);
        sorted[i] = chain;
    }
    TTimerRing *first = nullptr;
    for (TTimerRing *const chain : sorted)
        first = Merged(first, chain);
    TTimerRing *last = &list;
    for (TTimerRing *ring = first; ring; ring = ring->next) {
        last->next = ring;
        ring->previous = last;
        last = ring;
    }
    last->next = &list;
    list.previous = last;
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

// Inserts a timer at the front of the list to which it belongs. REQUIRES: the timer is in no list, and is not due
// before fBase.
inline void TTimerQueue::Place(TTimerLink &link) noexcept {
    link.queued = link.due;
    TPlace const place = PlaceOf(link.due);
    TTimerRing &list = Prepare(place);
    if (place.wheel == 0 && HasTimers(list) && OrderOf(list.next) > link.order)
        fUnsorted |= std::uint64_t{1} << place.digit;
    Insert(list, link, link);
}

// Advances fBase to the earliest time of the first list, and moves the timers of this list to lower wheels. The last
// timer moves first, so timers of the same time keep their order. REQUIRES: `place` is the place of the first list,
// which is not in the lowest wheel.
void TTimerQueue::Advance(TPlace place) noexcept {
    fBase = Begin(place);
    TTimerRing &list = Unmark(place);
    for (TTimerRing *ring = list.previous; ring != &list;) {
        TTimerRing *const previous = ring->previous;
        // No test gets here: the cast tests for null, and a ring has no such pointer.
        Place(*static_cast<TTimerLink *>(ring));
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

// Moves a timer to its place, or adds it to the queue. A timer that is set to the time for which it is queued moves to
// the front of its list, because it is now the last one that was set.
//
// If the queue is empty, fBase is set to the time of the new timer, rounded down to a multiple of fsDigits. Later
// timers are seldom due before this time, so SetBack() is seldom called.
void TTimerQueue::Move(TTimerLink &link) noexcept {
    Remove(link);
    if (IsEmpty())
        fBase = link.due / fsDigits * fsDigits;
    else if (link.due < fBase)
        SetBack(link.due / fsDigits * fsDigits);
    ++fCount;
    link.isArmed = true;
    link.queued = link.due;
    Insert(Prepare(PlaceOf(link.due)), link, link);
}

void TTimerQueue::Remove(TTimerLink &link) noexcept {
    if (!link.isArmed)
        return;
    --fCount;
    link.isArmed = false;
    Unlink(link);
}

// Returns the first timer of a list of the lowest wheel. If this timer is due later than the time of the list, moves it
// to its place, and returns null. REQUIRES: the list has timers.
TTimerLink *TTimerQueue::FirstOf(TPlace place) noexcept {
    TTimerRing &list = fLists[0][place.digit];
    std::uint64_t const mark = std::uint64_t{1} << place.digit;
    if (fUnsorted & mark)
        Sort(list);
    fUnsorted &= ~mark;
    // No test gets here: the cast tests for null, and a ring has no such pointer.
    auto *const first = static_cast<TTimerLink *>(list.next);
    if (first->due == Begin(place))
        return first;
    Unlink(*first);
    Place(*first);
    return nullptr;
}

TTimerLink *TTimerQueue::FirstDue(std::int64_t now) noexcept {
    while (!IsEmpty()) {
        TPlace const place = FirstPlace();
        if (static_cast<std::int64_t>(Begin(place)) > now)
            return nullptr;
        if (place.wheel != 0)
            Advance(place);
        else if (TTimerLink *const first = FirstOf(place))
            return first;
    }
    return nullptr;
}

std::int64_t TTimerQueue::NoneBefore() noexcept {
    return static_cast<std::int64_t>(Begin(FirstPlace()));
}
