#ifndef TUZUTIL_TDATETIM_H
#define TUZUTIL_TDATETIM_H

// TDateTime: a point in time, seconds since 1970 together with a time-zone offset.
//
// Example:
//     std::tm record = {};
//     record.tm_year = 96, record.tm_mon = TDateTime::MonthFromName("feb"), record.tm_mday = 29;
//     TDateTime leapDay(record, -3600);                  // the fields are UTC; the zone is kept beside them
//     long seconds = leapDay.QueryTime();                // 825552000
//     TString day = leapDay.QueryString("%d.%m.%Y");     // "29.02.1996"
//
// Ownership:  a value; nothing is borrowed.
// Threads:    different objects may be used concurrently.
// Failures:   none. A time that 32 bits cannot hold becomes the nearest one that they can. QueryString() answers a null
//             string for a time before 1970, a nil string where the format expands to nothing or to more than 64 KiB.
// Surprises:  the zone is seconds *west* of UTC and never applied, not by QueryString(), nor when comparing. QueryTM()
//             numbers the days of January from 0 and those of all other months from 1, and is all zeros for a time of
//             0 or less: it is kept so for its callers; use QueryString() for dates that people or programs read. Names
//             of days and months in QueryString() are the current locale's, so mail headers need a table of their own.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <ctime>

// Placeholders without content, so that a tagged value can be a date or a time.
class TUZUTIL_API TDate {};
class TUZUTIL_API TTime {};

class TUZUTIL_API TDateTime {
public:
    TDateTime(); // now, and the zone of the process
    TDateTime(long time, long timeZone) noexcept;
    // The record's fields are read as UTC; fields out of range are normalised, its daylight-saving field is ignored.
    TDateTime(std::tm const &record, long timeZone) noexcept;
    TDateTime(TDateTime const &) = default;
    TDateTime &operator=(TDateTime const &) = default;
    ~TDateTime() = default;

    // These leave the zone alone.
    TDateTime &operator=(std::tm const &record) noexcept;
    TDateTime &operator=(long time) noexcept;

    long QueryTime() const noexcept { return fTime; }
    long QueryTimeZone() const noexcept { return fTimeZone; }
    void SetTimeZone(long timeZone) noexcept;

    int IsEqual(TDateTime const &other) const noexcept { return fTime == other.fTime; } // zones are not compared
    int IsLessThan(TDateTime const &other) const noexcept { return fTime < other.fTime; }

    std::tm QueryTM() const noexcept; // see Surprises
    // The time in UTC by a format of strftime; null means "%c".
    TString QueryString(char const *format) const;

    // 0 for "Jan" to 11 for "Dec", in any letter case; -1 for every other text.
    static int MonthFromName(char const *name) noexcept;

private:
    std::int32_t fTime;     // seconds since 1970-01-01 00:00:00 UTC
    std::int32_t fTimeZone; // seconds west of UTC
};

#endif
