#ifndef TUZUTIL_TDATETIM_H
#define TUZUTIL_TDATETIM_H

// TDateTime: a point in time, in seconds since 1970, together with a time-zone offset.
//
// Example:
//     std::tm record = {};
//     record.tm_year = 96, record.tm_mon = TDateTime::MonthFromName("feb"), record.tm_mday = 29;
//     TDateTime leapDay(record, -3600);                  // the fields are UTC; the zone is kept beside them
//     long seconds = leapDay.QueryTime();                // 825552000
//     TString day = leapDay.QueryString("%d.%m.%Y");     // "29.02.1996"
//
// Ownership:  A TDateTime is a plain value and borrows nothing.
// Threads:    Different objects may be used concurrently.
// Failures:   Only QueryString() can fail; it throws TOutOfMemory. A time that does not fit in 32 bits becomes the
//             nearest one that does.
// Surprises:
// - The zone is in seconds *west* of UTC. Neither QueryString() nor comparisons apply it.
// - QueryTM() numbers days unlike the C library, see there. Use QueryString() for dates that people or programs read.
// - QueryString() takes the names of days and months from the current locale. Mail headers need English names, so take
//   these from a table.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <ctime>

// Empty classes, so that a TagVar can have the kind date or time.
class TUZUTIL_API TDate {};
class TUZUTIL_API TTime {};

class TUZUTIL_API TDateTime {
public:
    TDateTime(); // now, and the zone of the process
    TDateTime(long time, long timeZone) noexcept;
    // Reads the fields of the record as UTC. Normalises fields that are out of range, and ignores the daylight-saving
    // field.
    TDateTime(std::tm const &record, long timeZone) noexcept;
    TDateTime(TDateTime const &) = default;
    TDateTime &operator=(TDateTime const &) = default;
    ~TDateTime() = default;

    // The assignments change only the time, not the zone.
    TDateTime &operator=(std::tm const &record) noexcept;
    TDateTime &operator=(long time) noexcept;

    long QueryTime() const noexcept { return fTime; }
    long QueryTimeZone() const noexcept { return fTimeZone; }
    void SetTimeZone(long timeZone) noexcept;

    int IsEqual(TDateTime const &other) const noexcept { return fTime == other.fTime; } // zones are not compared
    int IsLessThan(TDateTime const &other) const noexcept { return fTime < other.fTime; }

    // Numbers the days of January from 0, and those of all other months from 1. Callers rely on this. For a time of 0
    // or less, all fields are 0.
    std::tm QueryTM() const noexcept;
    // Returns the time in UTC by a format of strftime; null means "%c". Returns a null string for a time before 1970.
    // Returns an empty string if the text is empty or too long. At least 64 KiB fit, or 64 times the length of the
    // format if that is more (at most 256 MiB).
    TString QueryString(char const *format) const;

    // Returns 0 for "Jan" to 11 for "Dec", in any letter case, and -1 for every other text.
    static int MonthFromName(char const *name) noexcept;

private:
    std::int32_t fTime;     // seconds since 1970-01-01 00:00:00 UTC
    std::int32_t fTimeZone; // seconds west of UTC
};

#endif
