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
// Failures:   If a call of the system fails, a guard has the state Error, an event's Wait() returns -1, and its Clear()
//             and Post() return 1. Only a guard that uses a missing event throws: TInvalidRequest "TReference null".
// Surprises:
// - Time limits are in milliseconds. -1 (fsInfinite) waits for ever, and 0 does not wait. Any other negative value is
//   taken as unsigned, which is about 49 days.
// - If a thread or process ends while it holds a lock, the next caller takes the lock as if it had been free. The data
//   that the lock guards may be in the middle of a change.
// - An event stays posted until it is cleared. Post() wakes all waiting threads. An event does not count its posts.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TREFCNT.h"

// An event flag. Any thread may post it, and any number of threads may wait for it.
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

// A recursive lock. On a system that has fibers, a lock without a name belongs to the fiber that took it, not to the
// thread. After a fork, a lock without a name that another thread held is free in the child; the forking thread still
// holds its own locks. Locks with a name remain with the parent.
class TUZUTIL_API TMutexSemaphore {
public:
    enum EState {
        Unlocked, // the guard has released the lock: only during Wait()
        Locked,   // also if the previous owner died while holding the lock
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

    // On Windows, returns the system's handle if the lock has a name. In all other cases, returns an address that
    // identifies the lock in this process. Returns null if the creation failed.
    void *GetHandle() const noexcept;

protected:
    friend class TMutexSemaphoreEntry;
    friend class TMutexSemaphoreWithEventEntry;
    friend class TWeakReferenceLock;
    friend struct TForks;

    EState Lock(long timeout);
    void Unlock();

private:
    bool IsHeld() const noexcept; // by this thread; false if that is unknown

    void *fHandle;
    char *fName;
};

// A lock together with the event for which its users wait.
class TUZUTIL_API TMutexSemaphoreWithEvent : public TMutexSemaphore {
public:
    explicit TMutexSemaphoreWithEvent(TReference<TSemaphore> event, char const *name = nullptr);
    ~TMutexSemaphoreWithEvent();

private:
    friend class TMutexSemaphoreWithEventEntry;

    TReference<TSemaphore> fEvent;
};

// Takes a lock. The destructor releases the lock if the guard got it.
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

// A guard that can also wait for a condition: create the guard, and call Wait() in a loop while the condition is false.
class TUZUTIL_API TMutexSemaphoreWithEventEntry {
public:
    TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEvent &mutex, long timeout);
    TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEventEntry const &) = delete;
    TMutexSemaphoreWithEventEntry &operator=(TMutexSemaphoreWithEventEntry const &) = delete;
    ~TMutexSemaphoreWithEventEntry();

    TMutexSemaphore::EState State() const noexcept { return fState; }

    int Clear();
    int Post();
    // Releases the lock if the guard holds it, waits for the event, and takes the lock again without a time limit.
    // Returns the result of TSemaphore::Wait(). REQUIRES: no other guard of the same thread holds the lock. Otherwise
    // the lock stays held during the wait, which a build without NDEBUG traces at level "wa".
    int Wait(long timeout);

private:
    TMutexSemaphore::EState fState;
    TMutexSemaphore &fMutex;
    TMutexSemaphoreWithEvent &fOwner;
};

#endif
