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
// Ownership:  Releasing the last reference destroys the object through Unreachable(). An object to which no reference
//             was ever made belongs to its maker.
// Threads:    Any thread may make and release references to one object; one TReference belongs to one thread at a time.
//             The thread that destroys the object sees what others did before they released their references.
// Failures:   TInvalidRequest "TReference null" from -> and * of a null reference.
// Surprises:
// - A copied object starts with the count of the original, so copy only objects without references. A build without
//   NDEBUG traces at level "wa" if an object with references is copied.
// - One RemoveRef() too many makes the count 4294967295. A build without NDEBUG then stops.

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

// A count that changes only under one lock of the process, TWeakReferenceLock::fsSem, so that uncounted pointers to the
// object can be cleared when the last reference is released. If the lock cannot be created, which is traced at level
// "er", counts still change atomically.
//
// REQUIRES: whoever makes a reference from an uncounted pointer holds a TWeakReferenceLock while reading the pointer
// and calling AddRef(), and uses only pointers that ZeroWeakReference() clears.
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
    // Clears the weak pointers; the default does nothing. It runs under the lock, when the count is 0. REQUIRES: it
    // takes no other lock of the library.
    virtual void ZeroWeakReference();
    virtual void Unreachable(); // deletes the object; called after the lock has been released

public:
    unsigned long QueryReferenceCount() const noexcept { return fCount; } // reads without the lock

private:
    std::atomic<std::uint32_t> fCount{0};
};

// Holds the lock of all weak references. The lock is recursive.
class TUZUTIL_API TWeakReferenceLock {
public:
    TWeakReferenceLock();
    TWeakReferenceLock(TWeakReferenceLock const &) = delete;
    TWeakReferenceLock &operator=(TWeakReferenceLock const &) = delete;
    ~TWeakReferenceLock();

    static TMutexSemaphore &fsSem; // never destroyed, because references may be released until the very end

private:
    int fState; // a TMutexSemaphore::EState
    TMutexSemaphore *fMutex;
};

// A counted reference to an object, or null. The class of the object derives from TRefCounted or TWeakRefCounted.
template <typename T>
class TReference {
public:
    TReference(T *target = nullptr) : fTarget(target) { Acquire(); }
    TReference(TReference const &other) : fTarget(other.fTarget) { Acquire(); }
    TReference(TReference &&other) noexcept : fTarget(other.fTarget) { other.fTarget = nullptr; }
    ~TReference() { Release(fTarget); }

    // These take the new reference before they release the old one, because the new target may belong to the old one.
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
