// Makes the texts that a TagVar holds for objects of standard types: UTF-8 text, error codes, durations and points in
// time. Numbers in these texts do not depend on the locale. This source has no lock.

#include "platform/platform.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/UNICODE.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

namespace {

struct TUnit {
    long long numerator, denominator;
    char const *name;
};

// The names that the standard gives to units of time.
constexpr TUnit fsUnits[] = {{1, 1000000000000000000, "as"},
                             {1, 1000000000000000, "fs"},
                             {1, 1000000000000, "ps"},
                             {1, 1000000000, "ns"},
                             {1, 1000000, "us"},
                             {1, 1000, "ms"},
                             {1, 100, "cs"},
                             {1, 10, "ds"},
                             {1, 1, "s"},
                             {10, 1, "das"},
                             {100, 1, "hs"},
                             {1000, 1, "ks"},
                             {1000000, 1, "Ms"},
                             {1000000000, 1, "Gs"},
                             {60, 1, "min"},
                             {3600, 1, "h"},
                             {86400, 1, "d"}};

constexpr double fsFarthest = 1e15; // seconds; a time further from 1970 is given as a duration

template <typename Number>
std::string Decimal(Number number) {
    char digits[32];
    return std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

std::string UnitName(long long numerator, long long denominator) {
    for (TUnit const &unit : fsUnits) {
        if (unit.numerator == numerator && unit.denominator == denominator)
            return unit.name;
    }
    return '[' + Decimal(numerator) + (denominator == 1 ? "" : '/' + Decimal(denominator)) + "]s";
}

template <typename Count>
std::string DurationText(Count count, long long numerator, long long denominator) {
    return Decimal(count) + UnitName(numerator, denominator);
}

// Appends a number in at least `digits` digits, with leading zeros if necessary. REQUIRES: the number is not negative.
void Append(std::string &text, long long number, std::size_t digits) {
    std::string const decimal = Decimal(number);
    text.append(digits - std::min(digits, decimal.size()), '0') += decimal;
}

// Appends the Gregorian date of the day that is `days` days after 1970-01-01. Years begin in March here, because the
// leap day is then the last day of a year.
void AppendDate(std::string &text, long long days) {
    days += 719468; // since 0000-03-01
    long long const era = (days >= 0 ? days : days - 146096) / 146097;
    long long const dayOfEra = days - era * 146097;
    long long const yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    long long const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    long long const month = (5 * dayOfYear + 2) / 153;
    long long const year = yearOfEra + era * 400 + (month >= 10);
    if (year < 0)
        text += '-';
    Append(text, year < 0 ? -year : year, 4);
    text += '-';
    Append(text, month < 10 ? month + 3 : month - 9, 2);
    text += '-';
    Append(text, dayOfYear - (153 * month + 2) / 5 + 1, 2);
}

TString MomentText(long long seconds, long long nanoseconds, long long denominator) {
    long long const days = (seconds >= 0 ? seconds : seconds - 86399) / 86400;
    long long const second = seconds - days * 86400;
    std::string text;
    AppendDate(text, days);
    text += 'T';
    Append(text, second / 3600, 2);
    text += ':';
    Append(text, second / 60 % 60, 2);
    text += ':';
    Append(text, second % 60, 2);
    if (denominator > 1) {
        text += '.';
        if (denominator <= 1000)
            Append(text, nanoseconds / 1000000, 3);
        else if (denominator <= 1000000)
            Append(text, nanoseconds / 1000, 6);
        else
            Append(text, nanoseconds, 9);
    }
    return TString(text + 'Z');
}

} // namespace

TString TagVar::Utf8(char const *text, std::size_t length) {
    TString bytes(std::string_view(text, length));
    bool const isAscii = std::all_of(text, text + length, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (isAscii || platform::printfHabits.textIsUtf8 || TUnicode::IsUtf8Mode())
        return bytes;
    return TUnicode::FromUtf8(bytes, TUnicode::replace);
}

TString TagVar::Failure(int number, char const *category, char const *text) {
    return TString(std::string(text) + " (" + category + ':' + Decimal(number) + ')');
}

TString TagVar::Duration(long long count, long long numerator, long long denominator) {
    return TString(DurationText(count, numerator, denominator));
}

TString TagVar::Duration(double count, long long numerator, long long denominator) {
    return TString(DurationText(count, numerator, denominator));
}

TString TagVar::Moment(long long count, long long numerator, long long denominator) {
    double const about = static_cast<double>(count) * static_cast<double>(numerator) / static_cast<double>(denominator);
    if (!(std::abs(about) < fsFarthest))
        return Duration(count, numerator, denominator);
    if (numerator != 1 && denominator != 1)
        return Moment(static_cast<double>(count), numerator, denominator);
    // The numerator or the denominator is 1, so the product and the remainder fit in 64 bits.
    long long seconds = count * numerator / denominator;
    long long rest = count * numerator % denominator;
    if (rest < 0) {
        rest += denominator;
        --seconds;
    }
    long long nanoseconds;
    if (denominator <= 1000000000)
        nanoseconds = rest * 1000000000 / denominator;
    else if (denominator % 1000000000 == 0)
        nanoseconds = rest / (denominator / 1000000000);
    else
        nanoseconds = static_cast<long long>(static_cast<double>(rest) / static_cast<double>(denominator) * 1e9);
    return MomentText(seconds, std::min(nanoseconds, 999999999ll), denominator);
}

TString TagVar::Moment(double count, long long numerator, long long denominator) {
    double const about = count * static_cast<double>(numerator) / static_cast<double>(denominator);
    if (!(std::abs(about) < fsFarthest))
        return Duration(count, numerator, denominator);
    double const seconds = std::floor(about);
    long long const nanoseconds = std::min(static_cast<long long>((about - seconds) * 1e9), 999999999ll);
    return MomentText(static_cast<long long>(seconds), nanoseconds, std::max(denominator, 1000ll));
}
