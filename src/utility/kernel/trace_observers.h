#ifndef TUZUTIL_TRACE_OBSERVERS
#define TUZUTIL_TRACE_OBSERVERS

// The observers of the global trace words, and the lock that guards their set; the trace lock is taken before it. Both
// objects are defined in STARTUP.cpp and never destroyed.

#include "tuzutil/COLLECT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACENOT.h"

struct TTraceObservers {
    static TMutexSemaphore &fsMutex; // guards the set
    static TSetOfCopy<TElemPointer<TTraceNotify>> &fsSet;

    static TElemPointer<TTraceNotify> *Find(TTraceNotify const *observer); // null if it is not registered
};

#endif
