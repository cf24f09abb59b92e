#ifndef TUZUTIL_PLATFORM_POSIX_FUTEX
#define TUZUTIL_PLATFORM_POSIX_FUTEX

// Waiting on a word of memory within one process: the two calls of the system on which locks and events are built. They
// take no locks.

#include "platform/posix/deadline.h"

#include <atomic>
#include <climits>
#include <cstdint>
#include <errno.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

// Blocks while a word has a value, until the deadline on the monotonic clock. Returns 0 if the thread was woken,
// perhaps without a reason, or if the word has another value; otherwise an error number, usually ETIMEDOUT.
inline int WaitForWord(std::atomic<std::uint32_t> &word, std::uint32_t value, TDeadline const &deadline) noexcept {
    long const result = ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value, deadline.End(),
                                  nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno == EAGAIN || errno == EINTR ? 0 : errno;
}

// Wakes so many threads. Uses only the address, at which something else may live by now.
inline void WakeWord(void *word, int threads) noexcept {
    ::syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, threads, nullptr, nullptr, 0);
}

// Turns the error number of a wait into its result, and leaves it in errno.
inline TWaitResult FailedWait(int error) noexcept {
    errno = error;
    return error == ETIMEDOUT ? TWaitResult::timedOut : TWaitResult::failed;
}

} // namespace platform

#endif
