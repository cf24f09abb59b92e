#ifndef TUZUTIL_TIMER_QUEUE
#define TUZUTIL_TIMER_QUEUE

// Holds the armed timers in the order in which they are due. Of the timers of one time, the one set last comes first.
// Add() and Remove() take at most as many steps as a time has bits, and fewer if the timers are due at few different
// times. They allocate nothing, so they cannot fail.
//
// The timers of one time form a list. The heads of the lists form a binary tree by the bits of the time, from the
// highest bit down. The root has depth 0. At depth d, times whose d-th highest bit is 0 are below branch[0], the others
// below branch[1]. The place of a node prescribes only the bits that lead to this place, and all nodes below it have
// these bits too. So any leaf below a node can take the place of that node.

#include "tuzutil/TIMER.h"

class TTimerQueue {
public:
    explicit constexpr TTimerQueue(unsigned int bits) noexcept : fHighestBit(std::uint64_t{1} << (bits - 1)) {}

    // Adds a link by its member `due`. REQUIRES: the link is not armed, and the time has at most as many bits as were
    // passed to the constructor.
    void Add(TTimerLink &link) noexcept;
    void Remove(TTimerLink &link) noexcept; // does nothing if the link is not armed
    bool IsEmpty() const noexcept { return !fRoot; }
    TTimerLink *First() const noexcept; // the timer due first; null if none is armed

private:
    TTimerLink **PlaceOf(std::uint64_t due) noexcept;

    std::uint64_t const fHighestBit;
    TTimerLink *fRoot = nullptr;
};

#endif
