#ifndef TUZUTIL_FASTMUTX_H
#define TUZUTIL_FASTMUTX_H

// The recursive lock of one process below TMutexSemaphore: no call of the system while nobody waits.

#include "platform/platform.h"

#include <atomic>
#include <cstdint>

class TFastMutex;

// What the library knows of a thread that has used a lock. platform::ThisThread() makes it, and calls AbandonAll()
// before the thread ends.
struct TThreadRecord {
    std::uint32_t number;       // no other thread has or will have it, while the system's numbers come again
    std::uint32_t systemId;     // where the system can tell by a number whether a thread lives
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

    platform::WaitResult Lock(std::uint32_t milliseconds) noexcept; // blocks
    bool Unlock() noexcept;                                         // false if this thread does not hold it
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
    std::atomic<std::uint32_t> fOwner{0};   // number of the thread, 0 for none
    std::atomic<std::uint32_t> fOwnerId{0}; // the system's number
    std::uint32_t fDepth = 0;               // from here on: of the owner
    bool fAbandoned = false;                // the last owner ended with it
    TFastMutex *fPrevious = nullptr;        // chain of the locks that the owner holds
    TFastMutex *fNext = nullptr;
    std::atomic<void *> fEvent{nullptr}; // of the platform
};

// The number is written last: who reads it before and after the system's number has read two that belong together.
inline void TFastMutex::Own(TThreadRecord &thread) noexcept {
    fOwnerId.store(thread.systemId, std::memory_order_relaxed);
    fOwner.store(thread.number, std::memory_order_release);
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
    void *const waiting = PrepareWake();
    if (fState.exchange(free, std::memory_order_acq_rel) == heldAndWaitedFor)
        WakeOne(waiting);
}

inline platform::WaitResult TFastMutex::Lock(std::uint32_t milliseconds) noexcept {
    TThreadRecord *const thread = platform::ThisThread();
    if (!thread)
        return platform::WaitResult::failed;
    if (fOwner.load(std::memory_order_relaxed) == thread->number) {
        ++fDepth;
        return platform::WaitResult::done;
    }
    std::uint32_t expected = free;
    if (!fState.compare_exchange_strong(expected, held, std::memory_order_acquire, std::memory_order_relaxed)) {
        platform::WaitResult const result = Contend(*thread, milliseconds);
        if (result != platform::WaitResult::done)
            return result;
    }
    Own(*thread);
    platform::WaitResult const result = fAbandoned ? platform::WaitResult::abandoned : platform::WaitResult::done;
    fAbandoned = false;
    return result;
}

inline bool TFastMutex::Unlock() noexcept {
    TThreadRecord *const thread = platform::ThisThread();
    if (!thread || fOwner.load(std::memory_order_relaxed) != thread->number)
        return false;
    if (--fDepth == 0)
        Release(*thread);
    return true;
}

#endif
