#include "tuzutil/TDATETIM.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <type_traits>
#include <vector>

namespace {

std::tm Record(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    std::tm record = {};
    record.tm_year = year - 1900;
    record.tm_mon = month;
    record.tm_mday = day;
    record.tm_hour = hour;
    record.tm_min = minute;
    record.tm_sec = second;
    return record;
}

long TimeOf(std::tm const &record) {
    return TDateTime(record, 0).QueryTime();
}

std::string Text(TString const &text) {
    return text.IsNull() ? "<NULL>" : std::string(static_cast<char const *>(text), text.length());
}

std::string Format(long time, char const *format) {
    return Text(TDateTime(time, 0).QueryString(format));
}

// year, month, day of month, day of year, weekday, hour, minute, second
using TFields = std::vector<int>;
TFields Fields(std::tm const &record) {
    EXPECT_EQ(record.tm_isdst, 0);
    return {record.tm_year, record.tm_mon,  record.tm_mday, record.tm_yday,
            record.tm_wday, record.tm_hour, record.tm_min,  record.tm_sec};
}

TFields FieldsOf(long time) {
    return Fields(TDateTime(time, 0).QueryTM());
}

} // namespace

TEST(TDateTime, Example) {
    std::tm record = {};
    record.tm_year = 96, record.tm_mon = TDateTime::MonthFromName("feb"), record.tm_mday = 29;
    TDateTime leapDay(record, -3600);
    long seconds = leapDay.QueryTime();
    TString day = leapDay.QueryString("%d.%m.%Y");
    EXPECT_EQ(seconds, 825552000);
    EXPECT_EQ(Text(day), "29.02.1996");
    EXPECT_EQ(leapDay.QueryTimeZone(), -3600);
}

TEST(TDateTime, HoldsTwoWords) {
    EXPECT_EQ(sizeof(TDateTime), 8u);
    EXPECT_TRUE(std::is_trivially_copyable_v<TDateTime>);
}

TEST(TDateTime, DefaultIsNowInTheZoneOfTheProcess) {
    std::time_t const before = std::time(nullptr);
    TDateTime const now;
    std::time_t const after = std::time(nullptr);
    EXPECT_GE(now.QueryTime(), before);
    EXPECT_LE(now.QueryTime(), after);

    // A winter's day read as local time lies the zone's offset from the same fields in UTC.
    std::tm winter = Record(2001, 0, 15, 12);
    EXPECT_EQ(now.QueryTimeZone(), std::mktime(&winter) - TimeOf(Record(2001, 0, 15, 12)));
}

TEST(TDateTime, StoresTimeAndZone) {
    TDateTime const moment(-5, 18000);
    EXPECT_EQ(moment.QueryTime(), -5);
    EXPECT_EQ(moment.QueryTimeZone(), 18000);
    TDateTime const copy(moment);
    EXPECT_EQ(copy.QueryTime(), -5);
    EXPECT_EQ(copy.QueryTimeZone(), 18000);
    TDateTime assigned(1, 2);
    assigned = moment;
    EXPECT_EQ(assigned.QueryTime(), -5);
    EXPECT_EQ(assigned.QueryTimeZone(), 18000);
}

TEST(TDateTime, AssigningGivesTheObject) {
    TDateTime moment(1, 2);
    EXPECT_EQ(&(moment = 77L), &moment);
    EXPECT_EQ(&(moment = Record(1970, 0, 2)), &moment);
    TDateTime const other(3, 4);
    EXPECT_EQ(&(moment = other), &moment);
    EXPECT_EQ(moment.QueryTime(), 3);
    EXPECT_EQ(moment.QueryTimeZone(), 4);
}

TEST(TDateTime, AssigningATimeOrARecordKeepsTheZone) {
    TDateTime moment(1, 3600);
    moment = 77L;
    EXPECT_EQ(moment.QueryTime(), 77);
    EXPECT_EQ(moment.QueryTimeZone(), 3600);
    moment = Record(1970, 0, 2);
    EXPECT_EQ(moment.QueryTime(), 86400);
    EXPECT_EQ(moment.QueryTimeZone(), 3600);
    moment.SetTimeZone(-7200);
    EXPECT_EQ(moment.QueryTime(), 86400);
    EXPECT_EQ(moment.QueryTimeZone(), -7200);
}

TEST(TDateTime, RecordIsReadAsUtc) {
    EXPECT_EQ(TimeOf(Record(1970, 0, 1)), 0);
    EXPECT_EQ(TimeOf(Record(1970, 1, 1)), 2678400);
    EXPECT_EQ(TimeOf(Record(1972, 1, 29)), 68169600);
    EXPECT_EQ(TimeOf(Record(2000, 1, 29, 12, 0, 0)), 951825600);
    EXPECT_EQ(TimeOf(Record(2000, 2, 1)), 951868800);
    EXPECT_EQ(TimeOf(Record(2001, 8, 9, 1, 46, 40)), 1000000000);
    EXPECT_EQ(TimeOf(Record(1969, 11, 31, 23, 59, 59)), -1);
    EXPECT_EQ(TimeOf(Record(1900, 1, 28)), INT32_MIN); // clamped
    EXPECT_EQ(TimeOf(Record(1901, 11, 13, 20, 45, 52)), INT32_MIN);
    EXPECT_EQ(TimeOf(Record(1901, 11, 13, 20, 45, 53)), INT32_MIN + 1);
    EXPECT_EQ(TimeOf(Record(2038, 0, 19, 3, 14, 7)), INT32_MAX);
    EXPECT_EQ(TimeOf(Record(2038, 0, 19, 3, 14, 8)), INT32_MAX);
}

TEST(TDateTime, DaylightSavingWeekdayAndDayOfYearOfARecordAreIgnored) {
    std::tm record = Record(1996, 6, 4, 10);
    long const expected = TimeOf(record);
    record.tm_isdst = 1;
    record.tm_wday = 99;
    record.tm_yday = -99;
    EXPECT_EQ(TimeOf(record), expected);
}

TEST(TDateTime, RecordFieldsOutOfRangeAreNormalised) {
    EXPECT_EQ(TimeOf(Record(1999, 12, 1)), TimeOf(Record(2000, 0, 1)));
    EXPECT_EQ(TimeOf(Record(2000, -1, 1)), TimeOf(Record(1999, 11, 1)));
    EXPECT_EQ(TimeOf(Record(2000, -13, 1)), TimeOf(Record(1998, 11, 1)));
    EXPECT_EQ(TimeOf(Record(2000, 2, 0)), TimeOf(Record(2000, 1, 29)));
    EXPECT_EQ(TimeOf(Record(2000, 0, 366)), TimeOf(Record(2000, 11, 31)));
    EXPECT_EQ(TimeOf(Record(2000, 0, 1, 24, 60, 60)), TimeOf(Record(2000, 0, 2, 1, 1, 0)));
    EXPECT_EQ(TimeOf(Record(2000, 0, 1, 0, 0, -1)), TimeOf(Record(1999, 11, 31, 23, 59, 59)));
    EXPECT_EQ(TimeOf(Record(2000, 11, 31, 23, 59, 60)), TimeOf(Record(2001, 0, 1)));
}

TEST(TDateTime, ExtremeRecordFieldsGiveTheNearestTime) {
    std::tm record = {};
    record.tm_year = record.tm_mon = record.tm_mday = record.tm_hour = record.tm_min = record.tm_sec = INT32_MAX;
    EXPECT_EQ(TimeOf(record), INT32_MAX);
    record.tm_year = record.tm_mon = record.tm_mday = record.tm_hour = record.tm_min = record.tm_sec = INT32_MIN;
    EXPECT_EQ(TimeOf(record), INT32_MIN);
}

TEST(TDateTime, EveryDayOfTheRangeIsReadAsTheRuntimeWritesIt) {
    for (std::int64_t value = 0; value <= INT32_MAX; value += 86400 + 1) {
        std::time_t const time = static_cast<std::time_t>(value);
        ASSERT_EQ(TimeOf(*std::gmtime(&time)), time);
    }
}

TEST(TDateTime, ValuesBeyond32BitsBecomeTheNearest) {
    if (sizeof(long) > 4) {
        auto const big = static_cast<long>(INT64_C(0x7FFFFFFFFF));
        EXPECT_EQ(TDateTime(big, -big).QueryTime(), INT32_MAX);
        EXPECT_EQ(TDateTime(big, -big).QueryTimeZone(), INT32_MIN);
    }
    EXPECT_EQ(TDateTime(INT32_MIN, INT32_MAX).QueryTime(), INT32_MIN);
    EXPECT_EQ(TDateTime(INT32_MIN, INT32_MAX).QueryTimeZone(), INT32_MAX);
}

TEST(TDateTime, ComparesTimesAsSignedValuesWithoutZones) {
    EXPECT_EQ(TDateTime(5, 0).IsEqual(TDateTime(5, 3600)), 1);
    EXPECT_EQ(TDateTime(5, 0).IsEqual(TDateTime(6, 0)), 0);
    EXPECT_EQ(TDateTime(-1, 0).IsLessThan(TDateTime(0, 0)), 1);
    EXPECT_EQ(TDateTime(0, 0).IsLessThan(TDateTime(-1, 0)), 0);
    EXPECT_EQ(TDateTime(5, 0).IsLessThan(TDateTime(5, 1)), 0);
}

TEST(TDateTime, QueryTmOfZeroOrLessIsAllZeros) {
    TFields const zeros(8, 0);
    EXPECT_EQ(FieldsOf(0), zeros);
    EXPECT_EQ(FieldsOf(-1), zeros);
    EXPECT_EQ(FieldsOf(INT32_MIN), zeros);
}

TEST(TDateTime, QueryTmCountsJanuaryFromZeroAndOtherMonthsFromOne) {
    // year, month, day of month, day of year, weekday, hour, minute, second
    EXPECT_EQ(FieldsOf(1), (TFields{70, 0, 0, 0, 4, 0, 0, 1}));
    EXPECT_EQ(FieldsOf(86400), (TFields{70, 0, 1, 1, 5, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(30 * 86400), (TFields{70, 0, 30, 30, 6, 0, 0, 0})); // 31 January
    EXPECT_EQ(FieldsOf(2678400), (TFields{70, 1, 1, 31, 0, 0, 0, 0}));     // 1 February
    EXPECT_EQ(FieldsOf(31535999), (TFields{70, 11, 31, 364, 4, 23, 59, 59}));
    EXPECT_EQ(FieldsOf(31536000), (TFields{71, 0, 0, 0, 5, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(63072000), (TFields{72, 0, 0, 0, 6, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(68169600), (TFields{72, 1, 29, 59, 2, 0, 0, 0})); // 29 February 1972
    EXPECT_EQ(FieldsOf(94694399), (TFields{72, 11, 31, 365, 0, 23, 59, 59}));
    EXPECT_EQ(FieldsOf(94694400), (TFields{73, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(126230400), (TFields{74, 0, 0, 0, 2, 0, 0, 0}));
    EXPECT_EQ(FieldsOf(1000000000), (TFields{101, 8, 9, 251, 0, 1, 46, 40}));
    EXPECT_EQ(FieldsOf(INT32_MAX), (TFields{138, 0, 18, 18, 2, 3, 14, 7})); // 19 January 2038
}

TEST(TDateTime, QueryTmAgreesWithTheRuntimeButForJanuary) {
    for (std::int64_t value = 1; value <= INT32_MAX; value += 86400 + 3661) {
        std::time_t const time = static_cast<std::time_t>(value);
        std::tm expected = *std::gmtime(&time);
        if (expected.tm_mon == 0)
            --expected.tm_mday;
        ASSERT_EQ(FieldsOf(static_cast<long>(value)), Fields(expected)) << value;
    }
}

TEST(TDateTime, QueryStringIsUtcWhateverTheZone) {
    EXPECT_EQ(Format(0, "%Y-%m-%d %H:%M:%S"), "1970-01-01 00:00:00");
    EXPECT_EQ(Format(1000000000, "%d.%m.%y %j %w"), "09.09.01 252 0");
    EXPECT_EQ(Text(TDateTime(0, 3600).QueryString("%H")), "00");
    EXPECT_EQ(Format(INT32_MAX, "%Y-%m-%d %H:%M:%S"), "2038-01-19 03:14:07");
}

TEST(TDateTime, QueryStringWithoutAFormatUsesTheRuntimesDateAndTime) {
    EXPECT_EQ(Format(1000000000, nullptr), Format(1000000000, "%c"));
    EXPECT_NE(Format(1000000000, nullptr), "");
}

TEST(TDateTime, QueryStringBefore1970IsNull) {
    EXPECT_TRUE(TDateTime(-1, 0).QueryString("%Y").IsNull());
    EXPECT_TRUE(TDateTime(INT32_MIN, 0).QueryString(nullptr).IsNull());
}

TEST(TDateTime, QueryStringGrowsUntilTheTextFits) {
    std::string format;
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        format += "%Y";
        expected += "2001";
        if (i % 97 == 0) {
            ASSERT_EQ(Format(1000000000, format.c_str()), expected);
        }
    }
    EXPECT_EQ(Format(1000000000, format.c_str()), expected);
}

TEST(TDateTime, QueryStringOfAnEmptyExpansionIsNil) {
    EXPECT_TRUE(TDateTime(1, 0).QueryString("").IsNilString());
}

TEST(TDateTime, QueryStringOfALongFormatIsWhole) {
    for (std::size_t const length : {0x7FC0u, 0x8000u, 0xA000u, 0xFFD8u, 0xFFD9u, 0x10000u, 0x28000u}) {
        std::string const plain(length, 'x');
        EXPECT_EQ(Format(1, plain.c_str()), plain) << length;
        std::string format;
        std::string expected;
        while (format.size() < length) {
            format += "%d/%b %R ";
            expected += "01/Jan 00:00 ";
        }
        EXPECT_EQ(Format(1, format.c_str()), expected) << length;
    }
}

TEST(TDateTime, QueryStringKnowsTheConversionsOfC99) {
    EXPECT_EQ(Format(1000000000, "%C|%D|%e|%F"), "20|09/09/01| 9|2001-09-09");
    EXPECT_EQ(Format(1000000000, "%h|%n|%R|%t|%T"), "Sep|\n|01:46|\t|01:46:40");
    EXPECT_EQ(Format(1000000000, "%r|%u|%z|%%"), "01:46:40 AM|7|+0000|%");
    EXPECT_EQ(Format(1000000000, "%Ey|%Od|%EY"), "01|09|2001");
}

TEST(TDateTime, QueryStringKnowsWeeksThatBelongToAnotherYear) {
    EXPECT_EQ(Format(TimeOf(Record(2001, 8, 9)), "%G %g %V"), "2001 01 36");
    EXPECT_EQ(Format(TimeOf(Record(2005, 0, 1)), "%G %g %V"), "2004 04 53");
    EXPECT_EQ(Format(TimeOf(Record(2006, 0, 1)), "%G %g %V"), "2005 05 52");
    EXPECT_EQ(Format(TimeOf(Record(2007, 11, 31)), "%G %g %V"), "2008 08 01");
    EXPECT_EQ(Format(TimeOf(Record(2008, 11, 28)), "%G %g %V"), "2008 08 52");
    EXPECT_EQ(Format(TimeOf(Record(2000, 0, 2)), "%G %g %V"), "1999 99 52");
    EXPECT_EQ(Format(TimeOf(Record(2000, 11, 31)), "%G %g %V"), "2000 00 52");
    EXPECT_EQ(Format(TimeOf(Record(2001, 0, 1)), "%G %g %V"), "2001 01 01"); // 2000 was a leap year
}

TEST(TDateTime, QueryStringKeepsConversionsThatDoNotExist) {
    EXPECT_EQ(Format(0, "a%"), "a%");
    EXPECT_EQ(Format(0, "a%E"), "a%E");
    EXPECT_EQ(Format(0, "a%O"), "a%O");
    EXPECT_EQ(Format(0, "%Q%Y"), "%Q1970");
}

TEST(TDateTime, QueryStringTakesTheFlagOfTheRuntime) {
    std::time_t const time = 2 * 86400 + 3 * 3600 + 4 * 60 + 5; // 3 January 1970, 03:04:05
    std::tm const record = *std::gmtime(&time);
    for (char const conversion : std::string("aAbBcdHIjmMpSUwWxXyY")) {
        std::string const format = std::string("%#") + conversion + "|";
        char expected[200];
        ASSERT_NE(std::strftime(expected, sizeof expected, format.c_str(), &record), 0u);
        EXPECT_EQ(Format(time, format.c_str()), expected) << format;
    }
    EXPECT_TRUE(TStringIcmp(Format(time, "%#Z").c_str()).isEqual(TStringIcmp("GMT"))); // one runtime folds it
    EXPECT_EQ(Format(time, "%Z"), "GMT");
    EXPECT_EQ(Format(time, "%z"), "+0000");
    EXPECT_EQ(Format(time, "%#F"), "1970-01-03");
    EXPECT_EQ(Format(0, "%#"), "%#");
    EXPECT_EQ(Format(0, "%#Q"), "%#Q");
}

TEST(TDateTime, QueryStringEndsAtTheFirstZeroByte) {
    TString const text = TDateTime(0, 0).QueryString("%Y");
    EXPECT_EQ(text.length(), 4u);
    EXPECT_EQ(std::string(static_cast<char const *>(text)), "1970");
}

TEST(TDateTime, MonthFromNameIgnoresCaseAndNothingElse) {
    char const *const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int month = 0; month < 12; ++month) {
        EXPECT_EQ(TDateTime::MonthFromName(names[month]), month);
        TString name(names[month]);
        EXPECT_EQ(TDateTime::MonthFromName(name.upperCase()), month);
    }
    EXPECT_EQ(TDateTime::MonthFromName("mar"), 2);
    EXPECT_EQ(TDateTime::MonthFromName("March"), -1);
    EXPECT_EQ(TDateTime::MonthFromName("Ma"), -1);
    EXPECT_EQ(TDateTime::MonthFromName(""), -1);
    EXPECT_EQ(TDateTime::MonthFromName(" Jan"), -1);
    EXPECT_EQ(TDateTime::MonthFromName("\xCD"
                                       "an"),
              -1);
    EXPECT_EQ(TDateTime::MonthFromName(nullptr), -1);
}

TEST(TDateTime, PlaceholdersHaveNoContent) {
    EXPECT_TRUE(std::is_empty_v<TDate>);
    EXPECT_TRUE(std::is_empty_v<TTime>);
}
