#ifndef TUZUTIL_LOCK
#define TUZUTIL_LOCK

// TLock: takes a lock without a time limit, and holds it until the end of the scope. If the lock cannot be taken, for
// example because it could not be created, the code in the scope runs without the lock. State() says whether the lock
// is held.

#include "tuzutil/MUTEXSEM.h"

struct TLock : TMutexSemaphoreEntry {
    explicit TLock(TMutexSemaphore &mutex) : TMutexSemaphoreEntry(mutex, TMutexSemaphore::fsInfinite) {}
};

#endif
