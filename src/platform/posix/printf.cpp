// Tells how this system's printf functions behave, and prints reals with one of these functions. The text of a real
// depends on the current locale. The functions take no lock of this library.

#include "platform/platform.h"

#include <stdio.h>

platform::TPrintfHabits const platform::printfHabits = {true, false, true, false, true};

std::size_t platform::FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                                 double value) noexcept {
    int const count = ::snprintf(buffer, size, format, width, precision, value);
    // No test gets here: the callers give room for every number, and the call fails only for texts of 2 GiB.
    return count > 0 && static_cast<std::size_t>(count) < size ? static_cast<std::size_t>(count) : 0;
}
