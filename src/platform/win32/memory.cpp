// Wiping memory. The system promises that the compiler keeps this call.

#include "platform/platform.h"

#include <windows.h>

void platform::SecureZero(void *memory, std::size_t count) noexcept {
    RtlSecureZeroMemory(memory, count);
}
