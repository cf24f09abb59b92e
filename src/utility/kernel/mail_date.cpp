// Writes and reads dates of mail headers. The reader descends through the grammar of RFC 5322 with one byte of
// look-ahead. Comments may be nested to any depth, so the reader counts their depth instead of calling itself.

#include "utility/kernel/mail_date.h"

#include "utility/kernel/ascii_names.h"
#include "utility/kernel/calendar.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace {

constexpr int fsFirstYear = 1900;
constexpr int fsLastYear = 9999;

constexpr bool IsDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

constexpr bool IsLetter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The zones of North America: those that are 4 hours west of UTC come first, then those that are 5 hours west, and so
// on.
constexpr char const *fsZones[] = {"EDT", "EST", "CDT", "CST", "MDT", "MST", "PDT", "PST"};

// Returns the place of a word of three letters in a list of such words, or -1.
template <std::size_t count>
int Find(std::string_view word, char const *const (&list)[count]) noexcept {
    auto const isWord = [=](char const *name) {
        return std::equal(word.begin(), word.end(), name, name + 3,
                          [](char a, char b) { return ascii_names::Fold(a) == ascii_names::Fold(b); });
    };
    auto const found = std::find_if(std::begin(list), std::end(list), isWord);
    return found == std::end(list) ? -1 : static_cast<int>(found - std::begin(list));
}

// Reads a date from left to right. At a fault, a member function returns false and leaves fPosition at the byte that is
// wrong.
class TReader {
public:
    TReader(char const *text, std::size_t length) noexcept : fText(text), fLength(length) {}

    bool Read(TMailDate &date) noexcept {
        std::tm record = {};
        int weekday = -1;
        std::size_t weekdayAt = 0;
        std::int32_t zone = 0;
        if (!Blanks() || !Weekday(weekday, weekdayAt) || !Day(record) || !Blanks() || !Time(record) || !Zone(zone) ||
            !Blanks() || fPosition != fLength)
            return false;
        std::int64_t const time = calendar::TimeOf(record);
        std::int64_t const day = calendar::DaysToMonth(record.tm_year + 1900, record.tm_mon) + record.tm_mday - 1;
        if (weekday >= 0 && weekday != calendar::Weekday(day)) {
            fPosition = weekdayAt;
            return false;
        }
        date = {time + zone, zone};
        return true;
    }

    std::size_t Position() const noexcept { return fPosition; }

private:
    bool IsAt(char c) const noexcept { return fPosition < fLength && fText[fPosition] == c; }
    bool IsAtDigit() const noexcept { return fPosition < fLength && IsDigit(fText[fPosition]); }
    bool IsAtLetter() const noexcept { return fPosition < fLength && IsLetter(fText[fPosition]); }
    bool IsAtBlank() const noexcept { return IsAt(' ') || IsAt('\t'); }

    bool FailAt(std::size_t position) noexcept {
        fPosition = position;
        return false;
    }

    // Skips a line end. Returns false if no blank follows, because only a folded header field continues after a line
    // end.
    bool Fold() noexcept {
        std::size_t const begin = fPosition;
        fPosition += IsAt('\r') ? 1 : 0;
        if (!IsAt('\n'))
            return FailAt(begin);
        ++fPosition;
        if (!IsAtBlank())
            return FailAt(begin);
        return true;
    }

    // Skips blanks, folded lines and comments, if there are any.
    bool Blanks() noexcept {
        for (;;) {
            if (IsAtBlank())
                ++fPosition;
            else if (IsAt('\r') || IsAt('\n')) {
                if (!Fold())
                    return false;
            } else if (!IsAt('('))
                return true;
            else if (!Comment())
                return false;
        }
    }

    bool Comment() noexcept {
        std::size_t depth = 0;
        do {
            if (IsAt('(')) {
                ++depth;
            } else if (IsAt(')')) {
                --depth;
            } else if (IsAt('\r') || IsAt('\n')) {
                if (!Fold())
                    return false;
                continue;
            } else if (IsAt('\\')) {
                ++fPosition; // the next byte stands for itself
            }
            if (fPosition >= fLength || fText[fPosition] == '\0')
                return false;
            ++fPosition;
        } while (depth != 0);
        return true;
    }

    // Reads a number of `least` to `most` digits.
    bool Number(int &number, int least, int most) noexcept {
        number = 0;
        int count = 0;
        for (; IsAtDigit() && count < most; ++count)
            number = number * 10 + (fText[fPosition++] - '0');
        fDigits = count;
        return count >= least && !IsAtDigit();
    }

    // Reads a number of two digits, which must not be above `last`.
    bool Two(int &number, int last) noexcept {
        std::size_t const begin = fPosition;
        if (!Number(number, 2, 2))
            return false;
        if (number > last)
            return FailAt(begin);
        return true;
    }

    // Reads a word of three letters that is in a list.
    template <std::size_t count>
    bool Word(int &place, char const *const (&list)[count]) noexcept {
        std::size_t const begin = fPosition;
        for (int letters = 0; letters < 3; ++letters, ++fPosition) {
            if (!IsAtLetter())
                return false;
        }
        if (IsAtLetter())
            return false;
        place = Find({fText + begin, 3}, list);
        if (place < 0)
            return FailAt(begin);
        return true;
    }

    // If a letter comes next, reads the name of a day and the comma after it. Otherwise reads nothing.
    bool Weekday(int &weekday, std::size_t &begin) noexcept {
        begin = fPosition;
        if (!IsAtLetter())
            return true;
        if (!Word(weekday, calendar::fsDayNames) || !Blanks() || !IsAt(','))
            return false;
        ++fPosition;
        return Blanks();
    }

    bool Day(std::tm &record) noexcept {
        std::size_t const dayAt = fPosition;
        if (!Number(record.tm_mday, 1, 2) || !Blanks() || !Word(record.tm_mon, calendar::fsMonthNames) || !Blanks())
            return false;
        std::size_t const yearAt = fPosition;
        int year = 0;
        if (!Number(year, 2, 4))
            return false;
        if (fDigits == 2)
            year += year < 50 ? 2000 : 1900;
        else if (fDigits == 3)
            year += 1900;
        if (year < fsFirstYear)
            return FailAt(yearAt);
        record.tm_year = year - 1900;
        auto const length = calendar::DaysToMonth(record.tm_mon == 11 ? year + 1 : year, (record.tm_mon + 1) % 12) -
                            calendar::DaysToMonth(year, record.tm_mon);
        if (record.tm_mday < 1 || record.tm_mday > length)
            return FailAt(dayAt);
        return true;
    }

    bool Time(std::tm &record) noexcept {
        if (!Two(record.tm_hour, 23) || !Blanks() || !IsAt(':'))
            return false;
        ++fPosition;
        if (!Blanks() || !Two(record.tm_min, 59) || !Blanks())
            return false;
        if (!IsAt(':'))
            return true;
        ++fPosition;
        return Blanks() && Two(record.tm_sec, 60) && Blanks(); // 60 is a leap second
    }

    bool Zone(std::int32_t &zone) noexcept {
        if (!IsAt('+') && !IsAt('-'))
            return NamedZone(zone);
        int const west = IsAt('-') ? 1 : -1;
        std::size_t const begin = ++fPosition;
        int number = 0;
        if (!Number(number, 4, 4))
            return false;
        if (number % 100 > 59)
            return FailAt(begin + 2);
        zone = west * (number / 100 * 3600 + number % 100 * 60);
        return true;
    }

    // Reads the name of a zone, which is an obsolete form. "J" was never the name of a zone, so it is a fault. Only the
    // names of North American zones tell an offset. All other names count as offset 0.
    bool NamedZone(std::int32_t &zone) noexcept {
        std::size_t const begin = fPosition;
        while (IsAtLetter())
            ++fPosition;
        std::string_view const name(fText + begin, fPosition - begin);
        if (name.empty())
            return false;
        if (name == "j" || name == "J")
            return FailAt(begin);
        int const place = Find(name, fsZones);
        zone = place < 0 ? 0 : ((place + 1) / 2 + 4) * 3600; // 4 hours for EDT, 5 for EST and CDT, ... 8 for PST
        return true;
    }

    char const *fText;
    std::size_t fLength;
    std::size_t fPosition = 0;
    int fDigits = 0; // the number of digits that Number() read last
};

} // namespace

std::size_t WriteMailDate(TMailDate const &date, char (&text)[fsMailDateSize]) noexcept {
    constexpr std::int64_t end = std::int64_t{1} << 40; // far beyond the last year
    int const east = -(date.timeZone / 60);             // in minutes
    int const minutes = east < 0 ? -east : east;
    std::tm record = {};
    calendar::FillRecord(std::clamp(date.time, -end, end) + std::int64_t{east} * 60, record);
    int const year = record.tm_year + 1900;
    if (minutes >= 100 * 60 || year < fsFirstYear || year > fsLastYear)
        return 0;
    int const length =
        std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d %c%02d%02d",
                      calendar::fsDayNames[record.tm_wday], record.tm_mday, calendar::fsMonthNames[record.tm_mon], year,
                      record.tm_hour, record.tm_min, record.tm_sec, east < 0 ? '-' : '+', minutes / 60, minutes % 60);
    return length < 0 ? 0 : static_cast<std::size_t>(length);
}

std::size_t ReadMailDate(char const *text, std::size_t length, TMailDate &date) noexcept {
    TReader reader(text, length);
    return reader.Read(date) ? 0 : reader.Position() + 1;
}
