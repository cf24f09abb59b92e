#ifndef TUZUTIL_TRACELCK_H
#define TUZUTIL_TRACELCK_H

// TTraceLock: the trace lock for a scope. Recursive.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACE.h"

struct TTraceLock : TMutexSemaphoreEntry {
    TTraceLock() : TMutexSemaphoreEntry(TTrace::Base::fsMutex, TMutexSemaphore::fsInfinite) {}
};

#endif
