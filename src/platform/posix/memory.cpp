// Wiping memory. The C library promises that the compiler keeps this call.

#include "platform/platform.h"

#include <string.h>

void platform::SecureZero(void *memory, std::size_t count) noexcept {
    ::explicit_bzero(memory, count);
}
