#ifndef TUZUTIL_PLATFORM_POSIX_FUTEX
#define TUZUTIL_PLATFORM_POSIX_FUTEX

// Functions with which threads of one process wait on a word of memory. Locks and events are built on these functions.
// The functions themselves take no locks.

#include "platform/posix/deadline.h"

#include <atomic>
#include <climits>
#include <cstdint>
#include <errno.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

// If the word has the value `value`, blocks until the thread is woken, but at most until the deadline. The deadline is
// a time of the monotonic clock. Returns 0 if the thread was woken, perhaps without a reason, or if the word has
// another value. Otherwise returns an error number, usually ETIMEDOUT.
inline int WaitForWord(std::atomic<std::uint32_t> &word, std::uint32_t value, TDeadline const &deadline) noexcept {
    long const result = ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value, deadline.End(),
                                  nullptr, FUTEX_BITSET_MATCH_ANY);
    // No test gets here: a wait on a word of the process fails for no reason but those named here and the end of the
    // time.
    return result == 0 || errno == EAGAIN || errno == EINTR ? 0 : errno;
}

// Wakes at most `threads` of the threads that wait on a word. Does not read the word, because the word may have been
// deleted already and its memory used for something else.
inline void WakeWord(void *word, int threads) noexcept {
    ::syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, threads, nullptr, nullptr, 0);
}

// Sets errno to the error number of a wait that failed, and returns the result that belongs to this number.
inline TWaitResult FailedWait(int error) noexcept {
    errno = error;
    // No test gets here: a wait on a word of the process fails only if its time is over.
    return error == ETIMEDOUT ? TWaitResult::timedOut : TWaitResult::failed;
}

} // namespace platform

#endif
