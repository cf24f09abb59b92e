// What the frequent directives print in records of trace points. The texts end at the end of a block of memory, so that
// a checker sees every byte that is read beyond them.

#include "support/TracedText.h"
#include "tuzutil/TRACEP.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

TTrace::Category const fsCategory(1, "TracePlainTest");

template <typename... Arguments>
void Write(char const *format, Arguments const &...arguments) {
    TTracePoint::Write(TTrace::error, fsCategory, {"src/file.cpp", 7}, format, arguments...);
}

std::vector<char> Exact(std::string const &text) {
    return std::vector<char>(text.c_str(), text.c_str() + text.size() + 1);
}

} // namespace

// The text around a directive is copied in blocks of sixteen and eight bytes.
TEST(TracePlain, ADirectiveMayStandAnywhere) {
    TTracedText traced;
    TString const text("a text that is longer than two blocks", 37, ' ');
    for (std::size_t before = 0; before < 40; ++before) {
        for (std::size_t after = 0; after < 40; ++after) {
            std::string const left(before, 'l');
            std::string const right(after, 'r');
            Write(Exact(left + "%d" + right).data(), -4711);
            ASSERT_EQ(traced.Take(), "E [file.cpp:7] " + left + "-4711" + right + "\n");
            Write(Exact(left + "%s" + right + "%%%2$u").data(), text, 17u);
            ASSERT_EQ(traced.Take(), "E [file.cpp:7] " + left + text.data() + right + "%17\n");
            Write(Exact(left + "%2$s" + right + "%1$X").data(), 0xBEEF, "second");
            ASSERT_EQ(traced.Take(), "E [file.cpp:7] " + left + "second" + right + "BEEF\n");
        }
    }
}

TEST(TracePlain, NumbersOfEveryLengthAreWhole) {
    TTracedText traced;
    std::uint32_t number = 0;
    for (int digits = 1; digits <= 10; ++digits) {
        // The least and the greatest number of this length.
        std::uint32_t const least = digits == 1 ? 0 : static_cast<std::uint32_t>(std::pow(10, digits - 1));
        number = digits == 10 ? 0xFFFFFFFF : static_cast<std::uint32_t>(std::pow(10, digits)) - 1;
        Write("%u %u %x %X", least, number, least, number);
        char expected[80];
        std::snprintf(expected, sizeof expected, "E [file.cpp:7] %u %u %x %X\n", least, number, least, number);
        EXPECT_EQ(traced.Take(), expected);
    }
    Write("%d %d %d %u", 0x7FFFFFFF, static_cast<int>(0x80000000), -1, -1);
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] 2147483647 -2147483648 -1 4294967295\n");
}

TEST(TracePlain, TextsOfEveryLengthAreWholeAndEndAtAZero) {
    TTracedText traced;
    for (unsigned int length = 0; length < 70; ++length) {
        std::string text;
        while (text.size() < length)
            text += static_cast<char>('a' + text.size() % 26);
        Write("<%s>", static_cast<char const *>(Exact(text).data()));
        EXPECT_EQ(traced.Take(), "E [file.cpp:7] <" + text + ">\n");
        std::string zeros = text + '\0' + "behind";
        Write("<%s>", TString(zeros.data(), static_cast<unsigned int>(zeros.size()), ' '));
        EXPECT_EQ(traced.Take(), "E [file.cpp:7] <" + text + ">\n");
    }
}

TEST(TracePlain, FileNamesOfEveryLengthAreShownWithoutTheirPath) {
    TTracedText traced;
    for (std::size_t length = 0; length < 40; ++length) {
        std::string const name(length, 'n');
        for (std::string const path : {"", "/", "\\", "src/", "a/b\\c/", "a path of more than sixteen bytes/"}) {
            TTracePoint::Write(TTrace::error, fsCategory, {Exact(path + name).data(), 7}, "%d", 17);
            EXPECT_EQ(traced.Take(), "E [" + name + ":7] 17\n") << path;
        }
    }
}

TEST(TracePlain, WhatOnlyTheGeneralPrinterTakesIsTheSameInMessages) {
    TTracedText traced;
    traced.trace.AddCategory(TUtilityTraceCategory::Message, 0); // which reports the faults
    Write("%d|%u", 2.5, 7u);
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] 0|7\n");
    Write("%9$d|%2$d", 5, 6);
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] 0|6\n");
    Write("%s", static_cast<char const *>(nullptr));
    EXPECT_EQ(traced.Take(), "E [file.cpp:7] (null)\n");
    for (char const *const format : {"%!$d|%d", "%x$d|%d", "%0$d|%d", "%d%", "%1$"}) {
        Write(format, 5);
        EXPECT_EQ(traced.Take(), std::string("E [file.cpp:7] ") + TTextMessage(format, 5).QueryMessage().data() + "\n")
            << format;
    }
}

TEST(TracePlain, ALongTextLeavesNoRoomForTheDirectivesAfterIt) {
    TTracedText traced;
    for (std::size_t length = 700; length < 1100; ++length) {
        std::string const text(length, 'x');
        Write((text + "%d%s|%x").c_str(), 17, "text", 255);
        ASSERT_EQ(traced.Take(), "E [file.cpp:7] " + text + "17text|ff\n");
    }
}
