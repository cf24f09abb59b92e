#include "platform/platform.h"

#include "platform/event_word.h"

#include <atomic>
#include <new>
#include <windows.h>

using platform::WaitResult;

namespace {

// Waiting for a word of memory, which systems before Windows 8 cannot: there an event is a kernel object.
struct WordWaiting {
    BOOL(WINAPI *wait)(void volatile *, void *, SIZE_T, DWORD) = nullptr;
    void(WINAPI *wakeAll)(void *) = nullptr;
};

template <typename Function>
void Find(HMODULE library, char const *name, Function &function) noexcept {
    function = reinterpret_cast<Function>(reinterpret_cast<void *>(GetProcAddress(library, name)));
}

WordWaiting const &Words() noexcept {
    static WordWaiting const words = [] {
        WordWaiting found;
        if (HMODULE const library = GetModuleHandleA("kernelbase.dll")) {
            Find(library, "WaitOnAddress", found.wait);
            Find(library, "WakeByAddressAll", found.wakeAll);
        }
        return found.wait && found.wakeAll ? found : WordWaiting{};
    }();
    return words;
}

struct Event {
    std::atomic<std::uint32_t> state;
    std::atomic<std::uint32_t> owners{1};
    HANDLE kernel = nullptr; // where words cannot be waited for
};

Event *EventAt(void *event) noexcept {
    if (!event)
        SetLastError(ERROR_INVALID_HANDLE);
    return static_cast<Event *>(event);
}

WaitResult WaitForWord(std::atomic<std::uint32_t> &state, std::uint32_t milliseconds) noexcept {
    if (state.load(std::memory_order_acquire) & event_word::posted)
        return WaitResult::done;
    if (milliseconds == 0)
        return WaitResult::timedOut;
    ULONGLONG const end = GetTickCount64() + milliseconds;
    std::uint32_t const begun = event_word::Begin(state);
    for (std::uint32_t seen = begun; !event_word::IsReleased(begun, seen); seen = state.load()) {
        DWORD remaining = INFINITE;
        if (milliseconds != platform::waitForEver) {
            ULONGLONG const now = GetTickCount64();
            remaining = now < end ? static_cast<DWORD>(end - now) : 0;
        }
        if (remaining == 0)
            return WaitResult::timedOut;
        if (!Words().wait(&state, &seen, sizeof seen, remaining) && GetLastError() != ERROR_TIMEOUT)
            return WaitResult::failed;
    }
    return WaitResult::done;
}

} // namespace

void *platform::NewEvent(bool posted) noexcept {
    auto *const event = new (std::nothrow) Event{{posted ? event_word::posted : 0}};
    if (!event) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (!Words().wait) {
        event->kernel = CreateEventA(nullptr, TRUE, posted, nullptr);
        if (!event->kernel) {
            DWORD const error = GetLastError();
            delete event;
            SetLastError(error);
            return nullptr;
        }
    }
    return event;
}

void *platform::ShareEvent(void *event) noexcept {
    if (event)
        static_cast<Event *>(event)->owners.fetch_add(1, std::memory_order_relaxed);
    return event;
}

void platform::DeleteEvent(void *handle) noexcept {
    auto *const event = static_cast<Event *>(handle);
    if (!event || event->owners.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    if (event->kernel)
        CloseHandle(event->kernel);
    delete event;
}

WaitResult platform::WaitEvent(void *handle, std::uint32_t milliseconds) noexcept {
    Event *const event = EventAt(handle);
    if (!event)
        return WaitResult::failed;
    return event->kernel ? static_cast<WaitResult>(WaitForSingleObject(event->kernel, milliseconds))
                         : WaitForWord(event->state, milliseconds);
}

bool platform::ClearEvent(void *handle) noexcept {
    Event *const event = EventAt(handle);
    if (!event)
        return false;
    if (event->kernel)
        return ResetEvent(event->kernel) != FALSE;
    event->state.fetch_and(~event_word::posted);
    return true;
}

bool platform::PostEvent(void *handle) noexcept {
    Event *const event = EventAt(handle);
    if (!event)
        return false;
    if (event->kernel)
        return SetEvent(event->kernel) != FALSE;
    auto *const word = &event->state;
    if (event_word::Post(*word))
        Words().wakeAll(word); // only the address is used: the event may be gone
    return true;
}
