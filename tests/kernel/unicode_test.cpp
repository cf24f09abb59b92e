#include "tuzutil/UNICODE.h"

#include "support/Expect.h"
#include "support/LocaleC.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::literals;

char const fsFile[] = "src/utility/UNICODE";

// The bits of a character where RFC 3629 puts them.
std::string ReferenceUtf8(std::uint32_t code) {
    auto const byte = [](std::uint32_t value) { return static_cast<char>(value); };
    if (code < 0x80)
        return {byte(code)};
    if (code < 0x800)
        return {byte(0xC0 + code / 64), byte(0x80 + code % 64)};
    if (code < 0x10000)
        return {byte(0xE0 + code / 4096), byte(0x80 + code / 64 % 64), byte(0x80 + code % 64)};
    return {byte(0xF0 + code / 262144), byte(0x80 + code / 4096 % 64), byte(0x80 + code / 64 % 64),
            byte(0x80 + code % 64)};
}

std::u16string ReferenceUnits(std::uint32_t code) {
    if (code < 0x10000)
        return {static_cast<char16_t>(code)};
    return {static_cast<char16_t>(0xD800 + (code - 0x10000) / 1024), static_cast<char16_t>(0xDC00 + code % 1024)};
}

std::string Replaced(std::string_view text) {
    return std::string(TUnicode::ToUtf8(TUnicode::FromUtf8(text, TUnicode::replace)));
}

// For a scope: narrow text is UTF-8.
class TUtf8Mode {
public:
    TUtf8Mode() { TUnicode::SetUtf8Mode(1); }
    TUtf8Mode(TUtf8Mode const &) = delete;
    TUtf8Mode &operator=(TUtf8Mode const &) = delete;
    ~TUtf8Mode() { TUnicode::SetUtf8Mode(0); }
};

} // namespace

TEST(Unicode, Example) {
    TString const wide = TUnicode::FromUtf8("Entw\xC3\xBCrfe");
    EXPECT_TRUE(wide.IsUnicode());
    EXPECT_EQ(wide.u16view(), u"Entw\u00FCrfe");
    TString const back = TUnicode::ToUtf8(wide);
    EXPECT_FALSE(back.IsUnicode());
    EXPECT_EQ(back.view(), "Entw\xC3\xBCrfe");
    EXPECT_EQ(TUnicode::FindFault("a\xFF"), 2u);
    EXPECT_EQ(TUnicode::ToUtf8("a\xFF", TUnicode::replace).view(), "a\xEF\xBF\xBD");
}

TEST(Unicode, EveryCharacterIsConvertedInBothDirections) {
    for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
        if (code >= 0xD800 && code <= 0xDFFF)
            continue;
        std::string const bytes = ReferenceUtf8(code);
        std::u16string const units = ReferenceUnits(code);
        ASSERT_EQ(TUnicode::FromUtf8(bytes).u16view(), units) << std::hex << code;
        ASSERT_EQ(TUnicode::ToUtf8(units).view(), bytes) << std::hex << code;
    }
}

TEST(Unicode, NullStaysNullAndNilStaysNil) {
    EXPECT_TRUE(TUnicode::FromUtf8(TString()).IsNull());
    EXPECT_TRUE(TUnicode::ToUtf8(TString()).IsNull());
    EXPECT_TRUE(TUnicode::FromUtf8("").IsNilString());
    EXPECT_TRUE(TUnicode::FromUtf8("").IsUnicode());
    EXPECT_TRUE(TUnicode::ToUtf8(u"").IsNilString());
    EXPECT_FALSE(TUnicode::ToUtf8(u"").IsUnicode());
    EXPECT_EQ(TUnicode::FindFault(TString()), 0u);
}

TEST(Unicode, ZeroCharactersAreKept) {
    EXPECT_EQ(TUnicode::FromUtf8("a\0b"sv).u16view(), u"a\0b"sv);
    EXPECT_EQ(TUnicode::ToUtf8(u"a\0b"sv).view(), "a\0b"sv);
}

TEST(Unicode, MalformedBytesAreRefusedWithTheirPlace) {
    struct TCase {
        std::string_view text;
        char const *failure;
    };
    for (TCase const &each :
         {TCase{"\x80", "Malformed UTF-8 at byte 1"}, TCase{"ab\xFF", "Malformed UTF-8 at byte 3"},
          TCase{"a\xC0\x80", "Malformed UTF-8 at byte 2"}, TCase{"a\xC1\xBF", "Malformed UTF-8 at byte 2"},
          TCase{"\xE0\x9F\xBF", "Malformed UTF-8 at byte 1"}, TCase{"\xED\xA0\x80", "Malformed UTF-8 at byte 1"},
          TCase{"\xF0\x8F\xBF\xBF", "Malformed UTF-8 at byte 1"},
          TCase{"\xF4\x90\x80\x80", "Malformed UTF-8 at byte 1"},
          TCase{"\xF5\x80\x80\x80", "Malformed UTF-8 at byte 1"}, TCase{"abc\xE2\x82", "Malformed UTF-8 at byte 4"},
          TCase{"\xC3\xBC\xC3", "Malformed UTF-8 at byte 3"}}) {
        SCOPED_TRACE(each.failure);
        ExpectThrows<TInvalidRequest>({each.failure, fsFile}, [&] { TUnicode::FromUtf8(each.text); });
        ExpectThrows<TInvalidRequest>({each.failure, fsFile}, [&] { TUnicode::ToUtf8(each.text); });
    }
}

TEST(Unicode, UnpairedSurrogatesAreRefusedWithTheirPlace) {
    char16_t const high[] = {u'a', 0xD83D, u'b'};
    char16_t const low[] = {u'a', u'b', 0xDE00};
    char16_t const last[] = {0xD83D};
    char16_t const reversed[] = {0xDE00, 0xD83D};
    struct TCase {
        std::u16string_view text;
        unsigned int place;
        std::string_view replaced;
    };
    for (TCase const &each : {TCase{{high, 3},
                                    2,
                                    "a\xEF\xBF\xBD"
                                    "b"},
                              TCase{{low, 3}, 3, "ab\xEF\xBF\xBD"}, TCase{{last, 1}, 1, "\xEF\xBF\xBD"},
                              TCase{{reversed, 2}, 1, "\xEF\xBF\xBD\xEF\xBF\xBD"}}) {
        std::string const failure = "Unpaired surrogate at character " + std::to_string(each.place);
        ExpectThrows<TInvalidRequest>({failure.c_str(), fsFile}, [&] { TUnicode::ToUtf8(each.text); });
        EXPECT_EQ(TUnicode::FindFault(each.text), each.place);
        EXPECT_EQ(TUnicode::ToUtf8(each.text, TUnicode::replace).view(), each.replaced);
    }
}

// The examples of the Unicode standard, chapter 3.9.
TEST(Unicode, OneReplacementStandsForTheBytesThatCouldBeginACharacter) {
    EXPECT_EQ(Replaced("\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41"),
              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\x41");
    EXPECT_EQ(Replaced("\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41"),
              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\x41");
    EXPECT_EQ(Replaced("\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"),
              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\x41\xEF\xBF\xBD\xEF\xBF\xBD\x42");
    EXPECT_EQ(Replaced("\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\x41");
}

TEST(Unicode, AnOddLastByteIsAFaultOfSixteenBitText) {
    TString text("ab\0"sv);
    text.SetUnicode(1);
    EXPECT_EQ(TUnicode::FindFault(text), 2u);
    EXPECT_EQ(TUnicode::ToUtf8(text, TUnicode::replace).view(), "\xE6\x89\xA1\xEF\xBF\xBD");
    EXPECT_EQ(TUnicode::FromUtf8(text, TUnicode::replace).u16view(), u"\u6261\uFFFD");
}

TEST(Unicode, TextOfTheWantedFormIsSharedIfItHasNoFault) {
    TString const narrow("\xC3\xBC");
    EXPECT_EQ(TUnicode::ToUtf8(narrow).data(), narrow.data());
    EXPECT_EQ(TUnicode::ToUtf8(narrow, TUnicode::replace).data(), narrow.data());
    TString const wide(u"\u00FC");
    EXPECT_EQ(TUnicode::FromUtf8(wide).data(), wide.data());
    char16_t const high[] = {u'a', 0xD83D};
    EXPECT_EQ(TUnicode::FromUtf8(std::u16string_view(high, 2), TUnicode::replace).u16view(), u"a\uFFFD");
}

TEST(Unicode, TheResultOfASecretIsWiped) {
    EXPECT_TRUE(TUnicode::FromUtf8(TStringAndWipe("secret")).IsWipeOnDelete());
    EXPECT_FALSE(TUnicode::FromUtf8("text").IsWipeOnDelete());
}

TEST(Utf8Mode, IsOffAtFirstAndTellsWhatItWas) {
    EXPECT_EQ(TUnicode::IsUtf8Mode(), 0);
    EXPECT_EQ(TUnicode::SetUtf8Mode(1), 0);
    EXPECT_EQ(TUnicode::IsUtf8Mode(), 1);
    EXPECT_EQ(TUnicode::SetUtf8Mode(0), 1);
}

TEST(Utf8Mode, SixteenBitTextInANarrowMessageBecomesUtf8WhateverTheLocaleSays) {
    TLocaleC const locale;
    TString const wide(u"Gr\u00FC\u00DFe \U0001F600");
    EXPECT_EQ(Bytes(TTextMessage("%s!", wide).QueryMessage()).substr(0, 2), "Gr");
    EXPECT_NE(Bytes(TTextMessage("%s!", wide).QueryMessage()), "Gr\xC3\xBC\xC3\x9F"
                                                               "e \xF0\x9F\x98\x80!");
    TUtf8Mode const mode;
    EXPECT_EQ(Bytes(TTextMessage("%s!", wide).QueryMessage()), "Gr\xC3\xBC\xC3\x9F"
                                                               "e \xF0\x9F\x98\x80!");
    EXPECT_EQ(Bytes(TTextMessage("%.4s|", wide).QueryMessage()), "Gr\xC3\xBC|");
    char16_t const unpaired[] = {u'a', 0xD83D, 0};
    EXPECT_EQ(Bytes(TTextMessage("%s", TString(unpaired)).QueryMessage()), "a?");
}

TEST(Utf8Mode, NarrowTextInASixteenBitMessageIsReadAsUtf8) {
    TLocaleC const locale;
    TUtf8Mode const mode;
    TTextMessage const message(u"%s!", "Gr\xC3\xBC\xC3\x9F"
                                       "e \xF0\x9F\x98\x80\xFF");
    EXPECT_EQ(message.QueryMessage().u16view(), u"Gr\u00FC\u00DFe \U0001F600?!");
}

TEST(Utf8Mode, ALineOfATraceHasOneEncoding) {
    TLocaleC const locale;
    TUtf8Mode const mode;
    std::ostringstream out;
    {
        TTraceStream trace(out, "al");
        trace.SetDisplayPrefix(0);
        TTextMessage wide(u"\u00FC %s", "\xC3\xBC");
        wide.SetDebugging("src/NAME", 7);
        TTrace::WriteEntry(TTrace::error, TUtilityTraceCategory::Utility, wide);
        TTextMessage narrow("\xC3\xBC %s", TString(u"\u00FC"));
        narrow.SetDebugging("src/NAME", 8);
        TTrace::WriteEntry(TTrace::error, TUtilityTraceCategory::Utility, narrow);
    }
    EXPECT_EQ(out.str(), "E [NAME:7] \xC3\xBC \xC3\xBC\nE [NAME:8] \xC3\xBC \xC3\xBC\n");
}

// Each byte becomes three, which is the most that a byte can become.
TEST(Unicode, AllBytesMayBeMalformed) {
    for (unsigned int const length : {1u, 2u, 7u, 1000u, 100000u}) {
        TString const text(nullptr, length, '\xFF');
        TString const replaced = TUnicode::ToUtf8(text, TUnicode::replace);
        ASSERT_EQ(replaced.length(), 3 * length);
        for (unsigned int at = 0; at < length; ++at)
            ASSERT_EQ(std::string(replaced.data() + 3 * std::size_t{at}, 3), "\xEF\xBF\xBD") << at;
    }
}
