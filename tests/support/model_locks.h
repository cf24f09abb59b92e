#ifndef TUZUTIL_TESTS_MODEL_LOCKS_H
#define TUZUTIL_TESTS_MODEL_LOCKS_H

// Takes the place of tuzutil/MUTEXSEM.h in tests that include sources of the library and run them in every
// interleaving: locks and events for the threads of interleavings.h, and a clock that such a test controls. These
// sources and tuzutil/TREFCNT.h are included in the namespace `modelled`, so they do not meet the library's own code.

#include "support/interleavings.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <vector>

#define TUZUTIL_MUTEXSEM_H

namespace modelled {

using interleavings::TLimit;
using interleavings::TScheduler;

// The time in milliseconds. It passes only if a thread waits until its time limit.
inline std::int64_t fsNow = 0;

class TMutexSemaphore {
    // A test may include a source before it replaces the standard atomics. It then runs no function that needs the
    // word.
    struct TWord {
        interleavings::TModelAtomic<std::uint32_t> const *word;

        operator interleavings::TModelAtomic<std::uint32_t> const *() const { return word; }
        operator std::atomic<std::uint32_t> const *() const { std::abort(); }
    };

public:
    enum EState { Unlocked, Locked, TimedOut, Error };
    static constexpr long fsInfinite = -1;

    EState Lock(long) {
        TScheduler::Step();
        while (fDepth > 0 && fOwner != TScheduler::Self())
            TScheduler::Wait(this, TLimit::none);
        fOwner = TScheduler::Self();
        ++fDepth;
        fHeld.SetNow(1);
        return Locked;
    }
    void Unlock() {
        TScheduler::Step();
        if (--fDepth > 0)
            return;
        fHeld.SetNow(0);
        TScheduler::Wake(this, 1);
    }
    TWord HeldWord() const { return {&fHeld}; }
    void const *GetHandle() const { return this; }

private:
    std::size_t fOwner = 0;
    int fDepth = 0;
    interleavings::TModelAtomic<std::uint32_t> fHeld{0};
};

class TMutexSemaphoreEntry {
public:
    TMutexSemaphoreEntry(TMutexSemaphore &mutex, long timeout) : fMutex(mutex), fState(mutex.Lock(timeout)) {}
    TMutexSemaphoreEntry(TMutexSemaphoreEntry const &) = delete;
    TMutexSemaphoreEntry &operator=(TMutexSemaphoreEntry const &) = delete;
    ~TMutexSemaphoreEntry() { fMutex.Unlock(); }

    TMutexSemaphore::EState State() const { return fState; }

private:
    TMutexSemaphore &fMutex;
    TMutexSemaphore::EState fState;
};

// An event without a count of its references: TSemaphore adds that.
class TModelEvent {
public:
    int Wait(long timeout) {
        TScheduler::Step();
        if (fIsPosted)
            return 0;
        std::int64_t const begin = fsNow;
        if (timeout != 0 && TScheduler::Wait(this, timeout > 0 ? TLimit::soon : TLimit::none))
            return 0;
        fsNow = std::max<std::int64_t>(fsNow, begin + timeout);
        return fIsPosted ? 0 : 1;
    }
    int Clear() {
        TScheduler::Step();
        fIsPosted = false;
        return 0;
    }
    int Post() {
        TScheduler::Step();
        fIsPosted = true;
        fPosts.push_back(fsNow);
        TScheduler::Wake(this, INT32_MAX);
        return 0;
    }

    std::vector<std::int64_t> const &Posts() const { return fPosts; } // the times of all posts

private:
    bool fIsPosted = false;
    std::vector<std::int64_t> fPosts;
};

} // namespace modelled

#endif
