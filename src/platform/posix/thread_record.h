#ifndef TUZUTIL_PLATFORM_POSIX_THREAD_RECORD
#define TUZUTIL_PLATFORM_POSIX_THREAD_RECORD

// Finds the record of the calling thread without a call of the system. The pointer to the record has the TLS model
// "initial-exec". If dlopen() loads this library, the pointer therefore uses eight bytes of the static TLS memory that
// the system keeps free for such libraries. The functions take no locks.

#include "platform/fast_mutex.h"

namespace platform {

[[gnu::tls_model("initial-exec")]] extern constinit thread_local TThreadRecord *fsThread;

// Makes the record of a thread that has none. Returns null, with errno, if there is no memory.
TThreadRecord *NewThreadRecord() noexcept;

inline TThreadRecord *ThisThread() noexcept {
    TThreadRecord *const thread = fsThread;
    return __builtin_expect(thread != nullptr, 1) ? thread : NewThreadRecord();
}

} // namespace platform

#endif
