#ifndef TUZUTIL_TRACEOBS_H
#define TUZUTIL_TRACEOBS_H

// The observers of the global trace words, and what becomes of tracing where the process forks. The objects are defined
// in STARTUP.cpp and never destroyed.

#include "tuzutil/COLLECT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACENOT.h"

struct TTraceObservers {
    static TMutexSemaphore &fsMutex; // guards the set
    static TSetOfCopy<TElemPointer<TTraceNotify>> &fsSet;

    static TElemPointer<TTraceNotify> *Find(TTraceNotify const *observer); // null if it is not registered
};

// A forked child gets the chain of destinations, their tables and the set of observers as they are between two changes,
// and no entry half written: the thread that forks holds both locks meanwhile.
struct TTraceFork {
    static void Follow() noexcept; // from now on; once, after the locks were made

private:
    static void Before() noexcept;
    static void After() noexcept; // in the parent and in the child
};

#endif
