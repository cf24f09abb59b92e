// Tells how this system's printf functions behave, and prints reals with one of these functions. The text of a real
// depends on the current locale. The functions take no lock of this library.

#include "platform/platform.h"

#include <stdio.h>

platform::TPrintfHabits const platform::printfHabits = {false, true, false, true, false};

std::size_t platform::FormatReal(char *buffer, std::size_t size, char const *format, int width, int precision,
                                 double value) noexcept {
    // snprintf() belongs to the compiler's library. Only _snprintf() prints as the system does: three digits of
    // exponent, and "1.#INF00" for infinity.
    int const count = _snprintf(buffer, size, format, width, precision, value);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}
