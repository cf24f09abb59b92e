// Locks. One without a name is a TFastMutex, whose waiters wait for an event of the system, and for the owner's thread
// in case it is killed. One with a name is the system's own, which costs two calls of the system each time. A lock that
// makes room for waiters takes fsSpareLock for a moment; nothing else is locked.

#include "platform/platform.h"

#include "platform/win32/deadline.h"
#include "platform/win32/kept_error.h"
#include "platform/win32/thread_record.h"

#include <new>
#include <windows.h>

using platform::Mutex;
using platform::TFastMutex;
using platform::TThreadRecord;
using platform::TWaitPlace;
using platform::TWaitResult;

// Invariant: `kernel` is null exactly if the lock has no name, and only then `fast` is in use.
struct platform::Mutex {
    HANDLE kernel = nullptr;
    TFastMutex fast;
};

// The event for which the threads that wait for one lock wait. It is never closed, but is kept for other locks: a
// thread that is about to wake a waiter may find the lock deleted, and its event in use by another lock. A thread that
// is woken without a reason inspects its lock and continues to wait.
struct platform::TWaitPlace {
    HANDLE const event;
    TWaitPlace *next; // in the list of those not in use
};

namespace {

bool IsThere(Mutex const *mutex) noexcept {
    if (!mutex)
        SetLastError(ERROR_INVALID_HANDLE);
    return mutex != nullptr;
}

// Opens a thread to see whether it is alive. The handle is null if the thread no longer exists, or if its id is 0
// because the system cannot tell.
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
    auto *const place = event ? new (std::nothrow) TWaitPlace{event, nullptr} : nullptr;
    if (event && !place) {
        CloseHandle(event);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return place;
}

// Returns the place of a lock, which gets one when a thread has to wait for the first time; null, with LastError(), if
// none can be made.
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
    // If another thread holds the lock, that thread's chain leads to it, so it must not be deleted.
    if (mutex->fast.IsHeld())
        return true;
    if (TWaitPlace *const place = mutex->fast.Place())
        GiveBack(place);
    delete mutex;
    return true;
}

TWaitResult platform::LockMutex(Mutex *mutex, std::uint32_t milliseconds) noexcept {
    if (!IsThere(mutex))
        return TWaitResult::failed;
    if (mutex->kernel)
        return static_cast<TWaitResult>(WaitForSingleObject(mutex->kernel, milliseconds));
    TThreadRecord *const self = ThisThread();
    return self ? mutex->fast.Lock(*self, milliseconds) : TWaitResult::failed;
}

bool platform::UnlockMutex(Mutex *mutex) noexcept {
    if (!IsThere(mutex))
        return false;
    if (mutex->kernel)
        return ReleaseMutex(mutex->kernel) != FALSE;
    TThreadRecord *const self = ThisThread();
    bool const released = self && mutex->fast.Unlock(*self);
    if (!released)
        SetLastError(ERROR_NOT_OWNER);
    return released;
}

bool platform::HoldsMutex(Mutex const *mutex) noexcept {
    TThreadRecord const *const self = ThisThread();
    return mutex && self && !mutex->kernel && mutex->fast.IsHeldBy(*self);
}

std::uintptr_t platform::SystemHandle(Mutex *mutex) noexcept {
    return mutex && mutex->kernel ? reinterpret_cast<std::uintptr_t>(mutex->kernel)
                                  : reinterpret_cast<std::uintptr_t>(mutex);
}

// How threads wait for a lock without a name. The functions are not inlined, so that locking without waiting stays
// fast.

// A thread that ends releases its locks, but a thread that is killed does not: the waiters detect that here.
[[gnu::noinline]] TWaitResult TFastMutex::Contend(TThreadRecord &thread, std::uint32_t milliseconds) noexcept {
    TWaitPlace const *const place = PlaceIn(fPlace);
    if (!place)
        return TWaitResult::failed;
    TDeadline const deadline(milliseconds);
    while (fState.exchange(heldAndWaitedFor, std::memory_order_acq_rel) != free) {
        std::uint64_t owner = fOwner.load(std::memory_order_acquire);
        TOpenedThread const holder(static_cast<DWORD>(owner >> 32));
        if (owner != 0 && holder.HasEnded()) {
            if (fOwner.compare_exchange_strong(owner, thread.identity, std::memory_order_acq_rel)) {
                fAbandoned = true;
                return TWaitResult::done;
            }
            continue;
        }
        DWORD const remaining = deadline.Remaining();
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
