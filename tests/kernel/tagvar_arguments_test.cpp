// What becomes an argument of a message besides the types of the library itself.

#include "support/CaptureTrace.h"
#include "tagvar_support.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TXTMSG.h"
#include "tuzutil/UNICODE.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <ratio>
#include <string>
#include <string_view>
#include <system_error>

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace std::string_view_literals;

namespace mail {

struct TSize {
    int octets;
};
TagVar ToTagVar(TSize const &size) {
    return TagVar(TString(size.octets) + " octets");
}

enum TState { waiting, ready };
TagVar ToTagVar(TState state) {
    return state == ready ? "ready" : "waiting";
}

} // namespace mail

namespace {

enum class TColour : unsigned char { red = 1, blue = 200 };
enum class TFar : long long { away = -(1ll << 40) };
enum TOld { older = 3 };

// A type with several conversions.
struct TFolder {
    operator TagVar() const { return TagVar("folder"); }
    operator char const *() const { return "characters"; }
    operator int() const { return 17; }
};

struct TFails {
    operator TagVar() const { throw 1; }
};

template <typename... Arguments>
std::string Print(char const *format, Arguments const &...arguments) {
    return std::string(TTextMessage(format, arguments...).QueryMessage());
}

} // namespace

TEST(TagVarArguments, StandardTexts) {
    EXPECT_EQ(Show(TagVar("a\0b"s)), "string a\0b"s);
    EXPECT_EQ(Show(TagVar("abc"sv.substr(1))), "string bc");
    EXPECT_EQ(Show(TagVar(std::string_view())), "string ");
    EXPECT_EQ(Show(TagVar(u"hi"s)), "widestring h\0i\0"s);
    EXPECT_EQ(Show(TagVar(u"hi"sv)), "widestring h\0i\0"s);
    EXPECT_EQ(Print("%s|%s|%5s", "inbox"s, "drafts"sv, u"ab"s), "inbox|drafts|   ab");
    TagVar value;
    value = "assigned"s;
    EXPECT_EQ(Show(value), "string assigned");
    value += " twice"sv;
    EXPECT_EQ(Show(value), "string assigned twice");
}

#if defined(__cpp_char8_t)
TEST(TagVarArguments, Utf8TextIsPrintedWhateverTheSystemSays) {
    for (int const mode : {0, 1}) {
        TUnicode::SetUtf8Mode(mode);
        EXPECT_EQ(Show(TagVar(u8"abc")), "string abc");
        EXPECT_EQ(Show(TagVar(u8"abc"s)), "string abc");
        EXPECT_EQ(Show(TagVar(u8"abc"sv)), "string abc");
    }
    EXPECT_EQ(Show(TagVar(u8"\u00FC")), "string \xC3\xBC");
    EXPECT_EQ(Print("%s", u8"Gr\u00FC\u00DFe"), "Gr\xC3\xBC\xC3\x9F"
                                                "e");
    TUnicode::SetUtf8Mode(0);
    EXPECT_EQ(TUnicode::ToUtf8(*TagVar(u8"\u00FC").QueryString()), "\xC3\xBC"); // narrow, or 16-bit where it has to be
    EXPECT_EQ(Print("%s", static_cast<char8_t const *>(nullptr)), "(null)");
}
#endif

TEST(TagVarArguments, ScopedEnumsAreTheirNumbers) {
    EXPECT_EQ(Show(TagVar(TColour::blue)), "integer 200");
    EXPECT_EQ(Show(TagVar(TFar::away)), "integer64 -1099511627776");
    EXPECT_EQ(Show(TagVar(older)), "integer 3");
    EXPECT_EQ(Print("%d %s", TColour::red, "next"), "1 next");
}

TEST(TagVarArguments, PointersAreAddresses) {
    int number = 0;
    int const *const constant = &number;
    EXPECT_EQ(TagVar(&number).QueryVoidPtr(), &number);
    EXPECT_EQ(TagVar(constant).QueryVoidPtr(), &number);
    EXPECT_EQ(TagVar(static_cast<void *>(&number)).QueryVoidPtr(), &number);
    EXPECT_EQ(TagVar(static_cast<TFolder *>(nullptr)).QueryVoidPtr(), nullptr);
    EXPECT_EQ(Print("%s %p", "at", reinterpret_cast<int *>(std::uintptr_t{0x1AB})),
              sizeof(void *) == 4 ? "at 000001AB" : "at 00000000000001AB");
    static_assert(!std::is_constructible_v<TagVar, wchar_t const *>);
    static_assert(!std::is_constructible_v<TagVar, TagVar const *>);
    static_assert(!std::is_constructible_v<TagVar, void (*)()>);
}

TEST(TagVarArguments, FailuresAndPaths) {
    EXPECT_EQ(Show(TagVar(std::make_error_code(std::errc::no_such_file_or_directory))),
              "string " + std::make_error_code(std::errc::no_such_file_or_directory).message() + " (generic:2)");
    EXPECT_EQ(Print("%s", std::filesystem::path("mail") / "inbox"),
              "mail" + std::string(1, static_cast<char>(std::filesystem::path::preferred_separator)) + "inbox");
    EXPECT_EQ(TagVar(std::filesystem::path("a")).IsWideString(), sizeof(std::filesystem::path::value_type) == 2);
    EXPECT_EQ(Print("%.1f", 2.5L), "2.5");
}

TEST(TagVarArguments, DurationsHaveTheirUnits) {
    EXPECT_EQ(Show(TagVar(1500ms)), "string 1500ms");
    EXPECT_EQ(Print("%s %s %s %s %s", -3s, 2min, 1h, 7us, 9ns), "-3s 2min 1h 7us 9ns");
    EXPECT_EQ(Print("%s", std::chrono::duration<double>(2.5)), "2.5s");
    EXPECT_EQ(Print("%s", std::chrono::duration<int, std::ratio<1, 60>>(5)), "5[1/60]s");
    EXPECT_EQ(Print("%s", std::chrono::duration<int, std::ratio<7>>(5)), "5[7]s");
}

TEST(TagVarArguments, TimesOfTheCalendarAreInUtc) {
    using TSystem = std::chrono::system_clock;
    auto const at = [](auto sinceEpoch) {
        return Show(TagVar(std::chrono::time_point<TSystem, decltype(sinceEpoch)>(sinceEpoch)));
    };
    EXPECT_EQ(at(1000000000250ms), "string 2001-09-09T01:46:40.250Z");
    EXPECT_EQ(at(0s), "string 1970-01-01T00:00:00Z");
    EXPECT_EQ(at(-1ms), "string 1969-12-31T23:59:59.999Z");
    EXPECT_EQ(at(951782400s), "string 2000-02-29T00:00:00Z");
    EXPECT_EQ(at(4102444799000001us), "string 2099-12-31T23:59:59.000001Z");
    EXPECT_EQ(at(1000000000000000001ns), "string 2001-09-09T01:46:40.000000001Z");
    EXPECT_EQ(at(24h * 366), "string 1971-01-02T00:00:00Z");
    EXPECT_EQ(at(-62167219201s), "string -0001-12-31T23:59:59Z");
    using TFine =
        std::chrono::duration<long long, std::ratio<1, 2147483648>>; // finer than nanoseconds, and no multiple
    EXPECT_EQ(at(TFine(2147483647)), "string 1970-01-01T00:00:00.999999999Z");
    EXPECT_EQ(at(TFine(536870912)), "string 1970-01-01T00:00:00.250000000Z");
    EXPECT_EQ(at(std::chrono::duration<double>(0.25)), "string 1970-01-01T00:00:00.250Z");
    EXPECT_EQ(at(std::chrono::seconds::max()), "string 9223372036854775807s"); // no calendar goes so far
    EXPECT_EQ(Show(TagVar(std::chrono::steady_clock::time_point(5ns))), "string 5ns");
}

namespace {

template <typename Period>
std::string OneOf() {
    return Show(TagVar(std::chrono::duration<long long, Period>(1)));
}

// "1970-01-01T00:00:00.DIGITSZ": the last moment before the first second of 1970 is over.
template <std::intmax_t parts>
std::string LastMoment() {
    using TParts = std::chrono::duration<long long, std::ratio<1, parts>>;
    return Show(TagVar(std::chrono::time_point<std::chrono::system_clock, TParts>(TParts(parts - 1))));
}

} // namespace

TEST(TagVarArguments, DurationsHaveTheNameOfEveryUnitOfTheStandard) {
    EXPECT_EQ(OneOf<std::atto>(), "string 1as");
    EXPECT_EQ(OneOf<std::femto>(), "string 1fs");
    EXPECT_EQ(OneOf<std::pico>(), "string 1ps");
    EXPECT_EQ(OneOf<std::nano>(), "string 1ns");
    EXPECT_EQ(OneOf<std::micro>(), "string 1us");
    EXPECT_EQ(OneOf<std::milli>(), "string 1ms");
    EXPECT_EQ(OneOf<std::centi>(), "string 1cs");
    EXPECT_EQ(OneOf<std::deci>(), "string 1ds");
    EXPECT_EQ(OneOf<std::ratio<1>>(), "string 1s");
    EXPECT_EQ(OneOf<std::deca>(), "string 1das");
    EXPECT_EQ(OneOf<std::hecto>(), "string 1hs");
    EXPECT_EQ(OneOf<std::kilo>(), "string 1ks");
    EXPECT_EQ(OneOf<std::mega>(), "string 1Ms");
    EXPECT_EQ(OneOf<std::giga>(), "string 1Gs");
    EXPECT_EQ(OneOf<std::ratio<60>>(), "string 1min");
    EXPECT_EQ(OneOf<std::ratio<3600>>(), "string 1h");
    EXPECT_EQ(OneOf<std::ratio<86400>>(), "string 1d");
    EXPECT_EQ((OneOf<std::ratio<3, 2>>()), "string 1[3/2]s");
}

TEST(TagVarArguments, TimesHaveThreeSixOrNineDigitsAsTheirUnitNeeds) {
    EXPECT_EQ(LastMoment<2>(), "string 1970-01-01T00:00:00.500Z");
    EXPECT_EQ(LastMoment<1000>(), "string 1970-01-01T00:00:00.999Z");
    EXPECT_EQ(LastMoment<1001>(), "string 1970-01-01T00:00:00.999000Z");
    EXPECT_EQ(LastMoment<1000000>(), "string 1970-01-01T00:00:00.999999Z");
    EXPECT_EQ(LastMoment<1000001>(), "string 1970-01-01T00:00:00.999999000Z");
    EXPECT_EQ(LastMoment<1000000000>(), "string 1970-01-01T00:00:00.999999999Z");
    EXPECT_EQ(LastMoment<1000000000000>(), "string 1970-01-01T00:00:00.999999999Z");
    EXPECT_EQ(LastMoment<1000000000000000>(), "string 1970-01-01T00:00:00.999999999Z");
}

TEST(TagVarArguments, TimesOfAUnitThatIsNoWholeNumberAndNoFractionOfASecond) {
    using TOdd = std::chrono::duration<long long, std::ratio<3, 2>>;
    EXPECT_EQ(Show(TagVar(std::chrono::time_point<std::chrono::system_clock, TOdd>(TOdd(5)))),
              "string 1970-01-01T00:00:07.500Z");
}

TEST(TagVarArguments, TimesMayHaveAFractionOfTheirUnit) {
    using TReal = std::chrono::duration<double>;
    using TRealMicroseconds = std::chrono::duration<double, std::micro>;
    auto const show = [](auto since) {
        return Show(TagVar(std::chrono::time_point<std::chrono::system_clock, decltype(since)>(since)));
    };
    EXPECT_EQ(show(TReal(1.5)), "string 1970-01-01T00:00:01.500Z");
    EXPECT_EQ(show(TReal(-0.25)), "string 1969-12-31T23:59:59.750Z");
    EXPECT_EQ(show(TRealMicroseconds(-0.5)), "string 1969-12-31T23:59:59.999999Z");
}

TEST(TagVarArguments, TimesTooFarForACalendarAreDurations) {
    using TReal = std::chrono::duration<double>;
    auto const at = [](double seconds) {
        return Show(TagVar(std::chrono::time_point<std::chrono::system_clock, TReal>(TReal(seconds))));
    };
    EXPECT_EQ(at(1e15), "string 1e+15s");
    EXPECT_EQ(at(-1e15), "string -1e+15s");
    EXPECT_EQ(at(std::numeric_limits<double>::infinity()), "string infs");
}

TEST(TagVarArguments, TypesOfUsersSayWhatTheyAre) {
    EXPECT_EQ(Print("%s, %s", mail::TSize{120}, mail::ready), "120 octets, ready");
    EXPECT_EQ(Show(TagVar(TFolder())), "string folder");
    EXPECT_EQ(Print("%s", TFolder()), "folder");
    EXPECT_EQ(Print("%s", TTextMessage("%d messages", 5)), "5 messages");
    EXPECT_EQ(Show(TagVar(TTextMessage("%d messages", 5))), "string 5 messages");
}

TEST(TagVarArguments, WhatCompiledBeforeGivesTheSameKinds) {
    char text[] = "abc";
    EXPECT_EQ(Show(TagVar(text)), "string abc");
    EXPECT_EQ(Show(TagVar(static_cast<char *>(text))), "string abc");
    EXPECT_EQ(Show(TagVar(TTextMessage::StoreID())), "string <NULL>");
    EXPECT_EQ(Show(TagVar('a')), "integer 97");
    EXPECT_EQ(Show(TagVar(true)), "integer 1");
    EXPECT_EQ(Show(TagVar(1.5f)), "real 1.5");
    EXPECT_EQ(TypeText(TagVar(nullptr)), "string");
    EXPECT_EQ(TypeText(TagVar(TagVar::endOfArgs)), "endOfArgs");
}

TEST(TagVarArguments, AnEntryIsWrittenWithoutAnArgumentThatFails) {
    TTrace::Category const category(8, "Session");
    TCapture capture;
    TTracePoint::Write(TTrace::error, category, "file", "%d %s %d", TFails(), "and", 1ll << 40);
    ASSERT_EQ(capture.Entries().size(), 2u); // the formatting of the entry reports the mismatch
    EXPECT_EQ(capture.Entries()[1].text, "? and 1099511627776");
    capture.Entries().clear();
    TTracePoint::Write(TTrace::error, category, "file", "[%3s]", Unknown());
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[1].text, "[  ?]");
}
