// A guard needs a name: without one, it would release the lock at once.
// error: ignoring return value of .*TMutexSemaphoreEntry
// clang++ error: ignoring temporary created by a constructor
#include "tuzutil/MUTEXSEM.h"

#pragma GCC diagnostic error "-Wunused-result"
#pragma GCC diagnostic error "-Wunused-value" // which is the warning of clang++

void Use(TMutexSemaphore &lock) {
#ifdef WRONG
    TMutexSemaphoreEntry(lock, 500);
#else
    TMutexSemaphoreEntry const entry(lock, 500);
#endif
}
