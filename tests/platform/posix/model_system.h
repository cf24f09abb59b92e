#ifndef TUZUTIL_TESTS_MODEL_SYSTEM_POSIX
#define TUZUTIL_TESTS_MODEL_SYSTEM_POSIX

// The locks and events of the library on a model of the system. The sources of the library are included here, with
// model atomics in place of the standard ones, and with functions of the scheduler in place of the futex calls.

#include "support/interleavings.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <pthread.h>
#include <string>
#include <vector>

namespace std {
using interleavings::TModelAtomic;
} // namespace std
#define atomic TModelAtomic

// Takes the place of platform/posix/futex.h. A word is compared and the thread blocked in one step, as the kernel does.
#define TUZUTIL_PLATFORM_POSIX_FUTEX
#include "platform/platform.h"
#include "platform/posix/deadline.h"

namespace platform {

using interleavings::TLimit;
using interleavings::TScheduler;

inline int WaitForWord(std::TModelAtomic<std::uint32_t> &word, std::uint32_t value,
                       TDeadline const &deadline) noexcept {
    TScheduler::Step();
    if (word.Now() != value)
        return 0;
    return TScheduler::Wait(&word, deadline.End() ? TLimit::soon : TLimit::none) ? 0 : ETIMEDOUT;
}

inline void WakeWord(void *word, int threads) noexcept {
    TScheduler::Step();
    TScheduler::Wake(word, threads);
}

inline TWaitResult FailedWait(int error) noexcept {
    errno = error;
    return error == ETIMEDOUT ? TWaitResult::timedOut : TWaitResult::failed;
}

} // namespace platform

// Takes the place of platform/single_thread.h, because the C library does not know the threads of the scheduler.
#define TUZUTIL_SINGLE_THREAD
namespace platform {
inline constexpr char manyThreads = 0;
inline constexpr char const *singleThreadByte = &manyThreads;
} // namespace platform

#include "platform/fast_mutex.cpp"

// Takes the place of platform/posix/thread_record.h.
#define TUZUTIL_PLATFORM_POSIX_THREAD_RECORD
namespace platform {
inline TThreadRecord *ThisThread() noexcept {
    std::abort(); // the scenarios pass the records of their threads
}
} // namespace platform

#include "platform/posix/event.cpp"
#include "platform/posix/mutex.cpp"

#undef atomic

// What the included sources need and the scenarios do not use: named locks.
int platform::OpenObjectFolder() noexcept {
    std::abort();
}
bool platform::ObjectFileName(char const *, int, char const *, char (&)[objectFileSize]) noexcept {
    std::abort();
}

namespace model {

// The records of the threads of a scenario.
struct TRecords {
    platform::TThreadRecord of[3] = {{1, 0}, {2, 0}, {3, 0}};
};

// Waits until the word has another value than `seen`. The word may also have been changed before.
inline void WaitForWord(interleavings::TModelAtomic<std::uint32_t> &word, std::uint32_t seen) {
    platform::WaitForWord(word, seen, platform::TDeadline(platform::waitForEver));
}

// Removes what a lock of an earlier run has left.
inline void Forget(platform::TFastMutex &) {}

} // namespace model

#endif
