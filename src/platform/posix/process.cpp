#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/forks.h"

#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

// Of this thread, once it has been asked for: the system takes a tenth of the time of a trace record for it.
constinit static thread_local std::uint32_t fsThreadId = 0;

void posix::ForgetThreadIdInChild() noexcept {
    fsThreadId = 0;
}

std::uint32_t platform::ThreadId() noexcept {
    if (fsThreadId == 0)
        fsThreadId = static_cast<std::uint32_t>(::gettid());
    return fsThreadId;
}

// Asked for each time: a forked child has another.
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
