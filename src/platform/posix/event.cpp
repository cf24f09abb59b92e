#include "platform/platform.h"

#include "platform/event_word.h"
#include "platform/posix/deadline.h"
#include "platform/posix/futex.h"

#include <new>

namespace {

struct Event {
    std::atomic<std::uint32_t> state;
    std::atomic<std::uint32_t> owners{1};
};

Event *EventAt(void *event) noexcept {
    if (!event)
        errno = EBADF;
    return static_cast<Event *>(event);
}

} // namespace

void *platform::NewEvent(bool posted) noexcept {
    auto *const event = new (std::nothrow) Event{{posted ? event_word::posted : 0}};
    if (!event)
        errno = ENOMEM;
    return event;
}

void *platform::ShareEvent(void *event) noexcept {
    if (event)
        static_cast<Event *>(event)->owners.fetch_add(1, std::memory_order_relaxed);
    return event;
}

void platform::DeleteEvent(void *event) noexcept {
    if (event && static_cast<Event *>(event)->owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete static_cast<Event *>(event);
}

platform::WaitResult platform::WaitEvent(void *handle, std::uint32_t milliseconds) noexcept {
    Event *const event = EventAt(handle);
    if (!event)
        return WaitResult::failed;
    auto &state = event->state;
    if (state.load(std::memory_order_acquire) & event_word::posted)
        return WaitResult::done;
    if (milliseconds == 0)
        return WaitResult::timedOut;

    bool const limited = milliseconds != waitForEver;
    timespec const deadline = limited ? DeadlineIn(milliseconds, CLOCK_MONOTONIC) : timespec{};
    std::uint32_t const begun = event_word::Begin(state);
    for (std::uint32_t seen = begun; !event_word::IsReleased(begun, seen); seen = state.load()) {
        int const error = posix::WaitForWord(state, seen, limited ? &deadline : nullptr);
        if (error == 0)
            continue;
        if (event_word::IsReleased(begun, state.load()))
            break;
        errno = error;
        return error == ETIMEDOUT ? WaitResult::timedOut : WaitResult::failed;
    }
    return WaitResult::done;
}

bool platform::ClearEvent(void *handle) noexcept {
    Event *const event = EventAt(handle);
    if (event)
        event->state.fetch_and(~event_word::posted);
    return event != nullptr;
}

bool platform::PostEvent(void *handle) noexcept {
    Event *const event = EventAt(handle);
    if (!event)
        return false;
    auto *const word = &event->state;
    if (event_word::Post(*word))
        posix::WakeWord(word, INT_MAX);
    return true;
}
