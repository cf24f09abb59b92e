// Events within one process. The state of an event is one 32-bit word. event_word.h explains its bits. Threads that
// wait for the event sleep in the system's WaitOnAddress() on that word. Systems before Windows 8 lack this function.
// On these systems, threads wait for an object of the kernel instead. The functions take no locks. The last owner
// deletes the event.

#include "platform/platform.h"

#include "platform/event_word.h"
#include "platform/win32/deadline.h"
#include "platform/win32/kept_error.h"

#include <atomic>
#include <new>
#include <windows.h>

using platform::Event;
using platform::TWaitResult;

namespace event_word = platform::event_word;

struct platform::Event {
    std::atomic<std::uint32_t> state;
    std::atomic<std::uint32_t> owners{1};
    HANDLE kernel = nullptr; // used if the system cannot wait on a word
};

namespace {

// The functions of the system for waiting on a word. If the system lacks one of them, both pointers are null.
struct TWordWaiting {
    BOOL(WINAPI *wait)(void volatile *, void *, SIZE_T, DWORD) = nullptr;
    void(WINAPI *wakeAll)(void *) = nullptr;
};

template <typename Function>
void Find(HMODULE library, char const *name, Function &function) noexcept {
    function = reinterpret_cast<Function>(reinterpret_cast<void *>(GetProcAddress(library, name)));
}

TWordWaiting FindWords() noexcept {
    TWordWaiting found;
    // No test gets here: the suite event_failure never has the library, and every other program has it.
    if (HMODULE const library = GetModuleHandleA("kernelbase.dll")) {
        Find(library, "WaitOnAddress", found.wait);
        Find(library, "WakeByAddressAll", found.wakeAll);
    }
    // No test gets here: no system has only one of the functions.
    return found.wait && found.wakeAll ? found : TWordWaiting{};
}

TWordWaiting const &Words() noexcept {
    // No test gets here: two threads would have to look for the functions first in one moment.
    static TWordWaiting const words = FindWords();
    return words;
}

bool IsThere(Event const *event) noexcept {
    if (!event)
        SetLastError(ERROR_INVALID_HANDLE);
    return event != nullptr;
}

TWaitResult WaitForWord(std::atomic<std::uint32_t> &state, std::uint32_t milliseconds) noexcept {
    if (state.load(std::memory_order_acquire) & event_word::posted)
        return TWaitResult::done;
    if (milliseconds == 0)
        return TWaitResult::timedOut;
    platform::TDeadline const deadline(milliseconds);
    std::uint32_t const begun = event_word::Begin(state);
    for (std::uint32_t seen = begun; !event_word::IsReleased(begun, seen); seen = state.load()) {
        DWORD const remaining = deadline.Remaining();
        if (remaining == 0)
            return TWaitResult::timedOut;
        // No test gets here: a wait on a word of the process fails only if its time is over.
        if (!Words().wait(&state, &seen, sizeof seen, remaining) && GetLastError() != ERROR_TIMEOUT)
            return TWaitResult::failed;
    }
    return TWaitResult::done;
}

} // namespace

Event *platform::NewEvent(bool posted) noexcept {
    auto *const event = new (std::nothrow) Event{{posted ? event_word::posted : 0}};
    if (!event) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (!Words().wait) {
        event->kernel = CreateEventA(nullptr, TRUE, posted, nullptr);
        if (!event->kernel) {
            TKeptError const kept;
            delete event;
            return nullptr;
        }
    }
    return event;
}

Event *platform::ShareEvent(Event *event) noexcept {
    if (event)
        event->owners.fetch_add(1, std::memory_order_relaxed);
    return event;
}

void platform::DeleteEvent(Event *event) noexcept {
    if (!event || event->owners.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    if (event->kernel)
        CloseHandle(event->kernel);
    delete event;
}

TWaitResult platform::WaitEvent(Event *event, std::uint32_t milliseconds) noexcept {
    if (!IsThere(event))
        return TWaitResult::failed;
    return event->kernel ? static_cast<TWaitResult>(WaitForSingleObject(event->kernel, milliseconds))
                         : WaitForWord(event->state, milliseconds);
}

bool platform::ClearEvent(Event *event) noexcept {
    if (!IsThere(event))
        return false;
    if (event->kernel)
        return ResetEvent(event->kernel) != FALSE;
    event_word::Clear(event->state);
    return true;
}

bool platform::PostEvent(Event *event) noexcept {
    if (!IsThere(event))
        return false;
    if (event->kernel)
        return SetEvent(event->kernel) != FALSE;
    auto *const word = &event->state;
    if (event_word::Post(*word))
        Words().wakeAll(word); // uses only the address, because the event may be deleted by now
    return true;
}
