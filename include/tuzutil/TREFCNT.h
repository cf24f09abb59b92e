#ifndef TUZUTIL_TREFCNT_H
#define TUZUTIL_TREFCNT_H

// TReference, TRefCounted, TWeakRefCounted: objects that exist as long as there is a counted reference to them. The
// class of such an object derives from TRefCounted or TWeakRefCounted. A TReference may be null.
//
// Example:
//     TReference<TSemaphore> posted(new TSemaphore);
//     TReference<TSemaphore> same = posted; // the count is 2
//     same = nullptr;                       // 1
//     posted->Post();
//
// Ownership:  When the last reference is released, Unreachable() deletes the object. If there was never a reference to
//             an object, its creator must delete it.
// Threads:    Any thread may make and release references to one object, but only one thread at a time may use a
//             TReference. The thread that deletes the object sees all that other threads wrote before they released
//             their references.
// Failures:   TInvalidRequest "TReference null" from -> and * of a null reference.
// Surprises:
// - Copying or assigning an object also copies the count of the original, so copy only objects without references. A
//   build without NDEBUG traces at level "wa" if an object with references is copied.
// - RemoveRef() on an object without references makes the count 4294967295. A build without NDEBUG then stops in an
//   assertion.
template <typename T>
class TReference;

#include "tuzutil/EXPORT.h"

#include <atomic>
#include <cstdint>

class TMutexSemaphore;

// The base of objects whose count changes atomically, without a lock.
class TUZUTIL_API TRefCounted {
protected:
    TRefCounted() noexcept = default;
    virtual ~TRefCounted();

public:
    TRefCounted(TRefCounted const &other) noexcept; // starts with the count of the other
    TRefCounted &operator=(TRefCounted const &other) noexcept;

    virtual void AddRef();                             // adds 1 to the count
    virtual void RemoveRef();                          // calls Unreachable() when the count becomes 0
    virtual void Unreachable();                        // deletes the object
    virtual unsigned long QueryReferenceCount() const; // other threads may change it at any time

    [[noreturn]] static void ThrowNullReference(); // throws "TReference null"

private:
    std::atomic<std::uint32_t> fCount{0};
};

// The base of objects to which uncounted (weak) pointers exist. All objects of this class share the lock
// TWeakReferenceLock::fsSem. While a thread holds this lock, other threads wait for it before they change a count. If
// another thread has already begun a change when the lock is taken, that change may still be finished, but it never
// makes the first reference or releases the last one. While the lock is free, only the first and the last reference
// take it. When the last reference is released, ZeroWeakReference() clears the weak pointers under this lock. If the
// lock cannot be taken, TWeakReferenceLock traces this at level "er", and the count still changes atomically.
//
// REQUIRES: code that makes a reference from a weak pointer holds a TWeakReferenceLock while it reads the pointer and
// calls AddRef(). ZeroWeakReference() must clear every weak pointer from which references are made.
class TUZUTIL_API TWeakRefCounted {
protected:
    TWeakRefCounted() noexcept = default;
    virtual ~TWeakRefCounted();

public:
    TWeakRefCounted(TWeakRefCounted const &other) noexcept; // starts with the count of the other
    TWeakRefCounted &operator=(TWeakRefCounted const &other) noexcept;

    // These functions add 1 to the count and subtract 1 from it. They take the lock at the first and the last
    // reference.
    virtual void AddRef();
    virtual void RemoveRef();

private:
    // Clears the weak pointers; the default does nothing. RemoveRef() calls this function under the lock when the count
    // has become 0. REQUIRES: the function takes no other lock of the library.
    virtual void ZeroWeakReference();
    virtual void Unreachable(); // deletes the object; called after the lock has been released

public:
    unsigned long QueryReferenceCount() const noexcept { return fCount; } // reads without the lock

private:
    std::atomic<std::uint32_t> fCount{0};
};

// Holds the lock of all weak references as long as the object exists. The lock is recursive. A fork does not wait for
// it: if another thread holds it then, it is free in the child, and that thread's work stays half done there.
class TUZUTIL_API TWeakReferenceLock {
public:
    TWeakReferenceLock();
    TWeakReferenceLock(TWeakReferenceLock const &) = delete;
    TWeakReferenceLock &operator=(TWeakReferenceLock const &) = delete;
    ~TWeakReferenceLock();

    static TMutexSemaphore &fsSem; // never destroyed, because references may be released until the very end

private:
    friend class TWeakRefCounted;

    static bool IsFree() noexcept; // whether no thread holds the lock

    int fState; // a TMutexSemaphore::EState
    TMutexSemaphore *fMutex;
};

template <typename T>
class TReference {
public:
    TReference(T *target = nullptr) : fTarget(target) { Acquire(); } // adds a reference
    TReference(TReference const &other) : fTarget(other.fTarget) { Acquire(); }
    TReference(TReference &&other) noexcept : fTarget(other.fTarget) { other.fTarget = nullptr; }
    ~TReference() { Release(fTarget); }

    // These assignments take the new reference before they release the old one, because the old target may own the new
    // target.
    TReference &operator=(T *target) { return *this = TReference(target); }
    TReference &operator=(TReference const &other) { return *this = TReference(other); }
    TReference &operator=(TReference &&other) {
        T *const old = fTarget;
        fTarget = other.fTarget;
        if (this != &other) {
            other.fTarget = nullptr;
            Release(old);
        }
        return *this;
    }

    // These operators throw "TReference null" if the reference is null.
    T *operator->() const { return Target(); }
    T &operator*() const { return *Target(); }

    T *Pointer() const noexcept { return fTarget; }                        // may be null; the count does not change
    explicit operator bool() const noexcept { return fTarget != nullptr; } // false if the reference is null
    bool operator!() const noexcept { return fTarget == nullptr; }         // true if the reference is null

    // These operators compare the pointers, not the objects.
    friend bool operator==(TReference const &a, TReference const &b) noexcept { return a.fTarget == b.fTarget; }
    friend bool operator!=(TReference const &a, TReference const &b) noexcept { return a.fTarget != b.fTarget; }

private:
    T *Target() const {
        if (!fTarget)
            TRefCounted::ThrowNullReference();
        return fTarget;
    }
    void Acquire() {
        if (fTarget)
            fTarget->AddRef();
    }
    static void Release(T *target) {
        if (target)
            target->RemoveRef();
    }

    T *fTarget;
};

#endif
