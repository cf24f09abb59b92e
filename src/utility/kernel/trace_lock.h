#ifndef TUZUTIL_TRACE_LOCK
#define TUZUTIL_TRACE_LOCK

// TTraceLock: the trace lock for a scope. Recursive.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACE.h"

struct TTraceLock : TMutexSemaphoreEntry {
    TTraceLock() : TMutexSemaphoreEntry(TTrace::Base::fsMutex, TMutexSemaphore::fsInfinite) {}
};

#endif
