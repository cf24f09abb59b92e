#ifndef TUZUTIL_TIMER_QUEUE
#define TUZUTIL_TIMER_QUEUE

// The armed timers in the order in which they are due: by second and, within a second, the one set last first. Adding
// and removing take a number of steps that grows with the logarithm of the number of seconds in use, 32 at most, and
// no memory: they cannot fail.
//
// Timers of one second form a list. The heads of the lists form a binary tree by the bits of the second, from the
// highest on: below branch[0] of a node at depth d are seconds whose bit 31 - d is 0, and bits above it as the node's.
// A node itself may be anything that is allowed at its place, so it can change places with any leaf below it.

#include "tuzutil/TIMER.h"

class TTimerQueue {
public:
    void Add(TTimerLink &link) noexcept;    // at `link.second`; REQUIRES: it is not armed
    void Remove(TTimerLink &link) noexcept; // nothing if it is not armed
    bool IsEmpty() const noexcept { return !fRoot; }
    TTimerLink *First() const noexcept; // null if there is none

private:
    TTimerLink **PlaceOf(std::uint32_t second) noexcept;

    TTimerLink *fRoot = nullptr;
};

#endif
