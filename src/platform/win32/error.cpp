// The system's code of the last error, which is GetLastError() and not errno, and the English texts of the system's
// error codes and the runtime's error numbers. The functions take no locks.

#include "platform/platform.h"

#include <stdio.h>
#include <string.h>
#include <windows.h>

std::uint32_t const platform::badArgument = ERROR_INVALID_PARAMETER;
std::uint32_t const platform::noMemory = ERROR_NOT_ENOUGH_MEMORY;

std::uint32_t platform::LastError() noexcept {
    return GetLastError();
}

void platform::SetLastError(std::uint32_t error) noexcept {
    ::SetLastError(error);
}

std::size_t platform::ErrorText(std::uint32_t error, char *text, std::size_t size) noexcept {
    char whole[512];
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                                  MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), whole, sizeof whole, nullptr);
    while (length && (whole[length - 1] == '\n' || whole[length - 1] == '\r'))
        --length;
    whole[length] = '\0';
    if (length)
        snprintf(text, size, "%s", whole);
    else
        snprintf(text, size, "Unknown error %u", static_cast<unsigned int>(error));
    return strlen(text);
}

char const *platform::RuntimeErrorText(int error) noexcept {
    return strerror(error);
}
