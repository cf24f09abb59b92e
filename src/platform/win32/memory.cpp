// Wipes memory that held a secret. A compiler may drop a memset() of memory that nobody reads afterwards, but not a
// call of RtlSecureZeroMemory(). The function takes no locks.

#include "platform/platform.h"

#include <windows.h>

void platform::SecureZero(void *memory, std::size_t count) noexcept {
    RtlSecureZeroMemory(memory, count);
}
