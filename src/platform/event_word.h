#ifndef TUZUTIL_PLATFORM_EVENT_WORD
#define TUZUTIL_PLATFORM_EVENT_WORD

// The state of an event in one word, on which threads wait; the same on every system. Bit 0: the event is posted.
// Bit 1: somebody waits. The other bits count the posts: a waiter that finds another count was released, even if the
// event was cleared again before the waiter ran. Takes no locks and never calls the system.

#include <atomic>
#include <cstdint>

namespace platform::event_word {

constexpr std::uint32_t posted = 1;
constexpr std::uint32_t waiters = 2;
constexpr std::uint32_t once = 4;

// Returns whether the state `now` releases a waiter that began at the state `begun`.
inline bool IsReleased(std::uint32_t begun, std::uint32_t now) noexcept {
    return (now & posted) != 0 || begun / once != now / once;
}

// Announces a waiter. Returns the state that the waiter must see change, or a posted one.
inline std::uint32_t Begin(std::atomic<std::uint32_t> &word) noexcept {
    std::uint32_t state = word.load();
    while (!(state & posted) && !word.compare_exchange_weak(state, state | waiters)) {
    }
    return state & posted ? state : state | waiters;
}

// Returns whether the caller must wake the waiters. Touches the word for the last time when it posts: a thread that is
// released may delete the word.
inline bool Post(std::atomic<std::uint32_t> &word) noexcept {
    std::uint32_t state = word.load();
    while (!word.compare_exchange_weak(state, ((state & ~waiters) | posted) + once)) {
    }
    return (state & waiters) != 0;
}

} // namespace platform::event_word

#endif
