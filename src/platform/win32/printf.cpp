#include "platform/platform.h"

#include <cstdio>

platform::TPrintfHabits const platform::printfHabits = {false, true, false, true};

std::size_t platform::FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                                 double value) noexcept {
    // The system's runtime and not the compiler's: three digits of exponent, "1.#INF00".
    int const count = _snprintf(buffer, size, format, width, precision, value);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}
