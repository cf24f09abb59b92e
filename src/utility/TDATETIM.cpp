// TDateTime and TDateTime64: points in time as seconds of UTC, with calendar arithmetic of their own. The runtime's
// mktime() is not used: it applies historical offsets of the time zone, and on Windows refuses times before 1970. This
// source has no lock.

#include "tuzutil/TDATETIM.h"

#include "platform/platform.h"
#include "utility/kernel/ascii_names.h"
#include "utility/kernel/calendar.h"
#include "utility/kernel/mail_date.h"
#include "utility/kernel/string_access.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

// QueryString() doubles its buffer until the text fits, or until the buffer has `end` bytes or more. `end` is
// fsMostGrowth times the first size of the buffer, but at least fsLeastEnd and at most fsLastEnd bytes.
constexpr std::uint64_t fsMostGrowth = 64;
constexpr std::uint64_t fsLeastEnd = 0x10000;
constexpr std::uint64_t fsLastEnd = 0x10000000;

// The last days of the months in common years and in leap years, as days of the year, counted from 0. Element 1 is for
// January. QueryTM() subtracts the last day of the previous month. For January it subtracts element 0, which is 0 and
// not -1, so the days of January are numbered from 0, as TDATETIM.h says.
constexpr int fsLastDay[2][13] = {{0, 30, 58, 89, 119, 150, 180, 211, 242, 272, 303, 333, 364},
                                  {0, 30, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365}};

std::int32_t Clamp(std::int64_t value) noexcept {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}

// Converts a record of UTC to seconds in 32 bits.
std::int32_t TimeFromRecord(std::tm const &record) noexcept {
    return Clamp(calendar::TimeOf(record));
}

// Formats a record of UTC. A null format means "%c".
TString Format(std::tm const &record, char const *format) {
    if (!format)
        format = "%c";

    // A result of 0 means "buffer too small" or "empty text", so the growth of the buffer needs a limit.
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
    constexpr int fourYears = 1461 * calendar::fsSecondsPerDay;
    constexpr int yearStart[4] = {0, 31536000, 63072000, 94694400};
    int const inCycle = fTime % fourYears;
    int year = 3;
    while (inCycle < yearStart[year])
        --year;

    int const inYear = inCycle - yearStart[year];
    int const inDay = inYear % calendar::fsSecondsPerDay;
    record.tm_year = 70 + fTime / fourYears * 4 + year;
    record.tm_yday = inYear / calendar::fsSecondsPerDay;
    record.tm_hour = inDay / 3600;
    record.tm_min = inDay / 60 % 60;
    record.tm_sec = inDay % 60;
    record.tm_wday = (fTime / calendar::fsSecondsPerDay + 4) % 7;

    auto const &lastDay = fsLastDay[year == 2];
    int month = 1;
    while (lastDay[month] < record.tm_yday)
        ++month;
    record.tm_mon = month - 1;
    record.tm_mday = record.tm_yday - lastDay[month - 1];
    return record;
}

std::tm TDateTime::QueryCalendar() const noexcept {
    return TDateTime64(*this).QueryCalendar();
}

TString TDateTime::QueryString(char const *format) const {
    std::tm record;
    // No test gets here: the system converts each time that the object can hold.
    if (fTime < 0 || !platform::UtcRecord(fTime, record))
        return TString();
    return Format(record, format);
}

int TDateTime::MonthFromName(char const *name) noexcept {
    for (int month = 0; name && month < 12; ++month) {
        if (ascii_names::IsEqual(name, calendar::fsMonthNames[month]))
            return month;
    }
    return -1;
}

TDateTime64::TDateTime64() : fTime(platform::CurrentTime()), fTimeZone(platform::LocalZone() * -60) {}

TDateTime64::TDateTime64(std::tm const &record, std::int32_t timeZone) noexcept
    : fTime(calendar::TimeOf(record)), fTimeZone(timeZone) {}

TDateTime TDateTime64::QueryDateTime() const noexcept {
    return TDateTime(Clamp(fTime), fTimeZone);
}

std::tm TDateTime64::QueryCalendar() const noexcept {
    std::tm record = {};
    calendar::FillRecord(fTime, record);
    return record;
}

std::tm TDateTime64::QueryLocalCalendar() const noexcept {
    std::int64_t const end = INT64_MAX / 2; // beyond the limits of FillRecord()
    std::tm record = {};
    calendar::FillRecord(std::clamp(fTime, -end, end) - fTimeZone, record);
    return record;
}

// On some systems, std::tm has further members, which name the zone. So platform::UtcRecord() fills the record first.
// FillRecord() then replaces the standard fields.
TString TDateTime64::QueryString(char const *format) const {
    std::tm record;
    // No test gets here: the system converts the time 0.
    if (!platform::UtcRecord(0, record))
        return TString();
    calendar::FillRecord(fTime, record);
    if (record.tm_year < 0 || record.tm_year > 9999 - 1900) // older runtimes end the process for such years
        return TString();
    return Format(record, format);
}

TString TDateTime64::QueryMailDate() const {
    char text[fsMailDateSize];
    std::size_t const length = WriteMailDate({fTime, fTimeZone}, text);
    return length == 0 ? TString() : TString(static_cast<char const *>(text));
}

bool TDateTime64::ReadMailDate(char const *text, std::size_t length, TDateTime64 &date, unsigned int *fault) noexcept {
    TMailDate read{};
    std::size_t const position = ::ReadMailDate(text, length, read);
    if (fault)
        *fault = static_cast<unsigned int>(std::min<std::size_t>(position, UINT_MAX));
    if (position == 0)
        date = TDateTime64(read.time, read.timeZone);
    return position == 0;
}
