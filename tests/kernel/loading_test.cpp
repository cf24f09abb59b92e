#include "utility/kernel/loading.h"

#include "utility/kernel/reporter.h"

#include "support/Expect.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

char const fsFile[] = "src/utility/FILE";

TReporter const fsReports(TUtilityTraceCategory::Utility, fsFile);

// False if the failure was kept.
bool Fail(char const *text) {
    return TLoading::RaiseOrKeep([&] {
        fsReports.Raise<TInvalidRequest>({text, 17}, {.function = "Function()", .errorId = 2});
    });
}

template <typename Call>
void ExpectFailure(char const *text, Call call) {
    ExpectThrows<TInvalidRequest>({.text = text, .file = fsFile, .errorId = 2, .function = "Function()", .line = 17},
                                  call);
}

} // namespace

TEST(TLoading, OutsideALoadFailuresAreThrownAtOnce) {
    EXPECT_FALSE(TLoading::IsUnderWay());
    ExpectFailure("first", [] { Fail("first"); });
}

TEST(TLoading, TheFirstFailureOfALoadIsThrownBehindIt) {
    {
        TLoading loading;
        EXPECT_TRUE(TLoading::IsUnderWay());
        EXPECT_FALSE(Fail("first"));
        Fail("second");
        ExpectFailure("first", [&] { loading.Rethrow(); });
        loading.Rethrow(); // once
    }
    EXPECT_FALSE(TLoading::IsUnderWay());
    ExpectFailure("third", [] { Fail("third"); });
}

TEST(TLoading, ALoadWithoutFailureThrowsNothing) {
    TLoading loading;
    EXPECT_NO_THROW(loading.Rethrow());
}

TEST(TLoading, AnInnerLoadLeavesItsFailureToTheOuterOne) {
    TLoading outer;
    {
        TLoading inner;
        Fail("inner");
        EXPECT_NO_THROW(inner.Rethrow());
    }
    Fail("outer");
    ExpectFailure("inner", [&] { outer.Rethrow(); });
}

TEST(TLoading, AnOuterFailureStaysTheFirst) {
    TLoading outer;
    Fail("outer");
    {
        TLoading inner;
        Fail("inner");
        EXPECT_NO_THROW(inner.Rethrow());
    }
    ExpectFailure("outer", [&] { outer.Rethrow(); });
}

TEST(TLoading, OtherThreadsAreNotConcerned) {
    TLoading loading;
    std::thread([] {
        EXPECT_FALSE(TLoading::IsUnderWay());
        ExpectFailure("elsewhere", [] { Fail("elsewhere"); });
    }).join();
    EXPECT_NO_THROW(loading.Rethrow());
}
