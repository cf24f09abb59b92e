#ifndef TUZUTIL_PURETRAP_H
#define TUZUTIL_PURETRAP_H

// TPureCall: what a call of an operation that a class leaves abstract ends in.
//
// Example:
//     virtual int Run() { return TPureCall::Trap(); } // "pure": subclasses override it
//
// Ownership:  nothing.
// Threads:    any.
// Failures:   never throws and never ends the process by itself; with level "tr" (0x100000) and component "Utility"
//             traced it stops the process on purpose, so that a debugger shows the caller.
// Surprises:  none.

#include "tuzutil/EXPORT.h"

class TUZUTIL_API TPureCall {
public:
    static int Trap(); // always 0
};

#endif
