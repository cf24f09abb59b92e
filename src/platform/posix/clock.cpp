// The time of day, and calendar records. Each thread keeps the last local time that it converted. The functions take no
// lock of this library, but the C library takes a lock for the time zone.

#include "platform/platform.h"

#include <time.h>

std::int64_t platform::CurrentTime() noexcept {
    return ::time(nullptr);
}

std::int64_t platform::SteadyTime() noexcept {
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

long platform::TimeZone() noexcept {
    // No test gets here: two threads would have to ask for the zone first in one moment.
    static bool const ready = (::tzset(), true);
    static_cast<void>(ready);
    return ::timezone;
}

bool platform::UtcRecord(std::int64_t time, std::tm &record) noexcept {
    return ::gmtime_r(&time, &record) != nullptr;
}

platform::TLocalTime platform::LocalTime() noexcept {
    // Converting is expensive, so the record is kept until the next second begins. The following objects are allocated
    // when a thread starts, so accessing them needs no call.
    [[gnu::tls_model("initial-exec")]] static constinit thread_local std::time_t knownTime = -1;
    [[gnu::tls_model("initial-exec")]] static constinit thread_local TLocalTime known{};
    timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != knownTime) {
        std::tm record{};
        ::localtime_r(&now.tv_sec, &record);
        auto const part = [](int number) { return static_cast<unsigned int>(number); };
        known.month = part(record.tm_mon + 1);
        known.day = part(record.tm_mday);
        known.hour = part(record.tm_hour);
        known.minute = part(record.tm_min);
        known.second = part(record.tm_sec);
        known.year = part(record.tm_year + 1900);
        knownTime = now.tv_sec;
    }
    known.millisecond = static_cast<unsigned int>(now.tv_nsec / 1'000'000);
    return known;
}

int platform::LocalZone() noexcept {
    std::time_t const now = ::time(nullptr);
    std::tm record{};
    ::localtime_r(&now, &record);
    return static_cast<int>(record.tm_gmtoff / 60);
}

std::size_t platform::FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept {
    return ::strftime(buffer, size, format, &record);
}
