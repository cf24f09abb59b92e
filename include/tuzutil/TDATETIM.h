#ifndef TUZUTIL_TDATETIM_H
#define TUZUTIL_TDATETIM_H

// TDateTime: a point in time, in seconds since 1970, together with a time-zone offset. TDateTime64: the same for all
// years, with the dates of mail headers.
//
// Example:
//     TDateTime64 sent;
//     unsigned int fault = 0; // the position of the first fault, if there is one
//     if (TDateTime64::FromMailDate("Fri, 21 Nov 1997 09:55:06 -0600", sent, &fault)) {
//         std::int64_t seconds = sent.QueryTime();       // 880127706
//         TString day = sent.QueryString("%d.%m.%Y %H"); // "21.11.1997 15", in UTC
//         TString again = sent.QueryMailDate();          // "Fri, 21 Nov 1997 09:55:06 -0600"
//     }
//     TString date = TDateTime64().QueryMailDate(); // now, for the header Date of a new mail
//
// Ownership:  Both classes are plain values and borrow nothing.
// Threads:    Different objects may be used concurrently.
// Failures:   QueryString() and QueryMailDate() throw TOutOfMemory if there is no memory for the text. A time that does
//             not fit in the 32 bits of a TDateTime becomes the nearest one that does.
// Surprises:
// - The zone is in seconds *west* of UTC. Neither QueryString() nor comparisons apply it.
// - QueryTM() numbers days unlike the C library, see its comment. QueryCalendar() numbers days as the C library does.
// - QueryString() takes the names of days and months from the current locale. QueryMailDate() writes English names.
class TDateTime;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string_view>
#include <type_traits>

// These classes are empty. A TagVar that is made of one of them has the kind date or time.
class TUZUTIL_API TDate {};
class TUZUTIL_API TTime {};

class TUZUTIL_API TDateTime {
public:
    TDateTime();                                  // now, and the zone of the process
    TDateTime(long time, long timeZone) noexcept; // a value beyond 32 bits becomes the nearest one
    // Reads the fields of the record as UTC. Normalises fields that are out of range, and ignores the daylight-saving
    // field.
    TDateTime(std::tm const &record, long timeZone) noexcept;
    TDateTime(TDateTime const &) = default;
    TDateTime &operator=(TDateTime const &) = default;
    ~TDateTime() = default;

    // These assignments change only the time, not the zone.
    TDateTime &operator=(std::tm const &record) noexcept;
    TDateTime &operator=(long time) noexcept;

    long QueryTime() const noexcept { return fTime; }         // seconds since 1970-01-01 00:00:00 UTC
    long QueryTimeZone() const noexcept { return fTimeZone; } // seconds west of UTC
    void SetTimeZone(long timeZone) noexcept;                 // does not change the time

    // These functions return 1 or 0. They do not compare the zones.
    int IsEqual(TDateTime const &other) const noexcept { return fTime == other.fTime; }
    int IsLessThan(TDateTime const &other) const noexcept { return fTime < other.fTime; }

    // Returns the calendar record in UTC. Days of the month are 1 to 31, as in the C library.
    std::tm QueryCalendar() const noexcept;
    // Numbers the days of January from 0, and those of all other months from 1. Callers rely on this. For a time of 0
    // or less, all fields are 0.
    std::tm QueryTM() const noexcept;
    // Returns the time in UTC by a format of strftime; null means "%c". Returns a null string for a time before 1970.
    // Returns an empty string if the text is empty or too long. A text of less than 64 KiB is never too long.
    TString QueryString(char const *format) const;

    // Returns 0 for "Jan" to 11 for "Dec", in any letter case, and -1 for every other text.
    static int MonthFromName(char const *name) noexcept;

private:
    std::int32_t fTime;     // seconds since 1970-01-01 00:00:00 UTC
    std::int32_t fTimeZone; // seconds west of UTC
};

// A point in time with 64 bits, together with a time-zone offset.
class TUZUTIL_API TDateTime64 {
public:
    // A time of the system's clock, in whole seconds.
    using TTimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::seconds>;

    TDateTime64(); // now, and the offset that the process's time zone has now, with daylight saving
    // Takes seconds since 1970-01-01 00:00:00 UTC, and seconds west of UTC.
    explicit TDateTime64(std::int64_t time, std::int32_t timeZone = 0) noexcept : fTime(time), fTimeZone(timeZone) {}
    // Takes the time and the zone.
    TDateTime64(TDateTime const &other) noexcept
        : fTime(other.QueryTime()), fTimeZone(static_cast<std::int32_t>(other.QueryTimeZone())) {}
    // Reads the fields of the record as UTC, as TDateTime does.
    explicit TDateTime64(std::tm const &record, std::int32_t timeZone = 0) noexcept;
    // Rounds down to seconds.
    template <typename Duration>
    explicit TDateTime64(std::chrono::time_point<std::chrono::system_clock, Duration> const &time,
                         std::int32_t timeZone = 0)
        : TDateTime64(std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count(), timeZone) {}

    std::int64_t QueryTime() const noexcept { return fTime; }                  // seconds since 1970-01-01 00:00:00 UTC
    std::int32_t QueryTimeZone() const noexcept { return fTimeZone; }          // seconds west of UTC
    void SetTimeZone(std::int32_t timeZone) noexcept { fTimeZone = timeZone; } // does not change the time
    TTimePoint QueryTimePoint() const noexcept { return TTimePoint(std::chrono::seconds(fTime)); } // without the zone
    TDateTime QueryDateTime() const noexcept; // the nearest time that fits in 32 bits

    // These operators compare the times, not the zones.
    bool operator==(TDateTime64 const &other) const noexcept { return fTime == other.fTime; }
    bool operator!=(TDateTime64 const &other) const noexcept { return fTime != other.fTime; }
    bool operator<(TDateTime64 const &other) const noexcept { return fTime < other.fTime; }

    // These functions return the calendar record: QueryCalendar() in UTC, and QueryLocalCalendar() in the zone of this
    // object. Days of the month are 1 to 31. A time more than about 1900 million years before or after 1970 becomes the
    // nearest one within this limit.
    std::tm QueryCalendar() const noexcept;
    std::tm QueryLocalCalendar() const noexcept;
    // Returns the time in UTC by a format of strftime, as TDateTime::QueryString() does, but for the years 1900 to
    // 9999. Returns a null string for other years.
    TString QueryString(char const *format) const;

    // Returns the date for a mail header, in the zone of this object, as RFC 5322 requires: for example
    // "Fri, 21 Nov 1997 09:55:06 -0600". The names are English in every locale. The zone is cut to whole minutes.
    // Returns a null string if the year is not within 1900 to 9999 in this zone, or the zone is 100 hours or more.
    TString QueryMailDate() const;

    // Reads the date of a mail header, in the forms of sections 3.3 and 4.3 of RFC 5322. These forms include folded
    // lines, comments, years of two or three digits and names of zones. Names of zones outside North America count as
    // UTC, as RFC 5322 says. Returns whether the whole text is a date; if not, `date` is unchanged. The date must
    // exist, and the day of the week, if there is one, must be right. If `fault` is not null, the function stores in it
    // the 1-based position of the first fault, or 0 if there is none. If the text ends too early, this position is the
    // text's length + 1.
    template <typename Text>
    [[nodiscard]] static bool FromMailDate(Text const &text, TDateTime64 &date,
                                           unsigned int *fault = nullptr) noexcept {
        std::string_view view;
        if constexpr (std::is_base_of_v<TString, Text>)
            view = text.view();
        else
            view = text;
        return ReadMailDate(view.data(), view.size(), date, fault);
    }

private:
    static bool ReadMailDate(char const *text, std::size_t length, TDateTime64 &date, unsigned int *fault) noexcept;

    std::int64_t fTime;
    std::int32_t fTimeZone;
};

#endif
