#ifndef TUZUTIL_PURETRAP_H
#define TUZUTIL_PURETRAP_H

// TPureCall: the body of a virtual function that subclasses must override. It traces that the function was called.
//
// Example:
//     virtual int Run() { return TPureCall::Trap(); } // "pure": subclasses override it
//
// Ownership:  Trap() owns nothing.
// Threads:    Any thread may call Trap().
// Failures:   Trap() never throws.
// Surprises:
// - If level "tr" (0x100000) is traced for the component "Utility", Trap() ends the process with a fault, so that a
//   debugger shows the caller.

#include "tuzutil/EXPORT.h"

class TUZUTIL_API TPureCall {
public:
    static int Trap(); // writes a trace entry at level "se"; returns 0
};

#endif
