// TTimerQueue: the tree of times, with a list of timers for each time (see timer_queue.h). Its functions are called
// under TMasterTimer::fsLock, and neither allocate nor throw.

#include "utility/threads/timer_queue.h"

namespace {

// Puts `link` in the place of `other` in the tree. `place` is the pointer that leads to that place.
void TakePlace(TTimerLink **place, TTimerLink &link, TTimerLink const &other) noexcept {
    link.branch[0] = other.branch[0];
    link.branch[1] = other.branch[1];
    *place = &link;
}

} // namespace

// Returns the address of the pointer to the head of the list for the time `due`. If there is no such list, this pointer
// is null, and Add() stores the head of a new list there. Takes at most one step for each bit of a time.
TTimerLink **TTimerQueue::PlaceOf(std::uint64_t due) noexcept {
    TTimerLink **place = &fRoot;
    for (std::uint64_t bit = fHighestBit; *place && (*place)->due != due; bit >>= 1)
        place = &(*place)->branch[(due & bit) != 0];
    return place;
}

void TTimerQueue::Add(TTimerLink &link) noexcept {
    TTimerLink **const place = PlaceOf(link.due);
    TTimerLink *const head = *place;
    link.isArmed = true;
    link.previous = nullptr;
    link.next = head;
    if (head)
        head->previous = &link;
    TakePlace(place, link, head ? *head : TTimerLink{nullptr});
}

void TTimerQueue::Remove(TTimerLink &link) noexcept {
    if (!link.isArmed)
        return;
    link.isArmed = false;
    if (link.next)
        link.next->previous = link.previous;
    if (link.previous) {
        link.previous->next = link.next;
        return;
    }
    TTimerLink **const place = PlaceOf(link.due);
    if (link.next) {
        TakePlace(place, *link.next, link);
        return;
    }
    TTimerLink **leaf = place;
    while ((*leaf)->branch[0] || (*leaf)->branch[1])
        leaf = &(*leaf)->branch[(*leaf)->branch[0] == nullptr];
    TTimerLink *const last = *leaf;
    *leaf = nullptr;
    if (last != &link)
        TakePlace(place, *last, link);
}

TTimerLink *TTimerQueue::First() const noexcept {
    TTimerLink *first = fRoot;
    for (TTimerLink *link = fRoot; link; link = link->branch[link->branch[0] == nullptr]) {
        if (link->due < first->due)
            first = link;
    }
    return first;
}
