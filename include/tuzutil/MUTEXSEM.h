#ifndef TUZUTIL_MUTEXSEM_H
#define TUZUTIL_MUTEXSEM_H

// TMutexSemaphore, TSemaphore: a recursive lock, shared between processes if it has a name, and an event flag.
//
// Example:
//     static TMutexSemaphore lock;           // or lock("mailbox.user7"), for all processes
//     TMutexSemaphoreEntry entry(lock, 500); // waits half a second at most
//     if (entry.State() != TMutexSemaphore::Locked)
//         return;                            // held by somebody else
//     ...                                    // released at the end of the block
//
// Ownership:  a lock and a guard copy what they are given; a guard refers to its lock, which must outlive it. Events
//             are shared through TReference; copies of a TSemaphore share one event.
// Threads:    any thread may use locks and events; a guard stays on the stack of one thread. What a thread did before
//             it released a lock or posted an event is seen by the thread that gets the lock or ends its wait.
// Failures:   nothing is thrown, but "TReference null" from a lock-with-event that has no event. A call of the system
//             that fails is reported by the result: EState Error, -1 or 1. Objects stay usable as far as they go.
// Surprises:  a lock whose owner died is acquired as if it had been free: what it guards may be half done. An event
//             stays posted until it is cleared: it does not count, and wakes everybody. A time limit is in
//             milliseconds, -1 (fsInfinite) for ever, 0 a poll; other negative values are taken as unsigned, some 49
//             days. Wait() of a guard releases one level only: where another guard of the same thread holds the lock
//             too, it is not free while waiting, which a build without NDEBUG traces at level "wa". Where the system
//             has fibers, each is a thread of its own here: a lock without a name belongs to the fiber that took it.
//             Names belong to the user's session; "Local\x" is "x"; another "\" but that of "Global\" fails, and so do
//             names of more than 260 characters. In a forked child the locks of other threads are free, those of the
//             forking thread stay its own, and named ones stay the parent's.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TREFCNT.h"

// An event flag: posted by one thread, waited for by any number.
class TUZUTIL_API TSemaphore : public TRefCounted {
public:
    explicit TSemaphore(int posted = 0);
    TSemaphore(TSemaphore const &other); // shares the event
    TSemaphore &operator=(TSemaphore const &other);
    ~TSemaphore() override;

    int Wait(long timeout); // 0 posted, 1 the time is over, -1 failure
    int Clear();            // 0, or 1 on failure
    int Post();             // 0, or 1 on failure
    int ClearAndWait();     // Clear(), then Wait(-1) and its result

private:
    friend class TTimer;

    void *fHandle; // null if the event could not be made
};

class TUZUTIL_API TMutexSemaphore {
public:
    enum EState {
        Unlocked, // the guard has released it
        Locked,   // also if the previous owner died with it
        TimedOut,
        Error
    };

    static constexpr long fsInfinite = -1;

    TMutexSemaphore(char const *name = nullptr); // opens the lock of that name if there is one; null or "": its own
    TMutexSemaphore(TMutexSemaphore const &) = delete;
    TMutexSemaphore &operator=(TMutexSemaphore const &) = delete;
    ~TMutexSemaphore();

    void *GetHandle() const noexcept; // the system's mutex where there is a name, else an address; null after a failure

protected:
    friend class TMutexSemaphoreEntry;
    friend class TMutexSemaphoreWithEventEntry;
    friend class TWeakReferenceLock;
    friend struct TForks;

    EState Lock(long timeout);
    void Unlock();

private:
    bool IsHeld() const noexcept; // by this thread, as far as is known

    void *fHandle;
    char *fName;
};

// A lock and the event that its users wait for.
class TUZUTIL_API TMutexSemaphoreWithEvent : public TMutexSemaphore {
public:
    explicit TMutexSemaphoreWithEvent(TReference<TSemaphore> event, char const *name = nullptr);
    ~TMutexSemaphoreWithEvent();

private:
    friend class TMutexSemaphoreWithEventEntry;

    TReference<TSemaphore> fEvent;
};

// Takes a lock, and releases it at the end if it was obtained.
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

// The same, and waits for a condition as a monitor does: take the guard; while the condition does not hold, Wait().
class TUZUTIL_API TMutexSemaphoreWithEventEntry {
public:
    TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEvent &mutex, long timeout);
    TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEventEntry const &) = delete;
    TMutexSemaphoreWithEventEntry &operator=(TMutexSemaphoreWithEventEntry const &) = delete;
    ~TMutexSemaphoreWithEventEntry();

    TMutexSemaphore::EState State() const noexcept { return fState; }

    int Clear();
    int Post();
    // Releases the lock if the guard holds it, waits for the event, takes the lock again without limit of time, and
    // returns what the wait for the event returned.
    int Wait(long timeout);

private:
    TMutexSemaphore::EState fState;
    TMutexSemaphore &fMutex;
    TMutexSemaphoreWithEvent &fOwner;
};

#endif
