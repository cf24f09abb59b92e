#include "tuzutil/VERSION.h"

#include "tuzutil/RELEASE.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

TEST(TVersion, Example) {
    TVersion version(3, 7);
    EXPECT_EQ(std::string(version.QueryVersion()), std::string("3.7.") + version.QueryRevision());
}

TEST(TVersion, TextIsMadeOnce) {
    TVersion const version(65535, 0);
    char const *const text = version.QueryVersion();
    EXPECT_EQ(std::string(text), std::string("65535.0.") + version.QueryRevision());
    EXPECT_EQ(version.QueryVersion(), text);
    EXPECT_EQ(version.QueryMajor(), 65535);
    EXPECT_EQ(version.QueryMinor(), 0);
}

TEST(TVersion, BuildTagIsTheVersionOfTheProject) {
    EXPECT_STREQ(TVersion(1, 1).QueryRevision(), "tuzutil-0.1.0");
}

TEST(TVersion, MacrosCompareVersions) {
    EXPECT_EQ(TUZUTIL_VERSION, 1000);
    EXPECT_STREQ(TUZUTIL_VERSION_STRING, "0.1.0");
    EXPECT_TRUE(TUZUTIL_VERSION_IS_AT_LEAST(0, 0, 999) && TUZUTIL_VERSION_IS_AT_LEAST(0, 1, 0));
    EXPECT_FALSE(TUZUTIL_VERSION_IS_AT_LEAST(0, 1, 1) || TUZUTIL_VERSION_IS_AT_LEAST(1, 0, 0));
    EXPECT_EQ(TUZUTIL_VERSION_NUMBER(2, 13, 7), 2013007);
}

TEST(TVersion, CopiesHaveATextOfTheirOwn) {
    TVersion original(1, 2);
    char const *const text = original.QueryVersion();
    TVersion copy(original);
    EXPECT_STREQ(copy.QueryVersion(), text);
    EXPECT_NE(copy.QueryVersion(), text);
    copy = TVersion(4, 5);
    EXPECT_EQ(std::string(copy.QueryVersion()).substr(0, 4), "4.5.");
}

TEST(TVersion, ThreadsGetOneText) {
    TVersion const version(1, 2);
    std::vector<char const *> texts(8);
    std::vector<std::thread> threads;
    for (char const *&text : texts)
        threads.emplace_back([&] { text = version.QueryVersion(); });
    for (std::thread &thread : threads)
        thread.join();
    for (char const *const text : texts)
        EXPECT_EQ(text, texts[0]);
}

TEST(TVersion, TheInstanceIsNullAndTheExportedNumbersAreZero) {
    EXPECT_EQ(TVersion::QueryInstance(), nullptr);
    EXPECT_EQ(QueryMajorVersion(), 0);
    EXPECT_EQ(QueryMinorVersion(), 0);
}

TEST(TVersion, AssignedToItselfKeepsItsText) {
    TVersion version(4, 5);
    char const *const text = version.QueryVersion();
    TVersion const &same = version;
    version = same;
    EXPECT_EQ(version.QueryMajor(), 4);
    EXPECT_EQ(version.QueryVersion(), text);
}
