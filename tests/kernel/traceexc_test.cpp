#include "tuzutil/TRACEEXC.h"

#include "support/Expect.h"

#include <gtest/gtest.h>

#include <locale>

namespace {

// Groups digits, as many locales do.
struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

std::string Text(TException const &problem) {
    return Bytes(TTraceException::FormatException(problem));
}

} // namespace

TEST(TraceException, Example) {
    try {
        TString("abc").subString(0);
        FAIL();
    } catch (TException const &problem) {
        std::string const text = Text(problem);
        EXPECT_EQ(text.rfind("Exception TInvalidRequest, group Quendix Library, error ID: 1 (x1), recoverable\n"
                             "with the following text:\n"
                             "  Bad value to truncate this String\n"
                             "at location:\n"
                             "  [src/utility/TSTRING, ",
                             0),
                  0u)
            << text;
        EXPECT_EQ(text.back(), ']');
    }
}

TEST(TraceException, WithoutGroupTextAndLocation) {
    EXPECT_EQ(Text(TException(nullptr, 255, TException::unrecoverable)),
              "Exception TException, group unknown, error ID: 255 (xff), unrecoverable\n"
              "with the following text:\n"
              "at location:");
}

TEST(TraceException, TextsBeginWithTheNewestAndLocationsWithTheOldest) {
    TAssertionFailure problem("first", 0xABC, TException::recoverable);
    problem.appendText("second");
    problem.addLocation(TExceptionLocation("one.cpp", "", 1)).addLocation(TExceptionLocation("two.cpp", "Two()", 22));
    EXPECT_EQ(Text(problem), "Exception TAssertionFailure, group unknown, error ID: 2748 (xabc), recoverable\n"
                             "with the following text:\n"
                             "  second\n"
                             "  first\n"
                             "at location:\n"
                             "  [one.cpp, 1]\n"
                             "  [two.cpp, 22] Two()");
}

TEST(TraceException, ALocationWithoutNamesHasOnlyItsLine) {
    TException problem(nullptr, 255, TException::unrecoverable);
    problem.addLocation(TExceptionLocation(nullptr, nullptr, 3));
    EXPECT_EQ(Text(problem), "Exception TException, group unknown, error ID: 255 (xff), unrecoverable\n"
                             "with the following text:\n"
                             "at location:\n"
                             "  [, 3]");
}

TEST(TraceException, NumbersAreWrittenTheSameInEveryLocale) {
    std::locale const before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    std::string const text = Text(TException("x", 1234567, TException::recoverable));
    std::locale::global(before);
    EXPECT_NE(text.find("error ID: 1234567 (x12d687)"), std::string::npos) << text;
}
