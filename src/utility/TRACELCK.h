#ifndef TUZUTIL_TRACELCK_H
#define TUZUTIL_TRACELCK_H

// TTraceLock: the trace lock for a scope. Recursive. A destination of ours is built within one, so that no other thread
// reaches it half built: its constructors delegate to one that takes a temporary TTraceLock, which lives until the
// whole object stands.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACE.h"

struct TTraceLock : TMutexSemaphoreEntry {
    TTraceLock() : TMutexSemaphoreEntry(TTrace::Base::fsMutex, TMutexSemaphore::fsInfinite) {}
};

#endif
