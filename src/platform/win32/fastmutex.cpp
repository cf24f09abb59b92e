#include "utility/FASTMUTX.h"

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

// The event of a lock, made when a thread has to wait for the first time; null where there is none to be had.
HANDLE EventIn(std::atomic<void *> &place) noexcept {
    void *present = place.load(std::memory_order_acquire);
    if (present)
        return present;
    HANDLE const fresh = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!fresh)
        return nullptr;
    if (place.compare_exchange_strong(present, fresh, std::memory_order_acq_rel))
        return fresh;
    CloseHandle(fresh); // another thread was first
    return present;
}

} // namespace

TFastMutex::~TFastMutex() {
    if (void *const event = fEvent)
        CloseHandle(event);
}

// The owner's death is noticed here as well: a thread that ends gives up its locks, but not one that is killed.
WaitResult TFastMutex::Contend(TThreadRecord &thread, std::uint32_t milliseconds) noexcept {
    HANDLE const event = EventIn(fEvent);
    if (!event)
        return WaitResult::failed;
    TimeLimit const limit(milliseconds);
    while (fState.exchange(heldAndWaitedFor, std::memory_order_acq_rel) != free) {
        std::uint32_t number = fOwner.load(std::memory_order_acquire);
        OpenedThread const holder(fOwnerId.load(std::memory_order_relaxed));
        bool const known = number != 0 && fOwner.load(std::memory_order_acquire) == number;
        if (known && holder.HasEnded()) {
            if (fOwner.compare_exchange_strong(number, thread.number, std::memory_order_acq_rel)) {
                fAbandoned = true;
                return WaitResult::done;
            }
            continue;
        }
        DWORD const remaining = limit.Remaining();
        if (remaining == 0)
            return WaitResult::timedOut;
        HANDLE const handles[] = {event, holder.Handle()};
        DWORD const count = known && holder.Handle() ? 2 : 1;
        if (WaitForMultipleObjects(count, handles, FALSE, remaining) == WAIT_FAILED)
            return WaitResult::failed;
    }
    return WaitResult::done;
}

void *TFastMutex::PrepareWake() noexcept {
    return fEvent.load(std::memory_order_acquire);
}

void TFastMutex::WakeOne(void *event) noexcept {
    SetEvent(event);
}
