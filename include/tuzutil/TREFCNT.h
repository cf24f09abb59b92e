#ifndef TUZUTIL_TREFCNT_H
#define TUZUTIL_TREFCNT_H

// TReference, TRefCounted, TWeakRefCounted: objects that live as long as somebody holds a counted reference to them.
//
// Example:
//     TReference<TSemaphore> posted(new TSemaphore);
//     TReference<TSemaphore> same = posted; // the count is 2
//     same = nullptr;                       // 1
//     posted->Post();
//
// Ownership:  the reference that lets go last destroys the object, by way of Unreachable(). An object to which no
//             reference was ever made belongs to its maker.
// Threads:    references to one object may be made and dropped by any thread; one TReference belongs to one thread at
//             a time. Counts of TWeakRefCounted change under the lock TWeakReferenceLock::fsSem only. What a thread
//             did before it dropped its reference is seen by the thread that destroys the object.
// Failures:   TInvalidRequest "TReference null" from -> and * of a null reference.
// Surprises:  a copied object starts with the count of the original: copy objects that no reference holds. One
//             RemoveRef() too many makes the count 4294967295. A build without NDEBUG traces the former at level "wa"
//             and stops at the latter. ZeroWeakReference() must take no other lock of the library. Where the lock of
//             weak references cannot be had, which is traced at level "er", counts still change atomically.

#include "tuzutil/EXPORT.h"

#include <atomic>
#include <cstdint>

class TMutexSemaphore;

// A count that changes atomically.
class TUZUTIL_API TRefCounted {
protected:
    TRefCounted() noexcept = default;
    virtual ~TRefCounted();

public:
    TRefCounted(TRefCounted const &other) noexcept; // starts with the count of the other
    TRefCounted &operator=(TRefCounted const &other) noexcept;

    virtual void AddRef();
    virtual void RemoveRef();   // calls Unreachable() when the count becomes 0
    virtual void Unreachable(); // deletes the object
    virtual unsigned long QueryReferenceCount() const;

    [[noreturn]] static void ThrowNullReference();

private:
    std::atomic<std::uint32_t> fCount{0};
};

// A count that changes under one lock of the process, so that pointers that do not count can be cleared in the moment
// in which the last reference goes. Whoever makes a reference from such a pointer holds a TWeakReferenceLock while
// reading it and calling AddRef(), and uses only pointers that ZeroWeakReference() clears.
class TUZUTIL_API TWeakRefCounted {
protected:
    TWeakRefCounted() noexcept = default;
    virtual ~TWeakRefCounted();

public:
    TWeakRefCounted(TWeakRefCounted const &other) noexcept; // starts with the count of the other
    TWeakRefCounted &operator=(TWeakRefCounted const &other) noexcept;

    virtual void AddRef();
    virtual void RemoveRef();

private:
    virtual void ZeroWeakReference(); // under the lock, the count is 0: clears the weak pointers; by default nothing
    virtual void Unreachable();       // after the lock was released: deletes the object

public:
    unsigned long QueryReferenceCount() const noexcept { return fCount; } // without the lock

private:
    std::atomic<std::uint32_t> fCount{0};
};

// Holds the lock of all weak references. It may be taken again by the thread that has it.
class TUZUTIL_API TWeakReferenceLock {
public:
    TWeakReferenceLock();
    TWeakReferenceLock(TWeakReferenceLock const &) = delete;
    TWeakReferenceLock &operator=(TWeakReferenceLock const &) = delete;
    ~TWeakReferenceLock();

    static TMutexSemaphore &fsSem; // never destroyed: references may go until the very end

private:
    int fState; // a TMutexSemaphore::EState
    TMutexSemaphore *fMutex;
};

// A counted reference to an object of a class derived from TRefCounted or TWeakRefCounted, or null.
template <typename T>
class TReference {
public:
    TReference(T *target = nullptr) : fTarget(target) { Acquire(); }
    TReference(TReference const &other) : fTarget(other.fTarget) { Acquire(); }
    TReference(TReference &&other) noexcept : fTarget(other.fTarget) { other.fTarget = nullptr; }
    ~TReference() { Release(fTarget); }

    // The new reference is taken before the old one is dropped: the new target may be reached through the old one.
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

    T *operator->() const { return Target(); }
    T &operator*() const { return *Target(); }
    T *Pointer() const noexcept { return fTarget; }
    explicit operator bool() const noexcept { return fTarget != nullptr; }
    bool operator!() const noexcept { return fTarget == nullptr; }

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
