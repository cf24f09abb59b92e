// TTimerQueue: the hierarchy of wheels (see timer_queue.h). Its functions are called under TMasterTimer::fsLock, and
// neither allocate nor throw.

#include "utility/threads/timer_queue.h"

#include <bit>

// Returns the list to which a timer belongs. REQUIRES: `due` is not before fBase.
inline TTimerQueue::TPlace TTimerQueue::PlaceOf(std::uint64_t due) const noexcept {
    unsigned int const highestBit = 63U - static_cast<unsigned int>(std::countl_zero((due ^ fBase) | 1));
    unsigned int const wheel = highestBit / fsDigitBits;
    return {wheel, static_cast<unsigned int>(due >> (wheel * fsDigitBits)) % fsDigits};
}

// Returns the list whose timers are due first. REQUIRES: the queue is not empty.
inline TTimerQueue::TPlace TTimerQueue::FirstPlace() const noexcept {
    auto const wheel = static_cast<unsigned int>(std::countr_zero(fFilledWheels));
    return {wheel, static_cast<unsigned int>(std::countr_zero(fFilledDigits[wheel]))};
}

// Returns the earliest time that belongs to a list.
inline std::uint64_t TTimerQueue::Begin(TPlace place) const noexcept {
    unsigned int const shift = place.wheel * fsDigitBits;
    return ((fBase >> shift) / fsDigits * fsDigits + place.digit) << shift;
}

inline void TTimerQueue::MarkFilled(TPlace place) noexcept {
    fFilledWheels |= 1U << place.wheel;
    fFilledDigits[place.wheel] |= std::uint64_t{1} << place.digit;
}

// Takes all timers from a list, and returns the first one.
inline TTimerLink *TTimerQueue::Empty(TPlace place) noexcept {
    std::uint64_t &digits = fFilledDigits[place.wheel];
    digits &= ~(std::uint64_t{1} << place.digit);
    if (digits == 0)
        fFilledWheels &= ~(1U << place.wheel);
    return fFirst[place.wheel][place.digit];
}

// Appends the ring that begins with `first` to a list.
void TTimerQueue::Append(TPlace place, TTimerLink &first) noexcept {
    TTimerLink *&head = fFirst[place.wheel][place.digit];
    if (fFilledDigits[place.wheel] >> place.digit & 1) {
        TTimerLink *const last = head->previous;
        TTimerLink *const newLast = first.previous;
        last->next = &first;
        first.previous = last;
        newLast->next = head;
        head->previous = newLast;
        return;
    }
    head = &first;
    MarkFilled(place);
}

// Advances fBase to the begin of the first list, and moves the timers of this list to lower wheels. The order of timers
// of the same time does not change. REQUIRES: the list is the first one, and not of the lowest wheel.
void TTimerQueue::Advance(TPlace place) noexcept {
    fBase = Begin(place);
    TTimerLink *const first = Empty(place);
    TTimerLink *link = first;
    do {
        TTimerLink *const next = link->next;
        link->next = link->previous = link;
        Append(PlaceOf(link->due), *link);
        link = next;
    } while (link != first);
}

// Sets fBase to an earlier time. All timers of the wheels below the highest digit that changes then differ from fBase
// in this digit first, so their lists move to one list of that wheel. This list was empty, because the timers of a
// wheel come after fBase in the digit of the wheel.
void TTimerQueue::SetBack(std::uint64_t base) noexcept {
    std::uint64_t const oldBase = fBase;
    fBase = base;
    TPlace const target = PlaceOf(oldBase);
    while (fFilledWheels & ((1U << target.wheel) - 1))
        Append(target, *Empty(FirstPlace()));
}

// An empty queue begins anew at the first time that is added. Later additions seldom come before this time.
void TTimerQueue::Add(TTimerLink &link) noexcept {
    if (IsEmpty())
        fBase = link.due / fsDigits * fsDigits;
    else if (link.due < fBase)
        SetBack(link.due / fsDigits * fsDigits);
    TPlace const place = PlaceOf(link.due);
    TTimerLink *&head = fFirst[place.wheel][place.digit];
    link.isArmed = true;
    link.next = link.previous = &link;
    if (fFilledDigits[place.wheel] >> place.digit & 1) {
        link.next = head;
        link.previous = head->previous;
        link.previous->next = &link;
        head->previous = &link;
    }
    head = &link;
    MarkFilled(place);
}

void TTimerQueue::Remove(TTimerLink &link) noexcept {
    if (!link.isArmed)
        return;
    link.isArmed = false;
    TPlace const place = PlaceOf(link.due);
    if (link.next == &link) {
        Empty(place);
        return;
    }
    TTimerLink *&head = fFirst[place.wheel][place.digit];
    if (head == &link)
        head = link.next;
    link.next->previous = link.previous;
    link.previous->next = link.next;
}

TTimerLink *TTimerQueue::FirstDue(std::int64_t now) noexcept {
    while (!IsEmpty()) {
        TPlace const place = FirstPlace();
        if (static_cast<std::int64_t>(Begin(place)) > now)
            return nullptr;
        if (place.wheel == 0)
            return fFirst[0][place.digit];
        Advance(place);
    }
    return nullptr;
}

std::int64_t TTimerQueue::NoneBefore() const noexcept {
    return static_cast<std::int64_t>(Begin(FirstPlace()));
}
