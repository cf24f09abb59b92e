#ifndef TUZUTIL_TIMER_QUEUE
#define TUZUTIL_TIMER_QUEUE

// Holds the armed timers in the order in which they are due. Of the timers of one second, the one set last comes first.
// Add() and Remove() take at most 32 steps, and fewer if the timers are due in few different seconds. They allocate
// nothing, so they cannot fail.
//
// The timers of one second form a list. The heads of the lists form a binary tree by the bits of the second, from bit
// 31 down. The root has depth 0. At depth d, seconds whose bit 31 - d is 0 are below branch[0], the others below
// branch[1]. The place of a node prescribes only the bits that lead to it, and all nodes below it have these bits too.
// So any leaf below a node can take its place.

#include "tuzutil/TIMER.h"

class TTimerQueue {
public:
    void Add(TTimerLink &link) noexcept;    // for `link.second`; REQUIRES: the link is not armed
    void Remove(TTimerLink &link) noexcept; // does nothing if the link is not armed
    bool IsEmpty() const noexcept { return !fRoot; }
    TTimerLink *First() const noexcept; // the timer due first; null if none is armed

private:
    TTimerLink **PlaceOf(std::uint32_t second) noexcept;

    TTimerLink *fRoot = nullptr;
};

#endif
