#ifndef TUZUTIL_PLATFORM_FAST_MUTEX
#define TUZUTIL_PLATFORM_FAST_MUTEX

// TFastMutex: a recursive lock within one process, which calls the system only if a thread has to wait. This class is
// the same on every system. The mutex.cpp of each system uses TFastMutex for locks without a name, and defines how
// threads wait. TThreadRecord holds what the locks know about a thread. A thread that takes a TFastMutex without
// waiting, or releases one, takes no other lock and allocates no memory. Nothing is traced.

#include "platform/platform.h"
#include "platform/single_thread.h"

#include <atomic>
#include <cstdint>

namespace platform {

class TFastMutex;

// Each system's thread_record.cpp makes the record of a thread when the thread first uses a lock, and calls
// AbandonAll() when the thread ends. Invariant, unless the thread was killed: the chain that begins with `held`
// contains exactly the locks whose fOwner is the thread's number.
struct TThreadRecord {
    constexpr TThreadRecord(std::uint32_t aNumber, std::uint32_t aSystemId) noexcept
        : identity(std::uint64_t{aSystemId} << 32 | aNumber) {}

    std::uint32_t Number() const noexcept { return static_cast<std::uint32_t>(identity); }

    // The low half is a number that is never 0 and, unlike the system's ids, never reused. On Windows, the high half is
    // the system's id of the thread, by which a waiter asks whether the thread is alive. The high half is 0 for a fiber
    // and on Linux. Both halves are in one word, so that a waiter reads them in one step (see TFastMutex::fHolder).
    std::uint64_t const identity;
    TFastMutex *held = nullptr; // the first lock of a chain

    void AbandonAll() noexcept; // unlocks all locks of the chain and marks them as abandoned
};

struct TWaitPlace; // the object on which threads wait for one lock; each system defines it

// Invariant: fOwner is the number of a thread exactly while that thread holds the lock. Only that thread uses fDepth,
// fPrevious and fNext.
class TFastMutex {
public:
    TFastMutex() noexcept = default;
    TFastMutex(TFastMutex const &) = delete;
    TFastMutex &operator=(TFastMutex const &) = delete;
    ~TFastMutex() = default; // REQUIRES: no thread holds the lock or waits for it

    // REQUIRES: a TThreadRecord that is passed to a function is that of the calling thread.
    TWaitResult Lock(TThreadRecord &thread, std::uint32_t milliseconds) noexcept; // may block
    bool Unlock(TThreadRecord &thread) noexcept; // false if the thread does not hold the lock
    bool IsHeldBy(TThreadRecord const &thread) const noexcept {
        return fOwner.load(std::memory_order_relaxed) == thread.Number();
    }
    // Returns whether the thread holds the lock, and took it over from an owner that ended without unlocking it.
    bool WasAbandonedFor(TThreadRecord const &thread) const noexcept {
        return IsHeldBy(thread) && fAbandoned == takenOver;
    }

    // Returns whether a thread holds the lock or is still releasing it. The releasing thread accesses fState last.
    bool IsHeld() const noexcept { return fState.load(std::memory_order_acquire) != free; }
    std::atomic<std::uint32_t> const &State() const noexcept { return fState; } // 0 exactly if IsHeld() is false
    TWaitPlace *Place() const noexcept { return fPlace; }                       // null unless Contend() has set one
    void ForgetOtherThreads(TThreadRecord const &self) noexcept; // for a forked child, which has only this thread

private:
    friend struct TThreadRecord;

    enum TState : std::uint32_t { free, held, heldAndWaitedFor };
    enum TAbandoned : std::uint8_t {
        no,
        yes,      // the last owner ended while it held the lock
        takenOver // the present owner took the lock over from an owner that ended; the next owner sets `no`
    };

    // Changes the state in one step if it is `from`. Returns whether it was. In a process with only one thread, nobody
    // can change the state between the read and the write below. They cost much less than an atomic exchange.
    bool Change(TState from, TState to, std::memory_order order) noexcept {
        if (*singleThreadByte) {
            // No test gets here: in a process with one thread, nobody else holds the lock.
            if (fState.load(std::memory_order_relaxed) != from)
                return false;
            fState.store(to, std::memory_order_relaxed);
            return true;
        }
        std::uint32_t expected = from;
        return fState.compare_exchange_strong(expected, to, order, std::memory_order_acquire);
    }

    TWaitResult TakeOver() noexcept;
    void Own(TThreadRecord &thread) noexcept;
    void Release(TThreadRecord &thread) noexcept;
    void Abandon(TThreadRecord &thread) noexcept;

    // Each system defines these three functions. Contend() waits until it can change the state from `free` to
    // `heldAndWaitedFor` in one step. If the owner is no longer alive, Contend() may instead take the lock from it, and
    // then sets fAbandoned to `yes`. If Contend() times out or fails, the thread does not have the lock. PrepareWake()
    // returns the place where threads wait. WakeOne() uses only this place, because the lock may be deleted by then.
    TWaitResult Contend(TThreadRecord &thread, std::uint32_t milliseconds) noexcept;
    TWaitPlace *PrepareWake() noexcept;
    static void WakeOne(TWaitPlace *place) noexcept;

    std::atomic<std::uint32_t> fState{free};
    std::atomic<std::uint32_t> fOwner{0};  // the number of the thread that holds the lock; 0 for none
    std::atomic<std::uint64_t> fHolder{0}; // the identity of the thread that holds the lock or held it last
    std::uint32_t fDepth = 0;              // how many times the owner has taken the lock
    TAbandoned fAbandoned = no;
    TFastMutex *fPrevious = nullptr; // in the chain of the locks that the owner holds
    TFastMutex *fNext = nullptr;
    std::atomic<TWaitPlace *> fPlace{nullptr}; // null before a thread has waited; on Linux always null
};

inline void TFastMutex::Own(TThreadRecord &thread) noexcept {
    // A thread writes both halves of its identity in one step, but a 32-bit processor reads and compares them slowly.
    // Therefore fOwner, which threads that do not wait use, is a word of its own.
    fHolder.store(thread.identity, std::memory_order_relaxed);
    fOwner.store(thread.Number(), std::memory_order_release);
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
    if (Change(held, free, std::memory_order_release))
        return;
    // PrepareWake() must be called before the lock is free, because the lock may be deleted afterwards. If the system
    // uses fPlace, fPlace is set by now: a waiter sets fPlace before the state becomes `heldAndWaitedFor`.
    TWaitPlace *const place = PrepareWake();
    fState.store(free, std::memory_order_release);
    WakeOne(place);
}

inline TWaitResult TFastMutex::Lock(TThreadRecord &thread, std::uint32_t milliseconds) noexcept {
    if (IsHeldBy(thread)) {
        ++fDepth;
        return TWaitResult::done;
    }
    if (!Change(free, held, std::memory_order_acquire)) {
        TWaitResult const result = Contend(thread, milliseconds);
        if (result != TWaitResult::done)
            return result;
    }
    Own(thread);
    return fAbandoned == no ? TWaitResult::done : TakeOver();
}

inline bool TFastMutex::Unlock(TThreadRecord &thread) noexcept {
    if (!IsHeldBy(thread))
        return false;
    if (--fDepth == 0)
        Release(thread);
    return true;
}

} // namespace platform

#endif
