#include "platform/win32/fastmutex.h"

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

} // namespace

win32::FastMutex::~FastMutex() {
    if (HANDLE const event = released)
        CloseHandle(event);
}

WaitResult win32::FastMutex::Lock(std::uint32_t milliseconds) noexcept {
    Thread *const thread = ThisThread();
    if (!thread) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return WaitResult::failed;
    }
    if (owner.load(std::memory_order_relaxed) == thread->number) {
        ++depth;
        return WaitResult::done;
    }
    std::uint32_t expected = free;
    if (!state.compare_exchange_strong(expected, held, std::memory_order_acquire, std::memory_order_relaxed)) {
        WaitResult const result = Contend(*thread, milliseconds);
        if (result != WaitResult::done)
            return result;
    }
    Own(*thread);
    WaitResult const result = abandoned ? WaitResult::abandoned : WaitResult::done;
    abandoned = false;
    return result;
}

bool win32::FastMutex::Unlock() noexcept {
    Thread *const thread = ThisThread();
    if (!thread || owner.load(std::memory_order_relaxed) != thread->number) {
        SetLastError(ERROR_NOT_OWNER);
        return false;
    }
    if (--depth == 0)
        Release(*thread);
    return true;
}

void win32::FastMutex::Abandon(Thread &thread) noexcept {
    abandoned = true;
    depth = 0;
    Release(thread);
}

// The number is written last: who reads it before and after the system's number has read two that belong together.
void win32::FastMutex::Own(Thread &thread) noexcept {
    ownerId.store(GetCurrentThreadId(), std::memory_order_relaxed);
    owner.store(thread.number, std::memory_order_release);
    depth = 1;
    previous = nullptr;
    next = thread.held;
    if (next)
        next->previous = this;
    thread.held = this;
}

void win32::FastMutex::Release(Thread &thread) noexcept {
    (previous ? previous->next : thread.held) = next;
    if (next)
        next->previous = previous;
    owner.store(0, std::memory_order_relaxed);
    // Read before the lock is free: it may be deleted from then on.
    HANDLE const event = released.load(std::memory_order_acquire);
    if (state.exchange(free, std::memory_order_acq_rel) == heldAndWaitedFor)
        SetEvent(event);
}

// Waits until the lock can be taken, and takes it. The owner's death is noticed as well: a thread that ends releases
// its locks, but not one that is killed.
WaitResult win32::FastMutex::Contend(Thread &thread, std::uint32_t milliseconds) noexcept {
    HANDLE const event = ReleasedEvent();
    if (!event)
        return WaitResult::failed;
    TimeLimit const limit(milliseconds);
    while (state.exchange(heldAndWaitedFor, std::memory_order_acq_rel) != free) {
        std::uint32_t number = owner.load(std::memory_order_acquire);
        OpenedThread const holder(ownerId.load(std::memory_order_relaxed));
        bool const known = number != 0 && owner.load(std::memory_order_acquire) == number;
        if (known && holder.HasEnded()) {
            if (owner.compare_exchange_strong(number, thread.number, std::memory_order_acq_rel)) {
                abandoned = true;
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

HANDLE win32::FastMutex::ReleasedEvent() noexcept {
    HANDLE present = released.load(std::memory_order_acquire);
    if (present)
        return present;
    HANDLE const fresh = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!fresh)
        return nullptr;
    if (released.compare_exchange_strong(present, fresh, std::memory_order_acq_rel))
        return fresh;
    CloseHandle(fresh); // another thread was first
    return present;
}
