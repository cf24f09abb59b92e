// A guard needs a name: without one, it would release the lock at once.
// error: ignoring return value of .*TMutexSemaphoreEntry
#include "tuzutil/MUTEXSEM.h"

#pragma GCC diagnostic error "-Wunused-result"

void Use(TMutexSemaphore &lock) {
#ifdef WRONG
    TMutexSemaphoreEntry(lock, 500);
#else
    TMutexSemaphoreEntry const entry(lock, 500);
#endif
}
