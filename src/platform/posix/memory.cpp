// Wipes memory that held a secret. A compiler may drop a memset() of memory that nobody reads afterwards; the C library
// promises that the compiler keeps this call. Takes no locks.

#include "platform/platform.h"

#include <string.h>

void platform::SecureZero(void *memory, std::size_t count) noexcept {
    ::explicit_bzero(memory, count);
}
