#ifndef TUZUTIL_MUTEXSEM_H
#define TUZUTIL_MUTEXSEM_H

// TMutexSemaphore, TSemaphore: a recursive lock, which processes share if it has a name, and an event flag.
//
// Example:
//     static TMutexSemaphore lock;           // or lock("mailbox.user7"), for all processes
//     TMutexSemaphoreEntry entry(lock, 500); // waits half a second at most
//     if (entry.State() != TMutexSemaphore::Locked)
//         return;                            // somebody else holds it
//     Deliver();                             // the end of the block releases the lock
//
// Ownership:  A lock copies its name. A guard refers to its lock, which must outlive it. Events are shared through
//             TReference, and copies of a TSemaphore share one event.
// Threads:    Any thread may use locks and events; a guard stays on the stack of one thread. Whoever gets a lock or
//             ends a wait sees what was done before the lock was released or the event posted.
// Failures:   Nothing is thrown, except "TReference null" from a lock-with-event without an event. If a call of the
//             system fails, the result says so: EState Error, -1 or 1. The object remains usable as far as possible.
// Surprises:
// - Time limits are in milliseconds; -1 (fsInfinite) waits for ever, 0 only polls. Other negative values are taken as
//   unsigned, which is some 49 days.
// - If the owner of a lock dies, the next caller acquires the lock as if it had been free, so a change of the data
//   may be incomplete.
// - An event stays posted until it is cleared: it does not count, and it wakes everybody.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TREFCNT.h"

// An event flag, which one thread posts and any number of threads wait for.
class TUZUTIL_API TSemaphore : public TRefCounted {
public:
    explicit TSemaphore(int posted = 0);
    TSemaphore(TSemaphore const &other); // shares the event
    TSemaphore &operator=(TSemaphore const &other);
    ~TSemaphore() override;

    int Wait(long timeout); // 0 posted, 1 the time limit expired, -1 failure
    int Clear();            // 0, or 1 on failure
    int Post();             // 0, or 1 on failure
    int ClearAndWait();     // calls Clear(), and returns what Wait(-1) returns

private:
    friend class TTimer;

    void *fHandle; // null if the event could not be made
};

// A recursive lock. If the system has fibers, each counts as a thread here: a lock without a name belongs to the fiber
// that took it. In a forked child, the locks of other threads are free, the forking thread still holds its own locks,
// and named locks remain the parent's.
class TUZUTIL_API TMutexSemaphore {
public:
    enum EState {
        Unlocked, // the guard has released it
        Locked,   // also if the previous owner died while it held the lock
        TimedOut,
        Error
    };

    static constexpr long fsInfinite = -1;

    // Opens the lock of that name, or creates it. Without a name (null or ""), creates a lock for this process alone.
    // Names belong to the user's session, so "Local\x" is the same as "x". Creation fails if the name has more than 260
    // characters, or if it contains a "\" other than that of "Local\" or "Global\".
    TMutexSemaphore(char const *name = nullptr);
    TMutexSemaphore(TMutexSemaphore const &) = delete;
    TMutexSemaphore &operator=(TMutexSemaphore const &) = delete;
    ~TMutexSemaphore();

    // Returns the system's mutex if the lock has a name, and an address otherwise; null after a failure.
    void *GetHandle() const noexcept;

protected:
    friend class TMutexSemaphoreEntry;
    friend class TMutexSemaphoreWithEventEntry;
    friend class TWeakReferenceLock;
    friend struct TForks;

    EState Lock(long timeout);
    void Unlock();

private:
    bool IsHeld() const noexcept; // by this thread, as far as the lock knows

    void *fHandle;
    char *fName;
};

// A lock, and the event that its users wait for.
class TUZUTIL_API TMutexSemaphoreWithEvent : public TMutexSemaphore {
public:
    explicit TMutexSemaphoreWithEvent(TReference<TSemaphore> event, char const *name = nullptr);
    ~TMutexSemaphoreWithEvent();

private:
    friend class TMutexSemaphoreWithEventEntry;

    TReference<TSemaphore> fEvent;
};

// Takes a lock, and releases it in the destructor if it got it.
class TUZUTIL_API TMutexSemaphoreEntry {
public:
    TMutexSemaphoreEntry(TMutexSemaphore &mutex, long timeout);
    TMutexSemaphoreEntry(TMutexSemaphoreEntry const &) = delete;
    TMutexSemaphoreEntry &operator=(TMutexSemaphoreEntry const &) = delete;
    ~TMutexSemaphoreEntry();

    TMutexSemaphore::EState State() const noexcept { return fState; }

private:
    TMutexSemaphore::EState fState;
    TMutexSemaphore &fMutex;
};

// A guard that also waits for a condition as a monitor does: take the guard, and call Wait() while the condition does
// not hold.
class TUZUTIL_API TMutexSemaphoreWithEventEntry {
public:
    TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEvent &mutex, long timeout);
    TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEventEntry const &) = delete;
    TMutexSemaphoreWithEventEntry &operator=(TMutexSemaphoreWithEventEntry const &) = delete;
    ~TMutexSemaphoreWithEventEntry();

    TMutexSemaphore::EState State() const noexcept { return fState; }

    int Clear();
    int Post();
    // Releases the lock if the guard holds it, waits for the event, takes the lock again without a time limit, and
    // returns what the wait for the event returned. It releases one level only: if another guard of the same thread
    // also holds the lock, the lock stays held during the wait, and a build without NDEBUG traces that at level "wa".
    int Wait(long timeout);

private:
    TMutexSemaphore::EState fState;
    TMutexSemaphore &fMutex;
    TMutexSemaphoreWithEvent &fOwner;
};

#endif
