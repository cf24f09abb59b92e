#include "platform/platform.h"

#include "utility/NOCANCEL.h"

#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

// Asked for each time: a forked child has others.
std::uint32_t platform::ThreadId() noexcept {
    return static_cast<std::uint32_t>(::gettid());
}

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
