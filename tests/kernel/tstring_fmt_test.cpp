// Strings as arguments of the library {fmt}, whose headers come first. With its ranges, a string is still one text.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tuzutil/TSTRING.h"

#include <vector>

#include <gtest/gtest.h>

TEST(StringFmt, StringsOfEveryClassAreTexts) {
    EXPECT_EQ(fmt::format("{}|{:>3}", TString("ab"), TString("c")), "ab|  c");
    EXPECT_EQ(fmt::format("{}", TStringIcmp("ab")), "ab");
    EXPECT_EQ(fmt::format("{}", TStringAndWipe("ab")), "ab");
}

TEST(StringFmt, NullStringsAreEmpty) {
    EXPECT_EQ(fmt::format("<{}>", TString()), "<>");
}

TEST(StringFmt, RangesOfStringsAreRangesOfTexts) {
    std::vector<TString> const names = {TString("a"), TString("b")};
    EXPECT_EQ(fmt::format("{}", fmt::join(names, ", ")), "a, b");
}
