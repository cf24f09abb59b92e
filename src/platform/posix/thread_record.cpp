// Makes the record of a thread when the thread first uses a lock. When the thread ends, the destructor of a pthread key
// unlocks the locks that the thread still holds, marks them as abandoned, and deletes the record. The functions take no
// locks.

#include "platform/posix/thread_record.h"

#include <errno.h>
#include <new>
#include <pthread.h>

using platform::TThreadRecord;

constinit thread_local TThreadRecord *platform::fsThread = nullptr;

namespace {

void EndOfThread(void *record) noexcept {
    auto *const thread = static_cast<TThreadRecord *>(record);
    thread->AbandonAll();
    platform::fsThread = nullptr;
    delete thread;
}

struct TThreadKey {
    TThreadKey() noexcept : isMade(::pthread_key_create(&key, EndOfThread) == 0) {}

    pthread_key_t key;
    bool isMade;
};

} // namespace

TThreadRecord *platform::NewThreadRecord() noexcept {
    // No test gets here: two threads would have to use the library first in one moment.
    static TThreadKey const key;
    static constinit std::atomic<std::uint32_t> last{0};
    // No test gets here: the system would have to refuse the key when the library is first used.
    auto *const thread = key.isMade ? new (std::nothrow) TThreadRecord{++last, 0} : nullptr;
    if (!thread || ::pthread_setspecific(key.key, thread) != 0) {
        delete thread;
        errno = ENOMEM;
        return nullptr;
    }
    fsThread = thread;
    return thread;
}
