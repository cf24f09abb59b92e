#ifndef TUZUTIL_INSISTENT_LOCK
#define TUZUTIL_INSISTENT_LOCK

// Locks for work that must be done. The first lock that a thread takes needs a little memory; if there is none, these
// wait until there is. They give up after many attempts, and at once if the lock itself could not be made.

#include "tuzutil/MUTEXSEM.h"

#include <optional>
#include <thread>

inline constexpr int fsMostAttempts = 10000; // a system that fails so often fails for good

// Calls `take`, which answers what became of it, until the lock is taken; false if it never will be.
inline bool Insist(TMutexSemaphore const &mutex, auto take) noexcept {
    for (int i = 0; i < fsMostAttempts; ++i) {
        if (take() == TMutexSemaphore::Locked)
            return true;
        if (!mutex.GetHandle())
            return false;
        std::this_thread::yield();
    }
    return false;
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
