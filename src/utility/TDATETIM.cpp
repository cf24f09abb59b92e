// TDateTime: points in time as seconds of UTC in 32 bits, with calendar arithmetic of its own. The runtime's mktime()
// is not used: it applies historical offsets of the time zone, and on Windows refuses times before 1970. No lock is
// taken.

#include "tuzutil/TDATETIM.h"

#include "platform/platform.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/string_access.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int fsSecondsPerDay = 86400;
// QueryString() enlarges its buffer until the text fits, but at most to this multiple of its first size. No conversion
// makes that many bytes of one byte of the format. The limit is between the two sizes below, which are in bytes.
constexpr std::uint64_t fsMostGrowth = 64;
constexpr std::uint64_t fsLeastEnd = 0x10000;
constexpr std::uint64_t fsLastEnd = 0x10000000;

char const *const fsMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The last days of the months in common years and in leap years. Element 1 is for January. Days of the year are counted
// from 0. Element 0 is 0 instead of -1, so QueryTM() numbers the days of January from 0. Callers rely on that.
constexpr int fsLastDay[2][13] = {{0, 30, 58, 89, 119, 150, 180, 211, 242, 272, 303, 333, 364},
                                  {0, 30, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365}};

std::int32_t Clamp(std::int64_t value) noexcept {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}

// Returns the days from 1970-01-01 to the first day of a month of the Gregorian calendar. A year is taken to begin in
// March, so that the leap day is its last day. 400 years have 146097 days.
std::int64_t DaysToMonth(std::int64_t year, int month) noexcept {
    std::int64_t const marchYear = month < 2 ? year - 1 : year;
    std::int64_t const era = (marchYear >= 0 ? marchYear : marchYear - 399) / 400;
    std::int64_t const yearOfEra = marchYear - era * 400;
    std::int64_t const dayOfYear = (153 * ((month + 10) % 12) + 2) / 5;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

// Converts a record of UTC to seconds. Unlike mktime(), applies no time zone, and accepts times before 1970 on every
// system.
std::int32_t TimeFromRecord(std::tm const &record) noexcept {
    int const month = record.tm_mon % 12 + (record.tm_mon % 12 < 0 ? 12 : 0);
    std::int64_t const year = std::int64_t{1900} + record.tm_year + (std::int64_t{record.tm_mon} - month) / 12;
    std::int64_t const days = DaysToMonth(year, month) + record.tm_mday - 1;
    return Clamp(days * fsSecondsPerDay + std::int64_t{record.tm_hour} * 3600 + std::int64_t{record.tm_min} * 60 +
                 record.tm_sec);
}

} // namespace

TDateTime::TDateTime() : TDateTime(0, platform::TimeZone()) {
    fTime = Clamp(platform::CurrentTime());
}

TDateTime::TDateTime(long time, long timeZone) noexcept : fTime(Clamp(time)), fTimeZone(Clamp(timeZone)) {}

TDateTime::TDateTime(std::tm const &record, long timeZone) noexcept
    : fTime(TimeFromRecord(record)), fTimeZone(Clamp(timeZone)) {}

TDateTime &TDateTime::operator=(std::tm const &record) noexcept {
    fTime = TimeFromRecord(record);
    return *this;
}

TDateTime &TDateTime::operator=(long time) noexcept {
    fTime = Clamp(time);
    return *this;
}

void TDateTime::SetTimeZone(long timeZone) noexcept {
    fTimeZone = Clamp(timeZone);
}

std::tm TDateTime::QueryTM() const noexcept {
    std::tm record = {};
    if (fTime <= 0)
        return record;

    // Divides the time since 1970 into cycles of four years. The third year of each cycle (1972, 1976 and so on) is the
    // leap year.
    constexpr int fourYears = 1461 * fsSecondsPerDay;
    constexpr int yearStart[4] = {0, 31536000, 63072000, 94694400};
    int const inCycle = fTime % fourYears;
    int year = 3;
    while (inCycle < yearStart[year])
        --year;

    int const inYear = inCycle - yearStart[year];
    int const inDay = inYear % fsSecondsPerDay;
    record.tm_year = 70 + fTime / fourYears * 4 + year;
    record.tm_yday = inYear / fsSecondsPerDay;
    record.tm_hour = inDay / 3600;
    record.tm_min = inDay / 60 % 60;
    record.tm_sec = inDay % 60;
    record.tm_wday = (fTime / fsSecondsPerDay + 4) % 7;

    auto const &lastDay = fsLastDay[year == 2];
    int month = 1;
    while (lastDay[month] < record.tm_yday)
        ++month;
    record.tm_mon = month - 1;
    record.tm_mday = record.tm_yday - lastDay[month - 1];
    return record;
}

TString TDateTime::QueryString(char const *format) const {
    std::tm record;
    if (fTime < 0 || !platform::UtcRecord(fTime, record))
        return TString();
    if (!format)
        format = "%c";

    // A result of 0 means "buffer too small" or "empty text", so the search needs a limit.
    std::uint64_t const first = std::uint64_t{TString::lengthOf(format)} + 39;
    std::uint64_t const end = std::clamp(first * fsMostGrowth, fsLeastEnd, fsLastEnd);
    for (std::uint64_t limit = first;; limit *= 2) {
        TString text = TStringAccess::Uninitialized(limit);
        char *const data = text;
        std::size_t const used = platform::FormatTime(data, static_cast<std::size_t>(limit), format, record);
        if (used != 0 || limit >= end) {
            data[used] = 0; // the content is undefined after a failed call
            TStringAccess::Truncate(text, static_cast<unsigned int>(std::strlen(data)));
            return text;
        }
    }
}

int TDateTime::MonthFromName(char const *name) noexcept {
    for (int month = 0; name && month < 12; ++month) {
        if (ascii_names::IsEqual(name, fsMonths[month]))
            return month;
    }
    return -1;
}
