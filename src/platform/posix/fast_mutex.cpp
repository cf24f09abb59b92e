#include "platform/fast_mutex.h"

#include "platform/posix/deadline.h"
#include "platform/posix/futex.h"
#include "platform/posix/thisthread.h"

#include <new>
#include <pthread.h>

using platform::WaitResult;
using posix::fsThread;

constinit thread_local TThreadRecord *posix::fsThread = nullptr;

namespace {

// The record is found through the thread-local pointer; the key brings it back when the thread ends.
struct ThreadKey {
    ThreadKey() noexcept { made = ::pthread_key_create(&key, EndOfThread) == 0; }

    static void EndOfThread(void *record) noexcept;

    pthread_key_t key;
    bool made;
};

void ThreadKey::EndOfThread(void *record) noexcept {
    auto *const thread = static_cast<TThreadRecord *>(record);
    thread->AbandonAll();
    fsThread = nullptr;
    delete thread;
}

[[gnu::noinline]] TThreadRecord *MakeRecord() noexcept {
    static ThreadKey const key;
    static constinit std::atomic<std::uint32_t> last{0};
    auto *const thread = key.made ? new (std::nothrow) TThreadRecord{++last, 0} : nullptr;
    if (!thread || ::pthread_setspecific(key.key, thread) != 0) {
        delete thread;
        errno = ENOMEM;
        return nullptr;
    }
    fsThread = thread;
    return thread;
}

} // namespace

TThreadRecord *platform::ThisThread() noexcept {
    return fsThread ? fsThread : MakeRecord();
}

TFastMutex::~TFastMutex() = default;

WaitResult TFastMutex::Contend(TThreadRecord &, std::uint32_t milliseconds) noexcept {
    if (milliseconds == 0)
        return WaitResult::timedOut;
    bool const limited = milliseconds != platform::waitForEver;
    timespec const deadline = limited ? DeadlineIn(milliseconds, CLOCK_MONOTONIC) : timespec{};
    while (fState.exchange(heldAndWaitedFor, std::memory_order_acquire) != free) {
        if (int const error = posix::WaitForWord(fState, heldAndWaitedFor, limited ? &deadline : nullptr)) {
            errno = error;
            return error == ETIMEDOUT ? WaitResult::timedOut : WaitResult::failed;
        }
    }
    return WaitResult::done;
}

void *TFastMutex::PrepareWake() noexcept {
    return &fState;
}

void TFastMutex::WakeOne(void *word) noexcept {
    posix::WakeWord(word, 1);
}
