#ifndef TUZUTIL_INSISTENT_LOCK
#define TUZUTIL_INSISTENT_LOCK

// TInsistentEntry: takes a lock for work that must not be left out. The first lock that a thread takes needs a little
// memory. If there is no memory, TInsistentEntry tries again, within the limits below. If the lock itself could not be
// created, TInsistentEntry gives up at once. An object that has given up does not hold the lock.

#include "tuzutil/MUTEXSEM.h"

#include <chrono>
#include <optional>
#include <thread>

// The limits of the attempts: their number, and the time after the first failure. The time limit applies only after ten
// attempts, because a single attempt may take long on a busy machine.
inline constexpr int fsMostAttempts = 10000;
inline constexpr std::chrono::milliseconds fsLongestAttempt{200};

// Calls `take`, which tries to take the lock and returns its state, until the lock is held. Returns false if the limits
// are reached, or if the lock could not be created.
inline bool Insist(TMutexSemaphore const &mutex, auto take) noexcept {
    std::optional<std::chrono::steady_clock::time_point> end; // set at the first failure
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
