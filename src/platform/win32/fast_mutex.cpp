#include "platform/fast_mutex.h"

#include <new>
#include <windows.h>

using platform::WaitResult;

namespace {

// Opens a thread to see whether it lives. Null where it is gone.
class OpenedThread {
public:
    explicit OpenedThread(DWORD id) noexcept
        : fHandle(OpenThread(SYNCHRONIZE, FALSE, id)), fGone(!fHandle && GetLastError() == ERROR_INVALID_PARAMETER) {}
    OpenedThread(OpenedThread const &) = delete;
    OpenedThread &operator=(OpenedThread const &) = delete;
    ~OpenedThread() {
        if (fHandle)
            CloseHandle(fHandle);
    }

    HANDLE Handle() const noexcept { return fHandle; }
    bool HasEnded() const noexcept { return fGone || (fHandle && WaitForSingleObject(fHandle, 0) == WAIT_OBJECT_0); }

private:
    HANDLE fHandle;
    bool fGone;
};

// What is left of a time limit.
class TimeLimit {
public:
    explicit TimeLimit(std::uint32_t milliseconds) noexcept
        : fForEver(milliseconds == platform::waitForEver), fEnd(GetTickCount64() + milliseconds) {}

    DWORD Remaining() const noexcept {
        if (fForEver)
            return INFINITE;
        ULONGLONG const now = GetTickCount64();
        return now < fEnd ? static_cast<DWORD>(fEnd - now) : 0;
    }

private:
    bool fForEver;
    ULONGLONG fEnd;
};

// What the threads that wait for one lock wait for. Never closed, but kept for other locks: a thread that is about to
// wake somebody may find the lock deleted, and its event in other use. There it wakes somebody without need, which
// looks at its lock and goes on waiting.
struct WaitEvent {
    HANDLE const handle;
    WaitEvent *next; // of those in no use
};

constinit SRWLOCK fsSpareLock = SRWLOCK_INIT;
constinit WaitEvent *fsSpare = nullptr;

void GiveBack(WaitEvent *event) noexcept {
    AcquireSRWLockExclusive(&fsSpareLock);
    event->next = fsSpare;
    fsSpare = event;
    ReleaseSRWLockExclusive(&fsSpareLock);
}

WaitEvent *TakeSpare() noexcept {
    AcquireSRWLockExclusive(&fsSpareLock);
    WaitEvent *const event = fsSpare;
    if (event)
        fsSpare = event->next;
    ReleaseSRWLockExclusive(&fsSpareLock);
    return event;
}

WaitEvent *NewEvent() noexcept {
    HANDLE const handle = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    auto *const event = handle ? new (std::nothrow) WaitEvent{handle, nullptr} : nullptr;
    if (handle && !event) {
        CloseHandle(handle);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return event;
}

// The event of a lock, found when a thread has to wait for the first time; null where there is none to be had.
WaitEvent *EventIn(std::atomic<void *> &place) noexcept {
    void *present = place.load(std::memory_order_acquire);
    if (present)
        return static_cast<WaitEvent *>(present);
    WaitEvent *fresh = TakeSpare();
    if (!fresh)
        fresh = NewEvent();
    if (!fresh || place.compare_exchange_strong(present, fresh, std::memory_order_acq_rel))
        return fresh;
    GiveBack(fresh); // another thread was first
    return static_cast<WaitEvent *>(present);
}

} // namespace

TFastMutex::~TFastMutex() {
    if (void *const event = fEvent)
        GiveBack(static_cast<WaitEvent *>(event));
}

// The owner's death is noticed here as well: a thread that ends gives up its locks, but not one that is killed.
WaitResult TFastMutex::Contend(TThreadRecord &thread, std::uint32_t milliseconds) noexcept {
    WaitEvent const *const event = EventIn(fEvent);
    if (!event)
        return WaitResult::failed;
    TimeLimit const limit(milliseconds);
    while (fState.exchange(heldAndWaitedFor, std::memory_order_acq_rel) != free) {
        std::uint64_t owner = fOwner.load(std::memory_order_acquire);
        OpenedThread const holder(static_cast<DWORD>(owner >> 32));
        if (owner != 0 && holder.HasEnded()) {
            if (fOwner.compare_exchange_strong(owner, thread.identity, std::memory_order_acq_rel)) {
                fAbandoned = true;
                return WaitResult::done;
            }
            continue;
        }
        DWORD const remaining = limit.Remaining();
        if (remaining == 0)
            return WaitResult::timedOut;
        HANDLE const handles[] = {event->handle, holder.Handle()};
        DWORD const count = holder.Handle() ? 2 : 1;
        if (WaitForMultipleObjects(count, handles, FALSE, remaining) == WAIT_FAILED)
            return WaitResult::failed;
    }
    return WaitResult::done;
}

void *TFastMutex::PrepareWake() noexcept {
    return fEvent.load(std::memory_order_acquire);
}

void TFastMutex::WakeOne(void *event) noexcept {
    SetEvent(static_cast<WaitEvent *>(event)->handle);
}
