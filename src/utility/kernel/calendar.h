#ifndef TUZUTIL_CALENDAR
#define TUZUTIL_CALENDAR

// Arithmetic of the Gregorian calendar, for all years that a std::tm can hold. The functions take no locks and allocate
// nothing.

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace calendar {

inline constexpr int fsSecondsPerDay = 86400;
// The names that mail headers and MonthFromName() know, whatever the locale is.
inline constexpr char const *fsDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
inline constexpr char const *fsMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
// A std::tm can hold the years from about -2147 million to 2147 million. Times up to this many days from 1970 are well
// inside these years.
inline constexpr std::int64_t fsMostDays = 700'000'000'000;

// Returns the days from 1970-01-01 to the first day of a month of the Gregorian calendar. The month is counted from 0
// for January. Inside this function years begin in March, because the leap day is then the last day of a year. 400
// years have 146097 days.
constexpr std::int64_t DaysToMonth(std::int64_t year, int month) noexcept {
    std::int64_t const marchYear = month < 2 ? year - 1 : year;
    std::int64_t const era = (marchYear >= 0 ? marchYear : marchYear - 399) / 400;
    std::int64_t const yearOfEra = marchYear - era * 400;
    std::int64_t const dayOfYear = (153 * ((month + 10) % 12) + 2) / 5;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

// Converts a record of UTC to seconds. Normalises fields that are out of range. Unlike mktime(), applies no time zone,
// and accepts times before 1970 on every system.
constexpr std::int64_t TimeOf(std::tm const &record) noexcept {
    int const month = record.tm_mon % 12 + (record.tm_mon % 12 < 0 ? 12 : 0);
    std::int64_t const year = std::int64_t{1900} + record.tm_year + (std::int64_t{record.tm_mon} - month) / 12;
    std::int64_t const days = DaysToMonth(year, month) + record.tm_mday - 1;
    return days * fsSecondsPerDay + std::int64_t{record.tm_hour} * 3600 + std::int64_t{record.tm_min} * 60 +
           record.tm_sec;
}

// Returns 0 for Sunday to 6 for Saturday. 1970-01-01 was a Thursday.
constexpr int Weekday(std::int64_t days) noexcept {
    return static_cast<int>(((days + 4) % 7 + 7) % 7);
}

// Fills in the nine standard fields of a record, in UTC, and leaves all others as they are. If the time is further than
// fsMostDays from 1970, fills in the nearest time that is not further.
constexpr void FillRecord(std::int64_t time, std::tm &record) noexcept {
    std::int64_t const limited = std::clamp(time, -fsMostDays * fsSecondsPerDay, fsMostDays * fsSecondsPerDay);
    std::int64_t days = limited / fsSecondsPerDay;
    int second = static_cast<int>(limited % fsSecondsPerDay);
    if (second < 0) {
        second += fsSecondsPerDay;
        --days;
    }
    // The estimate is wrong by at most a year, because 400 years have exactly 146097 days.
    std::int64_t year = 1970 + days * 400 / 146097;
    while (DaysToMonth(year, 0) > days)
        --year;
    while (DaysToMonth(year + 1, 0) <= days)
        ++year;
    int month = 11;
    while (DaysToMonth(year, month) > days)
        --month;
    record.tm_year = static_cast<int>(year - 1900);
    record.tm_mon = month;
    record.tm_mday = static_cast<int>(days - DaysToMonth(year, month)) + 1;
    record.tm_yday = static_cast<int>(days - DaysToMonth(year, 0));
    record.tm_wday = Weekday(days);
    record.tm_hour = second / 3600;
    record.tm_min = second / 60 % 60;
    record.tm_sec = second % 60;
    record.tm_isdst = 0;
}

} // namespace calendar

#endif
