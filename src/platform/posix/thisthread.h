#ifndef TUZUTIL_POSIX_THISTHREAD_H
#define TUZUTIL_POSIX_THISTHREAD_H

// The record of this thread, found without a call: eight bytes of the room that the system keeps for libraries loaded
// later.

#include "platform/platform.h"

namespace posix {

[[gnu::tls_model("initial-exec")]] extern constinit thread_local TThreadRecord *fsThread;

inline TThreadRecord *ThisThread() noexcept {
    TThreadRecord *const thread = fsThread;
    return __builtin_expect(thread != nullptr, 1) ? thread : platform::ThisThread();
}

} // namespace posix

#endif
