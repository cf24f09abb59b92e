#ifndef TUZUTIL_PLATFORM_H
#define TUZUTIL_PLATFORM_H

// platform.h: all that the library needs of an operating system. win32/ and posix/ define it, one subject per file,
// under the same file names. A port to another system writes these functions.

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace platform {

// Zeroes memory in a way that the compiler cannot remove. Never fails, never blocks.
void SecureZero(void *memory, std::size_t count) noexcept;

// Seconds since 1970-01-01 00:00:00 UTC. Never fails, never blocks.
std::int64_t CurrentTime() noexcept;

// The process's time zone, without daylight saving, in seconds west of UTC. Reads the environment on first use.
long TimeZone() noexcept;

// Fills in the UTC calendar record of a time. False where the system cannot convert it; the record is then undefined.
bool UtcRecord(std::int64_t time, std::tm &record) noexcept;

// Writes a record by a format of C99's strftime, in the current locale, with a terminating zero. Returns the bytes
// without it, at most size - 1; 0 where the text does not fit, is empty, or cannot be made: the content is then
// undefined. A conversion that does not exist stands for itself. REQUIRES: size is at least 1.
std::size_t FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept;

} // namespace platform

#endif
