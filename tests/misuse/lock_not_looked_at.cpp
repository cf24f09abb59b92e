// Whoever tries to take a lock must look whether that succeeded.
// error: ignoring return value of .*try_lock
// clang++ error: ignoring return value of function declared with .nodiscard.
#include "tuzutil/MUTEXSEM.h"

#pragma GCC diagnostic error "-Wunused-result"

void Use(TMutexSemaphore &lock) {
#ifdef WRONG
    lock.try_lock();
#else
    if (!lock.try_lock())
        return;
#endif
    lock.unlock();
}
