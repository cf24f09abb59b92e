#ifndef TUZUTIL_POSIX_FUTEX_H
#define TUZUTIL_POSIX_FUTEX_H

#include <atomic>
#include <climits>
#include <cstdint>
#include <errno.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace posix {

// Waits while a word has a value, until a point of the monotonic clock; null: for ever. 0 when it was woken, without
// need at times, or the value is another; otherwise an error number, ETIMEDOUT above all.
inline int WaitForWord(std::atomic<std::uint32_t> &word, std::uint32_t value, timespec const *deadline) noexcept {
    long const result = ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value, deadline, nullptr,
                                  FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno == EAGAIN || errno == EINTR ? 0 : errno;
}

// Wakes waiting threads. Only the address is used: there may be something else by now.
inline void WakeWord(void *word, int threads) noexcept {
    ::syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, threads, nullptr, nullptr, 0);
}

} // namespace posix

#endif
