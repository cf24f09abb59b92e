#ifndef TUZUTIL_PURETRAP_H
#define TUZUTIL_PURETRAP_H

// TPureCall: what happens if somebody calls an operation that a class leaves to its subclasses.
//
// Example:
//     virtual int Run() { return TPureCall::Trap(); } // "pure": subclasses override it
//
// Ownership:  It owns nothing.
// Threads:    Any thread may call it.
// Failures:   It never throws, and never ends the process by itself.
// Surprises:
// - If level "tr" (0x100000) of the component "Utility" is traced, the call deliberately stops the process, so that a
//   debugger shows the caller.

#include "tuzutil/EXPORT.h"

class TUZUTIL_API TPureCall {
public:
    static int Trap(); // always returns 0
};

#endif
