// The ids of this thread and process, the variables of the environment, and the channel to the debugger. The functions
// take no lock of this library.

#include "platform/platform.h"

#include <stdlib.h>
#include <windows.h>

namespace {

constexpr std::size_t fsLongestOutput = 4000; // bytes; the channel to the debugger holds little more

} // namespace

std::uint32_t platform::ThreadId() noexcept {
    return GetCurrentThreadId();
}

std::uint32_t platform::ProcessId() noexcept {
    return GetCurrentProcessId();
}

bool platform::FindVariable(char const *name, std::string &value) {
    // The runtime's copy of the environment comes first. The system is asked next, because the copy lacks variables
    // that other code has set in the system's environment.
    if (char const *const found = getenv(name)) {
        value = found;
        return true;
    }
    SetLastError(ERROR_SUCCESS);
    DWORD size = GetEnvironmentVariableA(name, nullptr, 0);
    while (size != 0) {
        value.resize(size);
        DWORD const length = GetEnvironmentVariableA(name, value.data(), size);
        if (length < size) {
            value.resize(length);
            return length != 0 || GetLastError() != ERROR_ENVVAR_NOT_FOUND;
        }
        size = length; // another thread has set a longer value
    }
    return false;
}

void platform::DebuggerOutput(char const *text) {
    std::string const whole(text);
    for (std::size_t at = 0; at < whole.size(); at += fsLongestOutput)
        OutputDebugStringA(whole.substr(at, fsLongestOutput).c_str());
}
