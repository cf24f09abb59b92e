// Locks. A lock without a name is a TFastMutex. Threads that wait for such a lock wait for an event of the system. The
// wait also ends if the thread that holds the lock ends, because that thread may be killed before it unlocks. A lock
// with a name is a mutex of the system: locking it and unlocking it call the system each time.
//
// Events that no lock uses are kept in a list. A thread that takes an event from this list, or returns an event to it,
// holds fsSpareLock. Apart from fsSpareLock and the lock that the caller asks for, these functions take no lock.

#include "platform/platform.h"

#include "platform/win32/deadline.h"
#include "platform/win32/kept_error.h"
#include "platform/win32/thread_record.h"

#include <algorithm>
#include <new>
#include <windows.h>

using platform::Mutex;
using platform::TFastMutex;
using platform::TThreadRecord;
using platform::TWaitPlace;
using platform::TWaitResult;

// Invariant: `kernel` is null exactly if the lock has no name. `fast` is used only for a lock without a name.
struct platform::Mutex {
    HANDLE kernel = nullptr;
    TFastMutex fast;
    std::atomic<std::uint32_t> owner{0}; // the number of the thread that took `kernel` through this object, or 0
    std::uint32_t depth = 0;   // how often the owner took `kernel`; only the owner changes `depth` and `wasAbandoned`
    bool wasAbandoned = false; // the owner took `kernel` over from a thread that ended without unlocking it
};

// The event on which threads wait for one lock. When the lock is deleted, the event is not closed but kept for another
// lock. At that time, the last thread that unlocked the deleted lock may not have posted the event yet. The late post
// of this thread wakes a thread that waits for the other lock. The woken thread inspects the other lock and continues
// to wait.
struct platform::TWaitPlace {
    HANDLE const event;
    TWaitPlace *next; // in the list of unused places
};

namespace {

constexpr DWORD fsOwnerInterval = 1000; // milliseconds

bool IsThere(Mutex const *mutex) noexcept {
    if (!mutex)
        SetLastError(ERROR_INVALID_HANDLE);
    return mutex != nullptr;
}

// Records what WasAbandoned() reports about a lock with a name. A thread that has ended may still be recorded as the
// owner. This does no harm, because the number of a thread is never used for another thread.
void NoteLocked(Mutex &mutex, TWaitResult result) noexcept {
    TThreadRecord const *const self = platform::ThisThread();
    std::uint32_t const number = self ? self->Number() : 0;
    if (result == TWaitResult::done && number != 0 && mutex.owner.load(std::memory_order_relaxed) == number) {
        ++mutex.depth;
        return;
    }
    mutex.owner.store(number, std::memory_order_relaxed);
    mutex.depth = 1;
    mutex.wasAbandoned = result == TWaitResult::abandoned;
}

void NoteUnlocked(Mutex &mutex) noexcept {
    TThreadRecord const *const self = platform::ThisThread();
    if (self && mutex.owner.load(std::memory_order_relaxed) == self->Number() && --mutex.depth == 0)
        mutex.owner.store(0, std::memory_order_relaxed);
}

bool IsFast(Mutex const *mutex) noexcept {
    return __builtin_expect(mutex && !mutex->kernel, true);
}

// These functions lock and unlock a lock with a name. They are not inlined: if they were, a lock without a name would
// be taken more slowly.

[[gnu::noinline]] TWaitResult LockKernel(Mutex *mutex, std::uint32_t milliseconds) noexcept {
    if (!IsThere(mutex))
        return TWaitResult::failed;
    auto const result = static_cast<TWaitResult>(WaitForSingleObject(mutex->kernel, milliseconds));
    if (result == TWaitResult::done || result == TWaitResult::abandoned)
        NoteLocked(*mutex, result);
    return result;
}

[[gnu::noinline]] bool UnlockKernel(Mutex *mutex) noexcept {
    if (!IsThere(mutex))
        return false;
    NoteUnlocked(*mutex);
    return ReleaseMutex(mutex->kernel) != FALSE;
}

// Opens a thread to see whether the thread is alive. The handle is null if the thread no longer exists or cannot be
// opened, or if the id is 0. TThreadRecord stores the id 0 for a fiber, because a fiber may move to another thread.
class TOpenedThread {
public:
    explicit TOpenedThread(DWORD id) noexcept
        : fHandle(id ? OpenThread(SYNCHRONIZE, FALSE, id) : nullptr),
          fGone(id && !fHandle && GetLastError() == ERROR_INVALID_PARAMETER) {}
    TOpenedThread(TOpenedThread const &) = delete;
    TOpenedThread &operator=(TOpenedThread const &) = delete;
    ~TOpenedThread() {
        if (fHandle)
            CloseHandle(fHandle);
    }

    HANDLE Handle() const noexcept { return fHandle; }
    bool HasEnded() const noexcept { return fGone || (fHandle && WaitForSingleObject(fHandle, 0) == WAIT_OBJECT_0); }

private:
    HANDLE fHandle;
    bool fGone;
};

constinit SRWLOCK fsSpareLock = SRWLOCK_INIT;
constinit TWaitPlace *fsSpare = nullptr;

void GiveBack(TWaitPlace *place) noexcept {
    AcquireSRWLockExclusive(&fsSpareLock);
    place->next = fsSpare;
    fsSpare = place;
    ReleaseSRWLockExclusive(&fsSpareLock);
}

TWaitPlace *TakeSpare() noexcept {
    AcquireSRWLockExclusive(&fsSpareLock);
    TWaitPlace *const place = fsSpare;
    if (place)
        fsSpare = place->next;
    ReleaseSRWLockExclusive(&fsSpareLock);
    return place;
}

TWaitPlace *NewPlace() noexcept {
    HANDLE const event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!event)
        return nullptr;
    // No test gets here: memory would have to be lacking for the place and not for its event.
    if (auto *const place = new (std::nothrow) TWaitPlace{event, nullptr})
        return place;
    CloseHandle(event);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

// Returns the place of a lock. A lock gets its place when a thread has to wait for the first time. Returns null, with
// LastError(), if no place can be made.
TWaitPlace *PlaceIn(std::atomic<TWaitPlace *> &ofLock) noexcept {
    TWaitPlace *present = ofLock.load(std::memory_order_acquire);
    if (present)
        return present;
    TWaitPlace *fresh = TakeSpare();
    if (!fresh)
        fresh = NewPlace();
    if (!fresh || ofLock.compare_exchange_strong(present, fresh, std::memory_order_acq_rel))
        return fresh;
    GiveBack(fresh); // another thread was first
    return present;
}

} // namespace

Mutex *platform::NewMutex(char const *name) noexcept {
    auto *const mutex = new (std::nothrow) Mutex;
    if (!mutex) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (name && *name) {
        mutex->kernel = CreateMutexA(nullptr, FALSE, name);
        if (!mutex->kernel) {
            TKeptError const kept;
            delete mutex;
            return nullptr;
        }
    }
    return mutex;
}

bool platform::DeleteMutex(Mutex *mutex) noexcept {
    if (!IsThere(mutex))
        return false;
    if (mutex->kernel) {
        bool const closed = CloseHandle(mutex->kernel) != FALSE;
        delete mutex;
        return closed;
    }
    if (TThreadRecord *const self = ThisThread()) {
        while (mutex->fast.Unlock(*self)) {
        }
    }
    // If another thread holds the lock, that thread will still access the lock, so the lock must not be deleted.
    if (mutex->fast.IsHeld())
        return true;
    if (TWaitPlace *const place = mutex->fast.Place())
        GiveBack(place);
    delete mutex;
    return true;
}

TWaitResult platform::LockMutex(Mutex *mutex, std::uint32_t milliseconds) noexcept {
    if (!IsFast(mutex))
        return LockKernel(mutex, milliseconds);
    TThreadRecord *const self = ThisThread();
    return self ? mutex->fast.Lock(*self, milliseconds) : TWaitResult::failed;
}

bool platform::UnlockMutex(Mutex *mutex) noexcept {
    if (!IsFast(mutex))
        return UnlockKernel(mutex);
    TThreadRecord *const self = ThisThread();
    bool const released = self && mutex->fast.Unlock(*self);
    if (!released)
        SetLastError(ERROR_NOT_OWNER);
    return released;
}

std::atomic<std::uint32_t> const *platform::HeldWord(Mutex const *mutex) noexcept {
    return mutex && !mutex->kernel ? &mutex->fast.State() : nullptr;
}

bool platform::HoldsMutex(Mutex const *mutex) noexcept {
    TThreadRecord const *const self = ThisThread();
    return mutex && self && !mutex->kernel && mutex->fast.IsHeldBy(*self);
}

bool platform::WasAbandoned(Mutex const *mutex) noexcept {
    TThreadRecord const *const self = ThisThread();
    if (!mutex || !self)
        return false;
    return mutex->kernel ? mutex->owner.load(std::memory_order_relaxed) == self->Number() && mutex->wasAbandoned
                         : mutex->fast.WasAbandonedFor(*self);
}

std::uintptr_t platform::SystemHandle(Mutex *mutex) noexcept {
    return mutex && mutex->kernel ? reinterpret_cast<std::uintptr_t>(mutex->kernel)
                                  : reinterpret_cast<std::uintptr_t>(mutex);
}

// The functions below let threads wait for a lock without a name. Contend() and WakeOne() are not inlined: if
// they were, a thread that need not wait would take a lock more slowly.

// A thread that ends releases its locks, but a thread that is killed does not. Therefore each waiter also watches
// whether the thread of the owner has ended. While a thread waits, the lock may get another owner, so the waiter asks
// for the owner again every second.
//
// A thread that takes a lock over changes fHolder in one step, and fOwner after that. If it is killed in between,
// fOwner still has the number of the former owner. Therefore fHolder says who holds the lock, as long as fOwner stays
// the same.
//
// A thread that releases a lock clears fOwner first. So a thread that has ended still holds the lock exactly if fOwner
// is still the same after the end was seen. fHolder alone does not say so: it also names the last holder of a free
// lock.
[[gnu::noinline]] TWaitResult TFastMutex::Contend(TThreadRecord &thread, std::uint32_t milliseconds) noexcept {
    TWaitPlace const *const place = PlaceIn(fPlace);
    if (!place)
        return TWaitResult::failed;
    TDeadline const deadline(milliseconds);
    while (fState.exchange(heldAndWaitedFor, std::memory_order_acq_rel) != free) {
        std::uint32_t const owner = fOwner.load(std::memory_order_acquire);
        std::uint64_t identity = fHolder.load(std::memory_order_acquire);
        bool const isKnown = owner != 0 && fOwner.load(std::memory_order_acquire) == owner;
        TOpenedThread const holder(isKnown ? static_cast<DWORD>(identity >> 32) : 0);
        if (isKnown && holder.HasEnded() && fOwner.load(std::memory_order_acquire) == owner) {
            if (fHolder.compare_exchange_strong(identity, thread.identity, std::memory_order_acq_rel)) {
                fAbandoned = yes;
                return TWaitResult::done;
            }
            continue;
        }
        DWORD const remaining = std::min(deadline.Remaining(), fsOwnerInterval);
        if (remaining == 0)
            return TWaitResult::timedOut;
        HANDLE const handles[] = {place->event, holder.Handle()};
        DWORD const count = holder.Handle() ? 2 : 1;
        if (WaitForMultipleObjects(count, handles, FALSE, remaining) == WAIT_FAILED)
            return TWaitResult::failed;
    }
    return TWaitResult::done;
}

TWaitPlace *TFastMutex::PrepareWake() noexcept {
    return fPlace.load(std::memory_order_acquire);
}

[[gnu::noinline]] void TFastMutex::WakeOne(TWaitPlace *place) noexcept {
    SetEvent(place->event);
}
