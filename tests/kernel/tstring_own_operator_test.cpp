// A program that has written its own operators for strings. They compile beside those of the library and are preferred.

#include "tuzutil/TSTRING.h"

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
