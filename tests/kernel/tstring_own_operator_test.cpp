// A program that has written its own operators for strings. They compile beside those of the library and are preferred.

#include "tuzutil/TSTRING.h"

#include <filesystem>
#include <string_view>

#include <gtest/gtest.h>

static TString operator+(char const *left, TString const &right) {
    return TString("own ") + left + right;
}

TEST(StringOwnOperator, OfTheProgramIsPreferred) {
    TString const text("b");
    EXPECT_STREQ(static_cast<char const *>("a" + text), "own ab");
}

TEST(StringOwnOperator, NullStringsHaveAnEmptyRange) {
    TString const null;
    EXPECT_EQ(null.begin(), null.end());
    EXPECT_EQ(std::string(null.begin(), null.end()), "");
}

namespace {

struct TName {
    TString text;
    operator TString const &() const { return text; }
};

} // namespace

TEST(StringOwnOperator, ObjectsThatConvertToStringsAreCompared) {
    TName const a{"a"};
    TName const b{"b"};
    EXPECT_TRUE(a == a);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(a > b);
    EXPECT_TRUE(a <= b);
    EXPECT_FALSE(a >= b);
    EXPECT_TRUE(a == "a");
    EXPECT_TRUE("a" != b);
    EXPECT_TRUE(a == TString("a"));
}

TEST(StringOwnOperator, TextsOfOtherLibrariesCompareAmongThemselves) {
    std::string const text("a");
    EXPECT_TRUE(text == std::string_view("a"));
    EXPECT_TRUE(text == std::filesystem::path("a"));
    EXPECT_TRUE(std::filesystem::path("a") == "a");
}
