// The time of day and calendar records. The runtime's strftime() does not know the conversions of C99, so formats are
// rewritten for it first. The functions take no lock of this library, but the runtime takes one for the time zone.

#include "platform/platform.h"

#include <new>
#include <stdio.h>
#include <string.h>
#include <string>
#include <windows.h>

namespace {

// The year and the week of ISO 8601: week 1 is the week with the first Thursday of the year.
struct TIsoWeek {
    explicit TIsoWeek(std::tm const &record) noexcept : year(record.tm_year + 1900) {
        // The day of the year, from 0, of this week's Thursday. That Thursday may be in the previous or the next year.
        int const thursday = record.tm_yday - (record.tm_wday + 6) % 7 + 3;
        if (thursday < 0)
            week = (thursday + DaysOf(--year)) / 7 + 1;
        else if (thursday >= DaysOf(year))
            week = (thursday - DaysOf(year++)) / 7 + 1;
        else
            week = thursday / 7 + 1;
    }

    static int DaysOf(int aYear) noexcept {
        return aYear % 4 == 0 && (aYear % 100 != 0 || aYear % 400 == 0) ? 366 : 365;
    }

    int year;
    int week = 0;
};

void AppendNumber(std::string &to, char const *format, int number) {
    char digits[16];
    snprintf(digits, sizeof digits, format, number);
    to += digits;
}

// Returns whether a conversion is passed to the runtime's strftime() as it is.
bool IsClassic(char conversion) noexcept {
    return conversion != '\0' && strchr("aAbBcdHIjmMpSUwWxXyY%", conversion);
}

// Returns whether AppendConversion() replaces a conversion.
bool IsNewer(char conversion) noexcept {
    return conversion != '\0' && strchr("CDeFgGhnrRtTuVzZ", conversion);
}

// Appends a conversion in a form that the runtime's strftime() knows. An unknown conversion becomes literal text,
// because it could make the runtime end the process.
void AppendConversion(std::string &to, char conversion, std::tm const &record) {
    switch (conversion) {
    case 'C': return AppendNumber(to, "%02d", (record.tm_year + 1900) / 100);
    case 'D': to += "%m/%d/%y"; return;
    case 'e': return AppendNumber(to, "%2d", record.tm_mday);
    case 'F': to += "%Y-%m-%d"; return;
    case 'g': return AppendNumber(to, "%02d", TIsoWeek(record).year % 100);
    case 'G': return AppendNumber(to, "%d", TIsoWeek(record).year);
    case 'h': to += "%b"; return;
    case 'n': to += '\n'; return;
    case 'r': to += "%I:%M:%S %p"; return;
    case 'R': to += "%H:%M"; return;
    case 't': to += '\t'; return;
    case 'T': to += "%H:%M:%S"; return;
    case 'u': return AppendNumber(to, "%d", (record.tm_wday + 6) % 7 + 1);
    case 'V': return AppendNumber(to, "%02d", TIsoWeek(record).week);
    case 'z': to += "+0000"; return;
    case 'Z': to += "GMT"; return;
    default: to += IsClassic(conversion) ? "%" : "%%"; to += conversion;
    }
}

std::string ClassicFormat(char const *format, std::tm const &record) {
    std::string result;
    while (*format) {
        if (*format != '%') {
            result += *format++;
            continue;
        }
        ++format;
        if ((*format == 'E' || *format == 'O') && format[1])
            ++format; // E and O ask for alternative forms, which the runtime does not have
        // The runtime's flag "#" asks for long forms, and for numbers without leading zeros.
        if (*format == '#' && IsClassic(format[1])) {
            result.append("%#").push_back(format[1]);
            format += 2;
            continue;
        }
        if (*format == '#' && IsNewer(format[1]))
            ++format; // the flag is dropped: conversions that AppendConversion() replaces have no such forms
        if (*format == '\0')
            result += "%%";
        else
            AppendConversion(result, *format++, record);
    }
    return result;
}

} // namespace

std::int64_t platform::CurrentTime() noexcept {
    // This call is much faster than time(), and is correct after 2038.
    FILETIME ticks;
    GetSystemTimeAsFileTime(&ticks);
    std::int64_t const since1601 = (std::int64_t{ticks.dwHighDateTime} << 32) | ticks.dwLowDateTime;
    return since1601 / 10'000'000 - 11'644'473'600;
}

std::int64_t platform::SteadyTime() noexcept {
    LARGE_INTEGER ticks;
    LARGE_INTEGER perSecond;
    QueryPerformanceCounter(&ticks);
    QueryPerformanceFrequency(&perSecond);
    // The product of all ticks and the nanoseconds of a second may not fit in 64 bits, so whole seconds and the rest
    // are converted separately.
    return ticks.QuadPart / perSecond.QuadPart * 1'000'000'000 +
           ticks.QuadPart % perSecond.QuadPart * 1'000'000'000 / perSecond.QuadPart;
}

long platform::TimeZone() noexcept {
    // Before _tzset() is called, _timezone stands for eight hours west of UTC, wherever the process runs.
    // No test gets here: two threads would have to ask for the zone first in one moment.
    static bool const ready = (_tzset(), true);
    static_cast<void>(ready);
    return _timezone;
}

bool platform::UtcRecord(std::int64_t time, std::tm &record) noexcept {
    std::tm const *const converted = _gmtime64(&time); // the runtime has one record for each thread
    if (converted)
        record = *converted;
    return converted != nullptr;
}

platform::TLocalTime platform::LocalTime() noexcept {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return {now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds, now.wYear};
}

int platform::LocalZone() noexcept {
    TIME_ZONE_INFORMATION zone;
    LONG bias = 0; // in minutes: UTC is the local time plus the bias
    switch (GetTimeZoneInformation(&zone)) {
    case TIME_ZONE_ID_STANDARD: bias = zone.Bias + zone.StandardBias; break;
    case TIME_ZONE_ID_DAYLIGHT: bias = zone.Bias + zone.DaylightBias; break;
    case TIME_ZONE_ID_UNKNOWN: bias = zone.Bias; break;
    default: break;
    }
    return static_cast<int>(-bias);
}

std::size_t platform::FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept {
    try {
        return std::strftime(buffer, size, ClassicFormat(format, record).c_str(), &record);
    } catch (std::bad_alloc const &) {
        return 0;
    }
}
