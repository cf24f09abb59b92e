#ifndef TUZUTIL_PLATFORM_EVENT_WORD
#define TUZUTIL_PLATFORM_EVENT_WORD

// The state of an event in one word that threads wait for, the same on every system. Bit 0: posted; bit 1: somebody
// waits; the rest: how often it was posted. A waiter that finds the number changed was released, even if the event has
// been cleared again before it came to run.

#include <atomic>
#include <cstdint>

namespace event_word {

constexpr std::uint32_t posted = 1;
constexpr std::uint32_t waiters = 2;
constexpr std::uint32_t once = 4;

// Whether a waiter that began at `begun` is released by the state `now`.
inline bool IsReleased(std::uint32_t begun, std::uint32_t now) noexcept {
    return (now & posted) != 0 || begun / once != now / once;
}

// Announces a waiter. The state to wait for the change of, or one that is posted.
inline std::uint32_t Begin(std::atomic<std::uint32_t> &word) noexcept {
    std::uint32_t state = word.load();
    while (!(state & posted) && !word.compare_exchange_weak(state, state | waiters)) {
    }
    return state & posted ? state : state | waiters;
}

// True if somebody has to be woken. Touches the word once: a thread that is released may delete it.
inline bool Post(std::atomic<std::uint32_t> &word) noexcept {
    std::uint32_t state = word.load();
    while (!word.compare_exchange_weak(state, ((state & ~waiters) | posted) + once)) {
    }
    return (state & waiters) != 0;
}

} // namespace event_word

#endif
