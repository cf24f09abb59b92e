#ifndef TUZUTIL_TRACE_OBSERVERS
#define TUZUTIL_TRACE_OBSERVERS

// The observers of the global level and the global component (TRACENOT.h), and the lock that guards their set. A thread
// that needs this lock and the trace lock takes the trace lock first. The set and its lock are defined in STARTUP.cpp
// and never destroyed.

#include "tuzutil/COLLECT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACENOT.h"

struct TTraceObservers {
    static TMutexSemaphore &fsMutex; // guards fsSet
    static TSetOfCopy<TElemPointer<TTraceNotify>> &fsSet;

    static TElemPointer<TTraceNotify> *Find(TTraceNotify const *observer); // null if the observer is not registered
};

#endif
