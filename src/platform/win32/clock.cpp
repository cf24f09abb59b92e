#include "platform/platform.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

namespace {

// Year and week by the rule that week 1 is the one with the year's first Thursday.
struct TIsoWeek {
    explicit TIsoWeek(std::tm const &record) noexcept : year(record.tm_year + 1900) {
        int const thursday = record.tm_yday - (record.tm_wday + 6) % 7 + 3; // of the same week, as day of the year
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
    std::snprintf(digits, sizeof digits, format, number);
    to += digits;
}

// What the runtime's own strftime converts.
bool IsClassic(char conversion) noexcept {
    return conversion != '\0' && std::strchr("aAbBcdHIjmMpSUwWxXyY%", conversion);
}

// What C99 has beyond that.
bool IsNewer(char conversion) noexcept {
    return conversion != '\0' && std::strchr("CDeFgGhnrRtTuVzZ", conversion);
}

// Appends what the runtime's own strftime, which is older than C99, understands in place of a conversion.
// An unknown one, which the runtime would answer by ending the process, becomes literal text.
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
            ++format; // the alternative forms are those of the locale; the runtime knows none
        // The runtime's own flag: long forms, and numbers without zeros in front.
        if (*format == '#' && IsClassic(format[1])) {
            result.append("%#").push_back(format[1]);
            format += 2;
            continue;
        }
        if (*format == '#' && IsNewer(format[1]))
            ++format; // as runtimes do that know the conversion
        if (*format == '\0')
            result += "%%";
        else
            AppendConversion(result, *format++, record);
    }
    return result;
}

} // namespace

std::int64_t platform::CurrentTime() noexcept {
    // Much faster than time(), and beyond 2038.
    FILETIME ticks;
    GetSystemTimeAsFileTime(&ticks);
    std::int64_t const since1601 = (std::int64_t{ticks.dwHighDateTime} << 32) | ticks.dwLowDateTime;
    return since1601 / 10'000'000 - 11'644'473'600;
}

long platform::TimeZone() noexcept {
    // Before the first call the runtime holds eight hours.
    static bool const ready = (_tzset(), true);
    static_cast<void>(ready);
    return _timezone;
}

bool platform::UtcRecord(std::int64_t time, std::tm &record) noexcept {
    std::tm const *const converted = _gmtime64(&time); // the calling thread's own record
    if (converted)
        record = *converted;
    return converted != nullptr;
}

platform::TLocalTime platform::LocalTime() noexcept {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return {now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

std::size_t platform::FormatTime(char *buffer, std::size_t size, char const *format, std::tm const &record) noexcept {
    try {
        return std::strftime(buffer, size, ClassicFormat(format, record).c_str(), &record);
    } catch (std::bad_alloc const &) {
        return 0;
    }
}
