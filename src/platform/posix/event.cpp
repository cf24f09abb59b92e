#include "platform/platform.h"

#include "platform/posix/deadline.h"
#include "platform/posix/futex.h"

#include <new>

namespace {

// The state in one word, so that posting touches the event once only: a thread that it wakes may delete it. Bit 0:
// posted; the rest: the number of waiting threads.
constexpr std::uint32_t fsPosted = 1;
constexpr std::uint32_t fsWaiter = 2;

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
    auto *const event = new (std::nothrow) Event{{posted ? fsPosted : 0}};
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
    if (state.load(std::memory_order_acquire) & fsPosted)
        return WaitResult::done;
    if (milliseconds == 0)
        return WaitResult::timedOut;

    bool const limited = milliseconds != waitForEver;
    timespec const deadline = limited ? DeadlineIn(milliseconds, CLOCK_MONOTONIC) : timespec{};
    WaitResult result = WaitResult::done;
    std::uint32_t seen = state.fetch_add(fsWaiter) + fsWaiter;
    while (!(seen & fsPosted)) {
        if (int const error = posix::WaitForWord(state, seen, limited ? &deadline : nullptr)) {
            errno = error;
            result = error == ETIMEDOUT ? WaitResult::timedOut : WaitResult::failed;
            break;
        }
        seen = state.load();
    }
    state.fetch_sub(fsWaiter);
    return result;
}

bool platform::ClearEvent(void *handle) noexcept {
    Event *const event = EventAt(handle);
    if (event)
        event->state.fetch_and(~fsPosted);
    return event != nullptr;
}

bool platform::PostEvent(void *handle) noexcept {
    Event *const event = EventAt(handle);
    if (!event)
        return false;
    auto *const word = &event->state;
    std::uint32_t const before = word->fetch_or(fsPosted);
    if (!(before & fsPosted) && before / fsWaiter)
        posix::WakeWord(word, INT_MAX);
    return true;
}
