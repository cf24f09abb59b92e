#ifndef TUZUTIL_INSISTENT_LOCK
#define TUZUTIL_INSISTENT_LOCK

// Locks for work that must be done. The first lock that a thread takes needs a little memory; if there is none, these
// wait until there is. They give up after many attempts, and at once if the lock itself could not be made.

#include "tuzutil/MUTEXSEM.h"

#include <chrono>
#include <optional>
#include <thread>

// A system that fails so often, or for so long, fails for good. On a busy machine each attempt may take a while.
inline constexpr int fsMostAttempts = 10000;
inline constexpr std::chrono::milliseconds fsLongestAttempt{200};

// Calls `take`, which answers what became of it, until the lock is taken; false if it never will be.
inline bool Insist(TMutexSemaphore const &mutex, auto take) noexcept {
    std::optional<std::chrono::steady_clock::time_point> end; // from the first failure on
    for (int i = 0; i < fsMostAttempts; ++i) {
        if (take() == TMutexSemaphore::Locked)
            return true;
        if (!mutex.GetHandle())
            return false;
        auto const now = std::chrono::steady_clock::now();
        if (!end)
            end = now + fsLongestAttempt;
        else if (now > *end && i >= 10)
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
