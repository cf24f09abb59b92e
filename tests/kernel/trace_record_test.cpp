// What records begin with, at a time and in a process of the test's own choice.

#include "utility/kernel/trace_record.h"

#include "platform/platform.h"

#include <gtest/gtest.h>

static platform::TLocalTime fsNow;

platform::TLocalTime platform::LocalTime() noexcept {
    return fsNow;
}

static int fsZone = 0;

int platform::LocalZone() noexcept {
    return fsZone;
}

std::uint32_t platform::ThreadId() noexcept {
    return 0xA4;
}

std::uint32_t platform::ProcessId() noexcept {
    return 0x13C;
}

TEST(TracePrefix, IsWrittenInItsThreeForms) {
    fsNow = {7, 14, 9, 5, 3, 270};
    EXPECT_STREQ(TTracePrefix(TTracePrefix::thread, 0x4).Text(), "07/14-09:05:03.27 000000A4 E");
    EXPECT_STREQ(TTracePrefix(TTracePrefix::process, 0x8).Text(), "07/14-09:05:03.27 0000013C:000000A4 W");
    EXPECT_STREQ(TTracePrefix(TTracePrefix::letter, 0x10).Text(), "I");
    EXPECT_EQ(TTracePrefix(TTracePrefix::thread, 0x4).Length(), 28u);
    EXPECT_EQ(TTracePrefix(TTracePrefix::process, 0x8).Length(), 37u);
}

TEST(TracePrefix, HundredthsAreCutNotRounded) {
    struct {
        unsigned int millisecond;
        char const *expected;
    } const rows[] = {{0, "12/31-23:59:59.00 000000A4 S"},   {9, "12/31-23:59:59.00 000000A4 S"},
                      {10, "12/31-23:59:59.01 000000A4 S"},  {99, "12/31-23:59:59.09 000000A4 S"},
                      {995, "12/31-23:59:59.99 000000A4 S"}, {999, "12/31-23:59:59.99 000000A4 S"}};
    for (auto const &row : rows) {
        fsNow = {12, 31, 23, 59, 59, row.millisecond};
        EXPECT_STREQ(TTracePrefix(TTracePrefix::thread, 0x2).Text(), row.expected) << row.millisecond;
    }
}

TEST(TracePrefix, ShowsYearAndZoneIfAsked) {
    fsNow = {7, 14, 9, 5, 3, 270, 2026};
    constexpr unsigned long both = TTrace::Base::yearPart | TTrace::Base::zonePart;
    fsZone = 120;
    EXPECT_STREQ(TTracePrefix(TTracePrefix::thread, 0x4, both).Text(), "2026/07/14-09:05:03.27+02:00 000000A4 E");
    EXPECT_STREQ(TTracePrefix(TTracePrefix::process, 0x4, both).Text(),
                 "2026/07/14-09:05:03.27+02:00 0000013C:000000A4 E");
    EXPECT_STREQ(TTracePrefix(TTracePrefix::thread, 0x4, TTrace::Base::yearPart).Text(),
                 "2026/07/14-09:05:03.27 000000A4 E");
    EXPECT_STREQ(TTracePrefix(TTracePrefix::letter, 0x4, both).Text(), "E");
    fsZone = -210;
    EXPECT_STREQ(TTracePrefix(TTracePrefix::thread, 0x4, TTrace::Base::zonePart).Text(),
                 "07/14-09:05:03.27-03:30 000000A4 E");
}

TEST(TraceRecordParts, TheCategoryFollowsTheLetter) {
    static TTrace::Category const category(8, "Session");
    TTextMessage message("lost");
    message.SetDebugging("src/session.cpp", 7);
    EXPECT_STREQ(TTraceRecord(TTracePrefix::letter, 0x4, TTrace::Base::categoryPart, category, message).Text(),
                 "E Session [session.cpp:7] lost\n");
    EXPECT_STREQ(TTraceRecord(TTracePrefix::letter, 0x4, 0, category, message).Text(), "E [session.cpp:7] lost\n");
}
