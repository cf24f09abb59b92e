#ifndef TUZUTIL_TIMER_QUEUE
#define TUZUTIL_TIMER_QUEUE

// Holds the armed timers, and finds the timer that is due first. If several timers are due at that time, finds the one
// that was added last. Add() and Remove() take at most as many steps as a time has bits, and fewer if the timers are
// due at few different times. These functions allocate nothing, so they cannot fail.
//
// The timers of one time form a list. The heads of the lists are the nodes of a binary tree. The root divides the other
// times by their highest bit, the children of the root divide them by the second highest bit, and so on. Times in which
// this bit is 0 are below branch[0], the others are below branch[1]. So all times below a place have the bits that lead
// to this place. Nothing else is required of them, so any leaf below a node can take the place of that node.

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
