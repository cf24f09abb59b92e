// Events within one process. The state of an event is one 32-bit word. event_word.h explains its bits. Threads that
// wait for the event sleep in a futex call on that word. The functions take no locks. The last owner deletes the event.

#include "platform/platform.h"

#include "platform/event_word.h"
#include "platform/posix/futex.h"

#include <new>

struct platform::Event {
    std::atomic<std::uint32_t> state;
    std::atomic<std::uint32_t> owners{1};
};

namespace {

bool IsThere(platform::Event const *event) noexcept {
    if (!event)
        errno = EBADF;
    return event != nullptr;
}

} // namespace

platform::Event *platform::NewEvent(bool posted) noexcept {
    auto *const event = new (std::nothrow) Event{{posted ? event_word::posted : 0}};
    if (!event)
        errno = ENOMEM;
    return event;
}

platform::Event *platform::ShareEvent(Event *event) noexcept {
    // No test gets here: memory would have to be lacking for an event that is shared later.
    if (event)
        event->owners.fetch_add(1, std::memory_order_relaxed);
    return event;
}

void platform::DeleteEvent(Event *event) noexcept {
    if (event && event->owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete event;
}

platform::TWaitResult platform::WaitEvent(Event *event, std::uint32_t milliseconds) noexcept {
    if (!IsThere(event))
        return TWaitResult::failed;
    auto &state = event->state;
    if (state.load(std::memory_order_acquire) & event_word::posted)
        return TWaitResult::done;
    if (milliseconds == 0)
        return TWaitResult::timedOut;

    TDeadline const deadline(milliseconds);
    std::uint32_t const begun = event_word::Begin(state);
    for (std::uint32_t seen = begun; !event_word::IsReleased(begun, seen); seen = state.load()) {
        int const error = WaitForWord(state, seen, deadline);
        if (error == 0)
            continue;
        // No test gets here: the event would have to be posted between the end of the wait and this line.
        if (event_word::IsReleased(begun, state.load()))
            break;
        return FailedWait(error);
    }
    return TWaitResult::done;
}

bool platform::ClearEvent(Event *event) noexcept {
    if (!IsThere(event))
        return false;
    event_word::Clear(event->state);
    return true;
}

bool platform::PostEvent(Event *event) noexcept {
    if (!IsThere(event))
        return false;
    auto *const word = &event->state;
    if (event_word::Post(*word))
        WakeWord(word, INT_MAX);
    return true;
}
