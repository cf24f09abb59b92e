#ifndef TUZUTIL_MUTEXSEM_H
#define TUZUTIL_MUTEXSEM_H

// TMutexSemaphore: a recursive lock, which processes share if it has a name. TSemaphore: an event flag.
//
// Example:
//     static TMutexSemaphore lock;           // or lock("mailbox.user7"), for all processes
//     TMutexSemaphoreEntry entry(lock, 500); // waits half a second at most
//     if (entry.State() != TMutexSemaphore::Locked)
//         return;                            // somebody else holds it
//     Deliver();                             // the end of the block releases the lock
//
// Ownership:  A lock copies its name. A guard (TMutexSemaphoreEntry) refers to its lock, and the lock must outlive the
//             guard. Copies of a TSemaphore share one event.
// Threads:    Any thread may use locks and events. A guard belongs to one thread. A thread that takes a lock sees all
//             that was written before the lock was released. A thread that ends a wait sees all that was written before
//             the post.
// Failures:   If a call of the system fails, a guard has the state Error, and lock() and the try_lock functions throw
//             std::system_error. Wait() of an event returns -1, and Clear() and Post() return 1. QueryError() then
//             returns the cause. If a guard clears, posts or awaits a null event, it throws TInvalidRequest "TReference
//             null".
// Surprises:
// - Time limits are in milliseconds. With -1 (fsInfinite), a function waits for ever; with 0, it does not wait. Any
//   other negative value is taken as unsigned, which gives between 24 and 50 days.
// - If a thread or process ends while it holds a lock, the next caller takes the lock as if it had been free. The data
//   that the lock guards may then be in the middle of a change, and WasAbandoned() returns true.
// - An event stays posted until it is cleared. Post() wakes all waiting threads. An event does not count its posts.
class TMutexSemaphore;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TREFCNT.h"

#include <chrono>
#include <system_error>
#include <type_traits>

// Divides a wait for a std::chrono duration, or until a std::chrono time, into waits for whole milliseconds. The other
// functions of this header take such milliseconds.
struct TWaitTime {
    // Enables a template for the durations and times of std::chrono.
    template <typename Limit>
    using If = std::enable_if_t<!std::is_void_v<typename Limit::rep>, bool>;

    static constexpr long fsLongest = 0x7FFFFFFF; // of a single wait: about 25 days

    // Converts a duration to whole milliseconds. Rounds up, and returns at least 0 and at most `most`.
    template <typename Number, typename Period>
    static long long Milliseconds(std::chrono::duration<Number, Period> const &duration, long long most) {
        double const exact = std::chrono::duration<double, std::milli>(duration).count();
        if (!(exact > 0))
            return 0;
        if (exact >= static_cast<double>(most))
            return most;
        long long const whole = static_cast<long long>(exact);
        return static_cast<double>(whole) < exact ? whole + 1 : whole;
    }

    // These functions wait for a duration, or until a time. They call wait(milliseconds) until its result is not
    // `timedOut`, or the time has passed. They return the last result. A clock that is not steady is read every second,
    // because somebody may set it.
    template <typename Result, typename Number, typename Period, typename Wait>
    static Result Repeat(std::chrono::duration<Number, Period> const &duration, Result timedOut, Wait wait) {
        long long left = Milliseconds(duration, 0x20000000000000);
        for (; left > fsLongest; left -= fsLongest) {
            Result const result = wait(fsLongest);
            if (result != timedOut)
                return result;
        }
        return wait(static_cast<long>(left));
    }
    template <typename Result, typename Clock, typename Duration, typename Wait>
    static Result Repeat(std::chrono::time_point<Clock, Duration> const &end, Result timedOut, Wait wait) {
        for (;;) {
            auto const now = Clock::now();
            long const left =
                now < end ? static_cast<long>(Milliseconds(end - now, Clock::is_steady ? fsLongest : 1000)) : 0;
            Result const result = wait(left);
            if (result != timedOut || left == 0)
                return result;
        }
    }
};

// An event flag. Any thread may post it, and any number of threads may wait for it.
class TUZUTIL_API TSemaphore : public TRefCounted {
public:
    explicit TSemaphore(int posted = 0); // posted from the beginning if `posted` is not 0
    TSemaphore(TSemaphore const &other); // shares the event
    TSemaphore &operator=(TSemaphore const &other);
    ~TSemaphore() override;

    int Wait(long timeout); // 0 posted, 1 the time limit expired, -1 failure
    // Waits for a std::chrono duration, which is rounded up to milliseconds, or until a std::chrono time. If the time
    // has passed, returns at once.
    template <typename Limit, TWaitTime::If<Limit> = true>
    [[nodiscard]] int Wait(Limit const &limit) {
        return TWaitTime::Repeat(limit, 1, [this](long milliseconds) { return Wait(milliseconds); });
    }
    int Clear();        // 0, or 1 on failure
    int Post();         // 0, or 1 on failure
    int ClearAndWait(); // calls Clear(), and returns what Wait(-1) returns

private:
    friend class TTimer;

    void *fHandle; // null if the event could not be made
};

class TUZUTIL_API TMutexSemaphore {
public:
    // The result of a lock request, and the state of a guard.
    enum EState {
        Unlocked, // the guard has released the lock: only during Wait()
        Locked,   // also if the previous owner died while holding the lock
        TimedOut, // the time limit expired
        Error     // a call of the system failed, see QueryError()
    };

    static constexpr long fsInfinite = -1; // as a time limit: no limit

    // Opens the lock of that name, or creates it. Without a name (null or ""), creates a lock for this process alone.
    // Names belong to the user's session, so "Local\x" is the same as "x". Creation fails if the name has more than 260
    // bytes, or if it contains a "\" other than that of "Local\" or "Global\".
    //
    // On a system that has fibers, a lock without a name belongs to the fiber that took it, not to the thread. A fork
    // affects such a lock as follows: if the forking thread holds the lock, that thread also holds the lock in the
    // child. If another thread holds the lock, the lock is free in the child. A lock with a name stays with its owner:
    // if a thread of the parent holds the lock, only that thread holds it after the fork.
    TMutexSemaphore(char const *name = nullptr);
    TMutexSemaphore(TMutexSemaphore const &) = delete;
    TMutexSemaphore &operator=(TMutexSemaphore const &) = delete;
    ~TMutexSemaphore();

    // On Windows, returns the system's handle if the lock has a name. In all other cases, returns an address that
    // identifies the lock in this process. Returns null if the creation failed.
    void *GetHandle() const noexcept;

    // With these functions, std::lock_guard, std::unique_lock and std::scoped_lock can take a TMutexSemaphore. A thread
    // may lock it several times, and must unlock it as often. If a call of the system fails, the locking functions
    // throw std::system_error with the code of QueryError(). Durations are rounded up to milliseconds.
    void lock() { IsLocked(Lock(fsInfinite)); }
    [[nodiscard]] bool try_lock() { return IsLocked(Lock(0)); }
    template <typename Number, typename Period>
    [[nodiscard]] bool try_lock_for(std::chrono::duration<Number, Period> const &timeout) {
        return IsLocked(Lock(timeout));
    }
    template <typename Clock, typename Duration>
    [[nodiscard]] bool try_lock_until(std::chrono::time_point<Clock, Duration> const &end) {
        return IsLocked(Lock(end));
    }
    void unlock() { Unlock(); } // REQUIRES: this thread holds the lock

    // Returns whether the last holder of the lock ended without releasing it. The result is true from the lock request
    // that took over the lock until this thread releases the lock. From then on, the lock counts as repaired. The
    // result is false for a thread that does not hold the lock. REQUIRES: if the lock has a name, the thread took the
    // lock through this object.
    [[nodiscard]] bool WasAbandoned() const noexcept;

    // Returns the error code of the system's last failed call in this thread: errno, or GetLastError() on Windows.
    // After a failure of a lock or an event, call this function before the thread calls the system again. Any call of
    // the system may change the code.
    static int QueryError() noexcept;

protected:
    friend class TMutexSemaphoreEntry;
    friend class TMutexSemaphoreWithEventEntry;
    friend class TWeakReferenceLock;
    friend class TInsistentEntry;
    friend struct TForks;

    // These functions are for guards: Lock() waits at most for the time limit, and returns Locked, TimedOut or Error.
    // Unlock() releases the lock, which this thread must hold.
    EState Lock(long timeout);
    void Unlock();
    template <typename Limit, TWaitTime::If<Limit> = true>
    EState Lock(Limit const &limit) {
        return TWaitTime::Repeat(limit, TimedOut, [this](long milliseconds) { return Lock(milliseconds); });
    }

private:
    static bool IsLocked(EState state) {
        if (state == Error)
            throw std::system_error(QueryError(), std::system_category(), "TMutexSemaphore");
        return state == Locked;
    }

    bool IsHeld() const noexcept; // whether this thread holds the lock; false if that is unknown
    bool IsFree() const noexcept; // whether no thread holds the lock; false if that is unknown
    // Returns a word that is 0 exactly while no thread holds the lock, or null if there is no such word.
    std::atomic<std::uint32_t> const *HeldWord() const noexcept;

    void *fHandle;
    char *fName;
};

// A lock together with the event for which its users wait.
class TUZUTIL_API TMutexSemaphoreWithEvent : public TMutexSemaphore {
public:
    // Opens or creates the lock as TMutexSemaphore does. Only this process knows the event, even if the lock has a
    // name. If the event is null, a guard cannot wait.
    explicit TMutexSemaphoreWithEvent(TReference<TSemaphore> event, char const *name = nullptr);
    ~TMutexSemaphoreWithEvent();

private:
    friend class TMutexSemaphoreWithEventEntry;

    TReference<TSemaphore> fEvent;
};

// Takes a lock. The destructor releases the lock if the guard holds it.
class TUZUTIL_API TMutexSemaphoreEntry {
public:
    // These constructors take the lock, and wait for it at most for the time limit. REQUIRES: the guard is a variable,
    // because a temporary guard releases the lock at once.
    [[nodiscard]] TMutexSemaphoreEntry(TMutexSemaphore &mutex, long timeout);
    template <typename Limit, TWaitTime::If<Limit> = true>
    [[nodiscard]] TMutexSemaphoreEntry(TMutexSemaphore &mutex, Limit const &limit)
        : fState(mutex.Lock(limit)), fMutex(mutex) {}
    TMutexSemaphoreEntry(TMutexSemaphoreEntry const &) = delete;
    TMutexSemaphoreEntry &operator=(TMutexSemaphoreEntry const &) = delete;
    ~TMutexSemaphoreEntry();

    [[nodiscard]] TMutexSemaphore::EState State() const noexcept { return fState; }    // not Unlocked
    [[nodiscard]] bool WasAbandoned() const noexcept { return fMutex.WasAbandoned(); } // see TMutexSemaphore

private:
    TMutexSemaphore::EState fState;
    TMutexSemaphore &fMutex;
};

// A guard that can also wait for a condition: create the guard, and call Wait() in a loop while the condition is false.
class TUZUTIL_API TMutexSemaphoreWithEventEntry {
public:
    // These constructors do the same as those of TMutexSemaphoreEntry.
    [[nodiscard]] TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEvent &mutex, long timeout);
    template <typename Limit, TWaitTime::If<Limit> = true>
    [[nodiscard]] TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEvent &mutex, Limit const &limit)
        : fState(static_cast<TMutexSemaphore &>(mutex).Lock(limit)), fMutex(mutex), fOwner(mutex) {}
    TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEventEntry const &) = delete;
    TMutexSemaphoreWithEventEntry &operator=(TMutexSemaphoreWithEventEntry const &) = delete;
    ~TMutexSemaphoreWithEventEntry();

    // Returns Error after a Wait() that could not take the lock again.
    [[nodiscard]] TMutexSemaphore::EState State() const noexcept { return fState; }
    [[nodiscard]] bool WasAbandoned() const noexcept { return fMutex.WasAbandoned(); } // see TMutexSemaphore

    // These functions do the same as those of TSemaphore, with the event of the lock.
    int Clear();
    int Post();
    // These functions release the lock if the guard holds it, wait for the event, and take the lock again without a
    // time limit. They return the result of TSemaphore::Wait(). REQUIRES: no other guard of the same thread holds the
    // lock. Otherwise the thread holds the lock during the wait, and a build without NDEBUG traces this at level "wa".
    int Wait(long timeout);
    template <typename Limit, TWaitTime::If<Limit> = true>
    [[nodiscard]] int Wait(Limit const &limit) {
        return TWaitTime::Repeat(limit, 1, [this](long milliseconds) { return Wait(milliseconds); });
    }

private:
    TMutexSemaphore::EState fState;
    TMutexSemaphore &fMutex;
    TMutexSemaphoreWithEvent &fOwner;
};

#endif
