// The habits of this system's printf family, and the printing of reals, which is left to it. It reads the current
// locale and takes no lock of ours.

#include "platform/platform.h"

#include <stdio.h>

platform::TPrintfHabits const platform::printfHabits = {true, false, true, false};

std::size_t platform::FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                                 double value) noexcept {
    int const count = ::snprintf(buffer, size, format, width, precision, value);
    return count > 0 && static_cast<std::size_t>(count) < size ? static_cast<std::size_t>(count) : 0;
}
