// The error number of the last call that failed, which is errno on this system, and the texts of error numbers. The
// texts are English in every locale. The functions take no locks.

#include "platform/platform.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

std::uint32_t const platform::badArgument = EINVAL;
std::uint32_t const platform::noMemory = ENOMEM;

std::uint32_t platform::LastError() noexcept {
    return static_cast<std::uint32_t>(errno);
}

void platform::SetLastError(std::uint32_t error) noexcept {
    errno = static_cast<int>(error);
}

std::size_t platform::ErrorText(std::uint32_t error, char *text, std::size_t size) noexcept {
    // strerror() would return a text in the language of the locale.
    char const *const known = ::strerrordesc_np(static_cast<int>(error));
    if (known)
        ::snprintf(text, size, "%s", known);
    else
        ::snprintf(text, size, "Unknown error %u", static_cast<unsigned int>(error));
    return ::strlen(text);
}

char const *platform::RuntimeErrorText(int error) noexcept {
    char const *const text = ::strerrordesc_np(error);
    return text ? text : "Unknown error";
}
