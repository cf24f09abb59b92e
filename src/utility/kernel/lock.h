#ifndef TUZUTIL_LOCK
#define TUZUTIL_LOCK

// TLock: holds a lock for a scope, however long it takes to get it. If the lock could not be made, the scope runs
// without it: State() tells.

#include "tuzutil/MUTEXSEM.h"

struct TLock : TMutexSemaphoreEntry {
    explicit TLock(TMutexSemaphore &mutex) : TMutexSemaphoreEntry(mutex, TMutexSemaphore::fsInfinite) {}
};

#endif
