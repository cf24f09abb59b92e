#ifndef TUZUTIL_INSISTENT_LOCK
#define TUZUTIL_INSISTENT_LOCK

// TInsistentEntry: takes a lock for work that must not be left out. The first lock that a thread takes needs a little
// memory. If there is no memory, TInsistentEntry tries again, within the limits below. If the lock itself could not be
// created, TInsistentEntry gives up at once. An object that has given up does not hold the lock. The class calls the
// lock itself, not a guard, because the compiler then keeps the state in registers.

#include "tuzutil/MUTEXSEM.h"

#include <chrono>
#include <optional>
#include <thread>

// The limits of the attempts: their number, and the time after the first failure. The time limit applies only after ten
// attempts, because a single attempt may take long on a busy machine.
inline constexpr int fsMostAttempts = 10000;
inline constexpr std::chrono::milliseconds fsLongestAttempt{200};

class TInsistentEntry {
public:
    explicit TInsistentEntry(TMutexSemaphore &mutex) noexcept : fMutex(mutex) { Take(); }
    TInsistentEntry(TInsistentEntry const &) = delete;
    TInsistentEntry &operator=(TInsistentEntry const &) = delete;
    ~TInsistentEntry() { Release(); }

    explicit operator bool() const noexcept { return fIsLocked; } // whether the lock is held

    void Take() noexcept { fIsLocked = TryOnce(fMutex) || Insist(fMutex); }
    void Release() noexcept {
        if (fIsLocked)
            fMutex.Unlock();
        fIsLocked = false;
    }

    // Tries to take the lock until it is held. Returns false if the limits are reached, or if the lock could not be
    // created.
    static bool Insist(TMutexSemaphore &mutex) noexcept {
        std::optional<std::chrono::steady_clock::time_point> end; // set at the first failure
        // No test gets here: on a busy machine, the time ends before the attempts do.
        for (int i = 0; i < fsMostAttempts; ++i) {
            if (TryOnce(mutex))
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
        // No test gets here: see the loop.
        return false;
    }

private:
    static bool TryOnce(TMutexSemaphore &mutex) noexcept {
        return mutex.Lock(TMutexSemaphore::fsInfinite) == TMutexSemaphore::Locked;
    }

    TMutexSemaphore &fMutex;
    bool fIsLocked = false;
};

#endif
