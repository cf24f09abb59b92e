// Wipes memory that held a secret. A compiler may drop a memset() of memory that nobody reads afterwards, but not a
// call of explicit_bzero(). The function takes no locks.

#include "platform/platform.h"

#include <string.h>

void platform::SecureZero(void *memory, std::size_t count) noexcept {
    ::explicit_bzero(memory, count);
}
