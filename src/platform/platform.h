#ifndef TUZUTIL_PLATFORM_H
#define TUZUTIL_PLATFORM_H

// platform.h: all that the library needs of an operating system. win32/ and posix/ define it, one subject per file,
// under the same file names. A port to another system writes these functions.

#include <cstddef>

namespace platform {

// Zeroes memory in a way that the compiler cannot remove. Never fails, never blocks.
void SecureZero(void *memory, std::size_t count) noexcept;

} // namespace platform

#endif
