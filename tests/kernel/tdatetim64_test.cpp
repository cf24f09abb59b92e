// Dates of all years, and the dates of mail headers.

#include "tuzutil/TDATETIM.h"

#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cstdint>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace {

std::string Text(TString const &text) {
    return text.IsNull() ? "<NULL>" : std::string(text.view());
}

// A number from 0 to 2 to the power of 62.
std::int64_t Random(std::minstd_rand &random) {
    std::uint64_t const high = random();
    return static_cast<std::int64_t>(high << 31 | random());
}

// year, month, day of month, day of year, weekday, hour, minute, second
using TFields = std::vector<int>;
TFields Fields(std::tm const &record) {
    EXPECT_EQ(record.tm_isdst, 0);
    return {record.tm_year, record.tm_mon,  record.tm_mday, record.tm_yday,
            record.tm_wday, record.tm_hour, record.tm_min,  record.tm_sec};
}

TFields FieldsOf(std::int64_t time) {
    return Fields(TDateTime64(time).QueryCalendar());
}

std::string MailDate(std::int64_t time, std::int32_t zone) {
    return Text(TDateTime64(time, zone).QueryMailDate());
}

// The date as it is written, or "fault N".
std::string Reread(std::string_view text) {
    TDateTime64 date(-77, 77);
    unsigned int fault = 99;
    bool const isRead = TDateTime64::FromMailDate(text, date, &fault);
    EXPECT_EQ(isRead, fault == 0) << text;
    if (isRead)
        return Text(date.QueryMailDate());
    EXPECT_EQ(date.QueryTime(), -77) << text;
    EXPECT_EQ(date.QueryTimeZone(), 77) << text;
    return "fault " + std::to_string(fault);
}

} // namespace

TEST(TDateTime64, Example) {
    TDateTime64 sent;
    unsigned int fault = 0;
    ASSERT_TRUE(TDateTime64::FromMailDate("Fri, 21 Nov 1997 09:55:06 -0600", sent, &fault));
    EXPECT_EQ(sent.QueryTime(), 880127706);
    EXPECT_EQ(sent.QueryTimeZone(), 21600);
    EXPECT_EQ(Text(sent.QueryString("%d.%m.%Y %H")), "21.11.1997 15");
    EXPECT_EQ(Text(sent.QueryMailDate()), "Fri, 21 Nov 1997 09:55:06 -0600");
}

TEST(TDateTime64, DefaultIsNowInTheZoneOfTheProcess) {
    std::int64_t const before = std::time(nullptr);
    TDateTime64 const now;
    std::int64_t const after = std::time(nullptr);
    EXPECT_GE(now.QueryTime(), before);
    EXPECT_LE(now.QueryTime(), after);
    auto const time = static_cast<std::time_t>(now.QueryTime());
    std::tm const local = *std::localtime(&time);
    TFields expected = Fields(now.QueryLocalCalendar());
    EXPECT_EQ(expected, (TFields{local.tm_year, local.tm_mon, local.tm_mday, local.tm_yday, local.tm_wday,
                                 local.tm_hour, local.tm_min, local.tm_sec}));
}

TEST(TDateTime64, ConvertsFromAndTo32Bits) {
    TDateTime64 const small = TDateTime(-5, 3600);
    EXPECT_EQ(small.QueryTime(), -5);
    EXPECT_EQ(small.QueryTimeZone(), 3600);
    EXPECT_EQ(small.QueryDateTime().QueryTime(), -5);
    EXPECT_EQ(small.QueryDateTime().QueryTimeZone(), 3600);
    EXPECT_EQ(TDateTime64(INT64_MAX).QueryDateTime().QueryTime(), INT32_MAX);
    EXPECT_EQ(TDateTime64(INT64_C(2147483648)).QueryDateTime().QueryTime(), INT32_MAX);
    EXPECT_EQ(TDateTime64(INT64_MIN).QueryDateTime().QueryTime(), INT32_MIN);
}

TEST(TDateTime64, ConvertsFromAndToTheStandardsTimePoints) {
    using namespace std::chrono;
    using TClock = system_clock;
    auto const exact = time_point<TClock, milliseconds>(milliseconds(1500));
    EXPECT_EQ(TDateTime64(exact).QueryTime(), 1);
    EXPECT_EQ(TDateTime64(time_point<TClock, milliseconds>(milliseconds(-1))).QueryTime(), -1);
    EXPECT_EQ(TDateTime64(time_point<TClock, hours>(hours(1000000000)), -3600).QueryTime(), 3600000000000);
    EXPECT_EQ(TDateTime64(TClock::now(), -3600).QueryTimeZone(), -3600);
    EXPECT_EQ(TDateTime64(77, 0).QueryTimePoint().time_since_epoch(), seconds(77));
    TDateTime64 const late(INT64_C(4102444800));
    EXPECT_EQ(TDateTime64(late.QueryTimePoint()).QueryTime(), 4102444800);
}

TEST(TDateTime64, ComparesTimesWithoutZones) {
    EXPECT_TRUE(TDateTime64(5, 0) == TDateTime64(5, 3600));
    EXPECT_TRUE(TDateTime64(5, 0) != TDateTime64(6, 0));
    EXPECT_TRUE(TDateTime64(-1, 0) < TDateTime64(0, 0));
    EXPECT_FALSE(TDateTime64(5, 0) < TDateTime64(5, 1));
}

TEST(TDateTime64, CalendarIsRightInJanuaryAndInAllYears) {
    // year, month, day of month, day of year, weekday, hour, minute, second
    EXPECT_EQ(FieldsOf(0), (TFields{70, 0, 1, 0, 4, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(30 * 86400), (TFields{70, 0, 31, 30, 6, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(2678400), (TFields{70, 1, 1, 31, 0, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(-1), (TFields{69, 11, 31, 364, 3, 23, 59, 59}));
    EXPECT_EQ(FieldsOf(951782400), (TFields{100, 1, 29, 59, 2, 0, 0, 0}));              // 29 February 2000
    EXPECT_EQ(FieldsOf(INT64_C(2147483648)), (TFields{138, 0, 19, 18, 2, 3, 14, 8}));   // after 31 bits
    EXPECT_EQ(FieldsOf(INT64_C(4107542399)), (TFields{200, 1, 28, 58, 0, 23, 59, 59})); // 2100 has no leap day
    EXPECT_EQ(FieldsOf(INT64_C(4107542400)), (TFields{200, 2, 1, 59, 1, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(INT64_C(253402300799)), (TFields{8099, 11, 31, 364, 5, 23, 59, 59})); // the end of 9999
    EXPECT_EQ(FieldsOf(INT64_C(-2208988800)), (TFields{0, 0, 1, 0, 1, 0, 0, 0}));            // the beginning of 1900
    EXPECT_EQ(FieldsOf(INT64_C(-62135596800)), (TFields{-1899, 0, 1, 0, 1, 0, 0, 0}));       // 1 January 1
}

TEST(TDateTime64, CalendarAgreesWithTheRuntime) {
    for (std::int64_t value = 0; value <= INT32_MAX; value += 86400 + 3661) {
        auto const time = static_cast<std::time_t>(value);
        ASSERT_EQ(FieldsOf(value), Fields(*std::gmtime(&time))) << value;
        ASSERT_EQ(Fields(TDateTime(static_cast<long>(value), 0).QueryCalendar()), FieldsOf(value));
    }
}

TEST(TDateTime64, CalendarAndRecordAreInverse) {
    std::minstd_rand random;
    for (int round = 0; round < 20000; ++round) {
        std::int64_t const time = Random(random) % INT64_C(60000000000000000) * (round % 2 == 0 ? 1 : -1) /
                                  (1 + round % 1000 * (std::int64_t{1} << round % 30));
        ASSERT_EQ(TDateTime64(TDateTime64(time).QueryCalendar()).QueryTime(), time);
    }
    EXPECT_EQ(FieldsOf(INT64_MAX), FieldsOf(INT64_C(700000000000) * 86400));
    EXPECT_EQ(FieldsOf(INT64_MIN), FieldsOf(INT64_C(-700000000000) * 86400));
    EXPECT_EQ(Fields(TDateTime64(INT64_MIN, 3600).QueryLocalCalendar()), FieldsOf(INT64_MIN));
}

TEST(TDateTime64, LocalCalendarAppliesTheZone) {
    TDateTime64 const moment(951782400, -5400); // an hour and a half east
    EXPECT_EQ(Fields(moment.QueryLocalCalendar()), (TFields{100, 1, 29, 59, 2, 1, 30, 0}));
    EXPECT_EQ(Fields(moment.QueryCalendar()), (TFields{100, 1, 29, 59, 2, 0, 0, 0}));
    EXPECT_EQ(Fields(TDateTime64(0, 3600).QueryLocalCalendar()), (TFields{69, 11, 31, 364, 3, 23, 0, 0}));
}

TEST(TDateTime64, QueryStringIsForTheYears1900To9999) {
    auto const format = [](std::int64_t time) {
        return Text(TDateTime64(time, -3600).QueryString("%Y-%m-%d %H:%M:%S %Z"));
    };
    EXPECT_EQ(format(0), "1970-01-01 00:00:00 GMT");
    EXPECT_EQ(format(INT64_C(4107542400)), "2100-03-01 00:00:00 GMT");
    EXPECT_EQ(format(-1), "1969-12-31 23:59:59 GMT");
    EXPECT_EQ(format(INT64_C(253402300799)), "9999-12-31 23:59:59 GMT");
    EXPECT_EQ(format(INT64_C(-2208988800)), "1900-01-01 00:00:00 GMT");
    EXPECT_EQ(format(INT64_C(253402300800)), "<NULL>");
    EXPECT_EQ(format(INT64_C(-2208988801)), "<NULL>");
    EXPECT_EQ(format(INT64_MAX), "<NULL>");
}

// Dates of mail headers

TEST(MailDate, IsWrittenInTheStrictForm) {
    EXPECT_EQ(MailDate(0, 0), "Thu, 01 Jan 1970 00:00:00 +0000");
    EXPECT_EQ(MailDate(880127706, 21600), "Fri, 21 Nov 1997 09:55:06 -0600");
    EXPECT_EQ(MailDate(-1, -3600), "Thu, 01 Jan 1970 00:59:59 +0100");
    EXPECT_EQ(MailDate(951782400, -20700), "Tue, 29 Feb 2000 05:45:00 +0545");
    EXPECT_EQ(MailDate(INT64_C(2147483648), 12600), "Mon, 18 Jan 2038 23:44:08 -0330");
    EXPECT_EQ(MailDate(INT64_C(-2208988800), 0), "Mon, 01 Jan 1900 00:00:00 +0000");
    EXPECT_EQ(MailDate(INT64_C(253402300799), 0), "Fri, 31 Dec 9999 23:59:59 +0000");
}

TEST(MailDate, ZoneIsCutToMinutesAndTheTimeStays) {
    EXPECT_EQ(MailDate(0, -90), "Thu, 01 Jan 1970 00:01:00 +0001");
    EXPECT_EQ(MailDate(0, 59), "Thu, 01 Jan 1970 00:00:00 +0000");
    EXPECT_EQ(MailDate(0, -359999), "Mon, 05 Jan 1970 03:59:00 +9959");
    EXPECT_EQ(MailDate(0, 359999), "Sat, 27 Dec 1969 20:01:00 -9959");
}

TEST(MailDate, IsNullIfTheFormCannotExpressIt) {
    EXPECT_EQ(MailDate(0, 360000), "<NULL>");
    EXPECT_EQ(MailDate(0, INT32_MIN), "<NULL>");
    EXPECT_EQ(MailDate(0, INT32_MAX), "<NULL>");
    EXPECT_EQ(MailDate(INT64_C(253402300799), -60), "<NULL>"); // the year 10000 there
    EXPECT_EQ(MailDate(INT64_C(-2208988800), 60), "<NULL>");   // 1899
    EXPECT_EQ(MailDate(INT64_MAX, -360), "<NULL>");
    EXPECT_EQ(MailDate(INT64_MIN, 360), "<NULL>");
}

TEST(MailDate, IsEnglishInEveryLocale) {
    std::string const former = std::setlocale(LC_ALL, nullptr);
    for (char const *locale : {"de_DE.UTF-8", "fr_FR.UTF-8", "German", "C"}) {
        if (!std::setlocale(LC_ALL, locale))
            continue;
        EXPECT_EQ(MailDate(1015200000, 0), "Mon, 04 Mar 2002 00:00:00 +0000");
        EXPECT_EQ(Reread("Mon, 04 Mar 2002 00:00:00 +0000"), "Mon, 04 Mar 2002 00:00:00 +0000");
    }
    std::setlocale(LC_ALL, former.c_str());
}

TEST(MailDate, StrictFormsAreRead) {
    EXPECT_EQ(Reread("Fri, 21 Nov 1997 09:55:06 -0600"), "Fri, 21 Nov 1997 09:55:06 -0600");
    EXPECT_EQ(Reread("21 Nov 1997 09:55:06 -0600"), "Fri, 21 Nov 1997 09:55:06 -0600");
    EXPECT_EQ(Reread("Sat,  1 Nov 1997 09:55 +0545"), "Sat, 01 Nov 1997 09:55:00 +0545");
    EXPECT_EQ(Reread(" Tue, 29 Feb 2000 00:00:00 -0000 "), "Tue, 29 Feb 2000 00:00:00 +0000");
    EXPECT_EQ(Reread("Sat, 31 Dec 2016 23:59:60 +0000"), "Sun, 01 Jan 2017 00:00:00 +0000");
    EXPECT_EQ(Reread("1 Jan 1900 00:00:00 +0000"), "Mon, 01 Jan 1900 00:00:00 +0000");
    EXPECT_EQ(Reread("31 Dec 9999 23:59:59 -0000"), "Fri, 31 Dec 9999 23:59:59 +0000");
    EXPECT_EQ(Reread("1 Jan 2000 00:00:00 +9959"), "Sat, 01 Jan 2000 00:00:00 +9959");
}

TEST(MailDate, LettersOfNamesMayHaveEitherCase) {
    EXPECT_EQ(Reread("FRI, 21 nOV 1997 09:55:06 gmt"), "Fri, 21 Nov 1997 09:55:06 +0000");
    char const *const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (char const *month : months) {
        std::string const date = std::string("15 ") + month + " 2001 12:00:00 +0000";
        EXPECT_EQ(Reread(date).substr(5), date);
    }
}

TEST(MailDate, FoldedLinesAndCommentsAreSkipped) {
    EXPECT_EQ(Reread("Thu,\r\n      13\r\n        Feb\r\n          1969\r\n      23:32\r\n               -0330 "
                     "(Newfoundland Time)"),
              "Thu, 13 Feb 1969 23:32:00 -0330");
    EXPECT_EQ(Reread("Fri, 21 Nov 1997 09(comment):   55  :  06 -0600"), "Fri, 21 Nov 1997 09:55:06 -0600");
    EXPECT_EQ(Reread("(a(b)\\)c)Fri(x) , (y)21(z)Nov(a)97(b)09:55:06(c)-0600(d)(e)"),
              "Fri, 21 Nov 1997 09:55:06 -0600");
    EXPECT_EQ(Reread("21 Nov 1997 09:55:06 -0600 (a\r\n b\xE9\\\\)"), "Fri, 21 Nov 1997 09:55:06 -0600");
    EXPECT_EQ(Reread("21\tNov\n 1997 09:55:06 -0600"), "Fri, 21 Nov 1997 09:55:06 -0600"); // a line end of files
    EXPECT_EQ(Reread("21 Nov 1997 09:55:06 -0600" + std::string(100000, '(') + std::string(100000, ')')),
              "Fri, 21 Nov 1997 09:55:06 -0600");
}

TEST(MailDate, YearsOfTwoAndThreeDigitsAreCompleted) {
    EXPECT_EQ(Reread("1 Mar 00 00:00:00 GMT"), "Wed, 01 Mar 2000 00:00:00 +0000");
    EXPECT_EQ(Reread("1 Mar 49 00:00:00 GMT"), "Mon, 01 Mar 2049 00:00:00 +0000");
    EXPECT_EQ(Reread("1 Mar 50 00:00:00 GMT"), "Wed, 01 Mar 1950 00:00:00 +0000");
    EXPECT_EQ(Reread("1 Mar 99 00:00:00 GMT"), "Mon, 01 Mar 1999 00:00:00 +0000");
    EXPECT_EQ(Reread("1 Mar 000 00:00:00 GMT"), "Thu, 01 Mar 1900 00:00:00 +0000");
    EXPECT_EQ(Reread("1 Mar 102 00:00:00 GMT"), "Fri, 01 Mar 2002 00:00:00 +0000");
    EXPECT_EQ(Reread("Fri, 29 Feb 00 00:00:00 GMT"), "fault 1"); // it was a Tuesday
}

TEST(MailDate, NamesOfZonesAreThoseOfNorthAmericaOrUtc) {
    struct TRow {
        char const *name;
        char const *offset;
    };
    TRow const rows[] = {{"UT", "+0000"},  {"GMT", "+0000"},  {"EST", "-0500"}, {"EDT", "-0400"}, {"CST", "-0600"},
                         {"CDT", "-0500"}, {"MST", "-0700"},  {"MDT", "-0600"}, {"PST", "-0800"}, {"PDT", "-0700"},
                         {"pdt", "-0700"}, {"A", "+0000"},    {"Z", "+0000"},   {"i", "+0000"},   {"k", "+0000"},
                         {"UTC", "+0000"}, {"CEST", "+0000"}, {"MEZ", "+0000"}, {"AKDT", "+0000"}};
    for (TRow const &row : rows) {
        EXPECT_EQ(Reread(std::string("1 Mar 2000 12:00:00 ") + row.name),
                  std::string("Wed, 01 Mar 2000 12:00:00 ") + row.offset);
    }
    EXPECT_EQ(Reread("1 Mar 2000 12:00:00 J"), "fault 21");
}

TEST(MailDate, FaultsHaveTheirPosition) {
    struct TRow {
        char const *text;
        unsigned int fault;
    };
    TRow const rows[] = {
        {"", 1},
        {"   ", 4},
        {"x", 2},
        {"Fri", 4},
        {"Xyz, 21 Nov 1997 09:55:06 -0600", 1},
        {"Friday, 21 Nov 1997 09:55:06 -0600", 4},
        {"Fri 21 Nov 1997 09:55:06 -0600", 5},
        {"Thu, 21 Nov 1997 09:55:06 -0600", 1},
        {"21 Nov 1997", 12},
        {"0 Nov 1997 09:55:06 -0600", 1},
        {"31 Nov 1997 09:55:06 -0600", 1},
        {"29 Feb 1900 09:55:06 -0600", 1},
        {"29 Feb 2001 09:55:06 -0600", 1},
        {"021 Nov 1997 09:55:06 -0600", 3},
        {"21 Nev 1997 09:55:06 -0600", 4},
        {"21 November 1997 09:55:06 -0600", 7},
        {"21 No 1997 09:55:06 -0600", 6},
        {"21 11 1997 09:55:06 -0600", 4},
        {"21 Nov 1899 09:55:06 -0600", 8},
        {"21 Nov 7 09:55:06 -0600", 9},
        {"21 Nov 10000 09:55:06 -0600", 12},
        {"21 Nov 1997 9:55:06 -0600", 14},
        {"21 Nov 1997 24:00:00 -0600", 13},
        {"21 Nov 1997 09:60:06 -0600", 16},
        {"21 Nov 1997 09:55:61 -0600", 19},
        {"21 Nov 1997 09:55:6 -0600", 20},
        {"21 Nov 1997 09:55:", 19},
        {"21 Nov 1997 09 55 -0600", 16},
        {"21 Nov 1997 09:55:06", 21},
        {"21 Nov 1997 09:55:06 ", 22},
        {"21 Nov 1997 09:55:06 0600", 22},
        {"21 Nov 1997 09:55:06 -060", 26},
        {"21 Nov 1997 09:55:06 -06000", 27},
        {"21 Nov 1997 09:55:06 -0660", 25},
        {"21 Nov 1997 09:55:06 -06:00", 25},
        {"21 Nov 1997 09:55:06 GMT+1", 25},
        {"21 Nov 1997 09:55:06 -0600 x", 28},
        {"21 Nov 1997 09:55:06 -0600\r\n", 27},
        {"21 Nov 1997 09:55:06 -0600\r ", 27},
        {"21 Nov\r\n1997 09:55:06 -0600", 7},
        {"21 Nov 1997 09:55:06 -0600 (", 29},
        {"21 Nov 1997 09:55:06 -0600 (()", 31},
        {"21 Nov 1997 09:55:06 -0600 (\\)", 31},
        {"21 Nov 1997 09:55:06 -0600 (\\", 30},
        {"21 Nov 1997 09:55:06 -0600 )", 28},
        {"21 Nov 1997 09:55:06 -0600 (a\r\nb)", 30},
        {"-21 Nov 1997 09:55:06 -0600", 1},
        {"21 Nov -1997 09:55:06 -0600", 8},
    };
    for (TRow const &row : rows)
        EXPECT_EQ(Reread(row.text), "fault " + std::to_string(row.fault)) << row.text;
    EXPECT_EQ(Reread(std::string_view("21 Nov 1997\0 09:55:06 -0600", 27)), "fault 12");
    EXPECT_EQ(Reread(std::string_view("21 Nov 1997 09:55:06 -0600 (\0)", 30)), "fault 29");
}

TEST(MailDate, NothingIsReadBehindTheText) {
    std::string const date = "Fri, 21 Nov 1997 09:55:06 -0600 (a\\b)";
    for (std::size_t length = 0; length <= date.size(); ++length) {
        std::vector<char> const exact(date.begin(), date.begin() + static_cast<std::ptrdiff_t>(length));
        std::string const expected = length == 31 || length == 32 || length == date.size()
                                         ? "Fri, 21 Nov 1997 09:55:06 -0600"
                                         : "fault " + std::to_string(length + 1);
        EXPECT_EQ(Reread(std::string_view(exact.data(), exact.size())), expected) << length;
    }
}

TEST(MailDate, TextsOfEveryKindAreTaken) {
    TDateTime64 date;
    std::string const text = "21 Nov 1997 09:55:06 -0600";
    EXPECT_TRUE(TDateTime64::FromMailDate(text, date));
    EXPECT_TRUE(TDateTime64::FromMailDate(text.c_str(), date));
    EXPECT_TRUE(TDateTime64::FromMailDate(std::string_view(text), date));
    EXPECT_TRUE(TDateTime64::FromMailDate(TString(text), date));
    EXPECT_FALSE(TDateTime64::FromMailDate(TString(), date));
}

TEST(MailDate, WhatIsWrittenIsReadAgain) {
    std::minstd_rand random(7);
    for (int round = 0; round < 20000; ++round) {
        std::int64_t const time = Random(random) % INT64_C(255000000000) - 2208000000;
        auto const zone = static_cast<std::int32_t>(random() % 1800) * 60 - 54000;
        TDateTime64 const date(time, zone);
        TString const text = date.QueryMailDate();
        if (text.IsNull())
            continue;
        TDateTime64 read(0);
        ASSERT_TRUE(TDateTime64::FromMailDate(text, read)) << text.view();
        ASSERT_EQ(read.QueryTime(), time) << text.view();
        ASSERT_EQ(read.QueryTimeZone(), zone) << text.view();
    }
}

// Every text that a date becomes if one of its bytes is replaced. Another reader of the grammar accepts as many.
TEST(MailDate, ChangedBytesAreReadOrRefused) {
    std::string const date = "Fri, 21 Nov 1997 09:55:06 -0600 (a)";
    int read = 0;
    for (std::size_t place = 0; place < date.size(); ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = date;
            changed[place] = static_cast<char>(byte);
            read += Reread(changed).substr(0, 5) != "fault";
        }
    }
    EXPECT_EQ(read, 373);
}
