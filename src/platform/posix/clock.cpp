// The time of day, and calendar records. Each thread keeps the last local time that it converted. Takes no lock of
// ours; the C library takes one for the time zone.

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

platform::TLocalTime platform::LocalTime() noexcept {
    // Converting is expensive, so the record is kept until the next second begins.
    static thread_local std::time_t knownTime = -1;
    static thread_local TLocalTime known;
    timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != knownTime) {
        std::tm record{};
        ::localtime_r(&now.tv_sec, &record);
        auto const part = [](int number) { return static_cast<unsigned int>(number); };
        known = {part(record.tm_mon + 1), part(record.tm_mday), part(record.tm_hour),
                 part(record.tm_min),     part(record.tm_sec),  0};
        knownTime = now.tv_sec;
    }
    known.millisecond = static_cast<unsigned int>(now.tv_nsec / 1'000'000);
    return known;
}

std::size_t platform::FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept {
    return ::strftime(buffer, size, format, &record);
}
