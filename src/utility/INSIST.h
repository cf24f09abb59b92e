#ifndef TUZUTIL_INSIST_H
#define TUZUTIL_INSIST_H

// Locks for what cannot be left undone. The first lock that a thread takes needs a little memory: where there is none,
// these wait until there is. They give up where the lock itself could not be made, when the program was loaded.

#include "tuzutil/MUTEXSEM.h"

#include <optional>
#include <thread>

// Calls `take`, which answers what became of it, until the lock is taken; false if it never will be.
inline bool Insist(TMutexSemaphore const &mutex, auto take) noexcept {
    while (take() != TMutexSemaphore::Locked) {
        if (!mutex.GetHandle())
            return false;
        std::this_thread::yield();
    }
    return true;
}

class TInsistentEntry {
public:
    explicit TInsistentEntry(TMutexSemaphore &mutex) noexcept
        : fIsLocked(Insist(mutex, [&] { return fEntry.emplace(mutex, TMutexSemaphore::fsInfinite).State(); })) {}

    explicit operator bool() const noexcept { return fIsLocked; }

private:
    std::optional<TMutexSemaphoreEntry> fEntry;
    bool fIsLocked;
};

#endif
