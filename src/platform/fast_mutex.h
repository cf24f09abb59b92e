#ifndef TUZUTIL_PLATFORM_FAST_MUTEX
#define TUZUTIL_PLATFORM_FAST_MUTEX

// The recursive lock of one process below TMutexSemaphore: no call of the system while nobody waits.

#include "platform/platform.h"

#include <atomic>
#include <cstdint>

class TFastMutex;

// What the library knows of a thread that has used a lock. platform::ThisThread() makes it, and calls AbandonAll()
// before the thread ends.
struct TThreadRecord {
    constexpr TThreadRecord(std::uint32_t aNumber, std::uint32_t aSystemId) noexcept
        : identity(std::uint64_t{aSystemId} << 32 | aNumber) {}

    std::uint32_t Number() const noexcept { return static_cast<std::uint32_t>(identity); }

    // Below, a number that no other thread has or will have, never 0; above, the system's, which come again, where it
    // can tell by that whether a thread lives. In one word, so that the two are read together.
    std::uint64_t const identity;
    TFastMutex *held = nullptr; // the first of a chain

    void AbandonAll() noexcept; // the locks that the thread holds become free
};

// Recursive, with time limits; a lock whose owner ends becomes free and says so to the next one.
class TFastMutex {
public:
    TFastMutex() noexcept = default;
    TFastMutex(TFastMutex const &) = delete;
    TFastMutex &operator=(TFastMutex const &) = delete;
    ~TFastMutex();

    // By the calling thread.
    platform::WaitResult Lock(TThreadRecord &thread, std::uint32_t milliseconds) noexcept; // blocks
    bool Unlock(TThreadRecord &thread) noexcept; // false if the thread does not hold it
    bool IsHeldBy(TThreadRecord const &thread) const noexcept {
        return fOwner.load(std::memory_order_relaxed) == thread.identity;
    }
    bool IsHeld() const noexcept { return fOwner != 0; }
    void ForgetOtherThreads(TThreadRecord const &self) noexcept; // in a forked child, where there are none

private:
    friend struct TThreadRecord;

    enum State : std::uint32_t { free, held, heldAndWaitedFor };

    void Own(TThreadRecord &thread) noexcept;
    void Release(TThreadRecord &thread) noexcept;
    void Abandon(TThreadRecord &thread) noexcept;
    // Of the platform. Contend() waits until the state was `free` and makes it `heldAndWaitedFor`, or takes the lock
    // over from an owner that is gone, with fAbandoned set. WakeOne() touches nothing but what PrepareWake() gave: the
    // lock may be deleted by then.
    platform::WaitResult Contend(TThreadRecord &thread, std::uint32_t milliseconds) noexcept;
    void *PrepareWake() noexcept;
    static void WakeOne(void *prepared) noexcept;

    std::atomic<std::uint32_t> fState{free};
    std::atomic<std::uint64_t> fOwner{0}; // the thread's identity, 0 for none
    std::uint32_t fDepth = 0;             // from here on: of the owner
    bool fAbandoned = false;              // the last owner ended with it
    TFastMutex *fPrevious = nullptr;      // chain of the locks that the owner holds
    TFastMutex *fNext = nullptr;
    std::atomic<void *> fEvent{nullptr}; // of the platform
};

inline void TFastMutex::Own(TThreadRecord &thread) noexcept {
    fOwner.store(thread.identity, std::memory_order_release);
    fDepth = 1;
    fPrevious = nullptr;
    fNext = thread.held;
    if (fNext)
        fNext->fPrevious = this;
    thread.held = this;
}

inline void TFastMutex::Release(TThreadRecord &thread) noexcept {
    (fPrevious ? fPrevious->fNext : thread.held) = fNext;
    if (fNext)
        fNext->fPrevious = fPrevious;
    fOwner.store(0, std::memory_order_relaxed);
    std::uint32_t expected = held;
    if (fState.compare_exchange_strong(expected, free, std::memory_order_release, std::memory_order_acquire))
        return;
    // What a waiter waits for stands ready when it says in the state that it waits, and not before; and the lock may be
    // deleted as soon as it is free.
    void *const waiting = PrepareWake();
    fState.store(free, std::memory_order_release);
    WakeOne(waiting);
}

inline platform::WaitResult TFastMutex::Lock(TThreadRecord &thread, std::uint32_t milliseconds) noexcept {
    if (IsHeldBy(thread)) {
        ++fDepth;
        return platform::WaitResult::done;
    }
    std::uint32_t expected = free;
    if (!fState.compare_exchange_strong(expected, held, std::memory_order_acquire, std::memory_order_relaxed)) {
        platform::WaitResult const result = Contend(thread, milliseconds);
        if (result != platform::WaitResult::done)
            return result;
    }
    Own(thread);
    platform::WaitResult const result = fAbandoned ? platform::WaitResult::abandoned : platform::WaitResult::done;
    fAbandoned = false;
    return result;
}

inline bool TFastMutex::Unlock(TThreadRecord &thread) noexcept {
    if (!IsHeldBy(thread))
        return false;
    if (--fDepth == 0)
        Release(thread);
    return true;
}

#endif
