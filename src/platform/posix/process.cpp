// The ids of this thread and process, the environment and the system's log. Takes no lock of this library. A thread is
// not cancelled while it writes to the log.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/forks.h"

#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

// The id of this thread, or 0 before the first call of ThreadId(). The id is kept, because most trace records contain
// it, and a call of the system takes long.
constinit static thread_local std::uint32_t fsThreadId = 0;

void platform::ForgetThreadIdInChild() noexcept {
    fsThreadId = 0;
}

std::uint32_t platform::ThreadId() noexcept {
    if (fsThreadId == 0)
        fsThreadId = static_cast<std::uint32_t>(::gettid());
    return fsThreadId;
}

// The system is asked each time, because a forked child has another id.
std::uint32_t platform::ProcessId() noexcept {
    return static_cast<std::uint32_t>(::getpid());
}

bool platform::FindVariable(char const *name, std::string &value) {
    char const *const found = ::secure_getenv(name);
    if (found)
        value = found;
    return found != nullptr;
}

void platform::DebuggerOutput(char const *text) {
    TNoCancel const noCancel;
    ::syslog(LOG_USER | LOG_DEBUG, "%s", text);
}
