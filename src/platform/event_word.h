#ifndef TUZUTIL_PLATFORM_EVENT_WORD
#define TUZUTIL_PLATFORM_EVENT_WORD

// The state of an event is one word, on which threads wait. Its bits mean the same on every system. Bit 0 is set if the
// event is posted, and bit 1 if a thread may be waiting. The other bits count the posts. If this count changes while a
// thread waits, the wait ends, even if the event is cleared again before the thread runs. The functions of this file
// take no locks and never call the system.

#include <atomic>
#include <cstdint>

namespace platform::event_word {

constexpr std::uint32_t posted = 1;
constexpr std::uint32_t waiters = 2;
constexpr std::uint32_t once = 4; // adding this number to the word counts one post

// Returns whether a waiter may return. `begun` is the state at which it began to wait, and `now` is the present state.
inline bool IsReleased(std::uint32_t begun, std::uint32_t now) noexcept {
    return (now & posted) != 0 || begun / once != now / once;
}

// Sets the bit `waiters`, and returns the state at which the caller begins to wait. If the event is posted, changes
// nothing and returns the state, because the caller need not wait.
inline std::uint32_t Begin(std::atomic<std::uint32_t> &word) noexcept {
    std::uint32_t state = word.load();
    while (!(state & posted) && !word.compare_exchange_weak(state, state | waiters)) {
    }
    return state & posted ? state : state | waiters;
}

// Clears the event. If the event is not posted, only reads the word, because reading costs less than writing. If
// another thread posts the event during the call, the event may stay posted, as if the post had come after Clear().
inline void Clear(std::atomic<std::uint32_t> &word) noexcept {
    if (word.load() & posted)
        word.fetch_and(~posted);
}

// Posts the event. Returns whether the caller must wake the waiters. Does not touch the word after the post, because a
// thread that is released may delete the word.
inline bool Post(std::atomic<std::uint32_t> &word) noexcept {
    std::uint32_t state = word.load();
    while (!word.compare_exchange_weak(state, ((state & ~waiters) | posted) + once)) {
    }
    return (state & waiters) != 0;
}

} // namespace platform::event_word

#endif
