#include "platform/platform.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

TEST(SystemError, TextOfAKnownErrorIsEnglishAndOneLine) {
    std::setlocale(LC_ALL, "");
    char text[200];
    std::size_t const length = platform::ErrorText(5, text, sizeof text);
    EXPECT_EQ(length, std::string(text).size());
    EXPECT_GT(length, 5u);
    EXPECT_EQ(std::string(text).find_first_of("\r\n"), std::string::npos);
}

TEST(SystemError, UnknownErrorsAreNumbers) {
    char text[200];
    EXPECT_EQ(platform::ErrorText(987654321, text, sizeof text), 23u);
    EXPECT_STREQ(text, "Unknown error 987654321");
}

TEST(SystemError, TextIsCutToTheRoomThatThereIs) {
    char text[8] = "xxxxxxx";
    EXPECT_EQ(platform::ErrorText(987654321, text, 8), 7u);
    EXPECT_STREQ(text, "Unknown");
    EXPECT_EQ(platform::ErrorText(5, text, 1), 0u);
    EXPECT_STREQ(text, "");
}

TEST(SystemError, UnknownNumbersOfTheRuntimeHaveAText) {
    EXPECT_STREQ(platform::RuntimeErrorText(987654321), "Unknown error");
    EXPECT_GT(std::string(platform::RuntimeErrorText(2)).size(), 5u);
}
