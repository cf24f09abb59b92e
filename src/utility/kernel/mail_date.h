#ifndef TUZUTIL_MAIL_DATE
#define TUZUTIL_MAIL_DATE

// Dates in the headers of mail, as RFC 5322 defines them in sections 3.3 and 4.3. The names of days and months are
// English, whatever the locale is. The functions take no locks, allocate nothing and never throw.

#include <cstddef>
#include <cstdint>

struct TMailDate {
    std::int64_t time;     // seconds since 1970-01-01 00:00:00 UTC
    std::int32_t timeZone; // seconds west of UTC
};

constexpr std::size_t fsMailDateSize = 40; // room for any date that WriteMailDate() writes, with its terminating zero

// Writes a date in the strict form, for example "Fri, 21 Nov 1997 09:55:06 -0600". Returns the number of bytes without
// the terminating zero, or 0 if the form cannot express the date.
std::size_t WriteMailDate(TMailDate const &date, char (&text)[fsMailDateSize]) noexcept;

// Reads a date in the strict or in an obsolete form, and never reads beyond `length`. If the whole text is a date, sets
// `date` and returns 0. Otherwise leaves `date` as it is, and returns the position of the first fault, counted from 1.
// If the text ends too early, this position is length + 1.
std::size_t ReadMailDate(char const *text, std::size_t length, TMailDate &date) noexcept;

#endif
