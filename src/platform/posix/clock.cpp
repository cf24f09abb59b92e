#include "platform/platform.h"

#include <time.h>

std::int64_t platform::CurrentTime() noexcept {
    return ::time(nullptr);
}

long platform::TimeZone() noexcept {
    static bool const ready = (::tzset(), true);
    static_cast<void>(ready);
    return ::timezone;
}

bool platform::UtcRecord(std::int64_t time, std::tm &record) noexcept {
    return ::gmtime_r(&time, &record) != nullptr;
}

std::size_t platform::FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept {
    return ::strftime(buffer, size, format, &record);
}
