// Strings and the texts, numbers and algorithms of the standard library.

#include "support/Expect.h"
#include "tuzutil/TSTRING.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <compare>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace {

using namespace std::literals;

char const fsFile[] = "src/utility/TSTRING";
TExpectedFailure const fsBadTruncate{"Bad value to truncate this String", fsFile};
TExpectedFailure const fsTooLong{"Text too long", fsFile};

std::string Whole(TString const &text) {
    return text.IsNull() ? "(null)" : std::string(text);
}

std::vector<std::string> Pieces(TString const &text, char separator) {
    std::vector<std::string> result;
    for (TString const &piece : text.split(separator))
        result.push_back(Whole(piece));
    return result;
}

// Stands for a function of a program that takes a string.
std::string Shown(TString const &text) {
    return Whole(text);
}

} // namespace

TEST(StringFromStandard, ViewsAndStringsGiveAllTheirBytes) {
    TString const fromView(" a\0b "sv.substr(1, 3));
    EXPECT_EQ(fromView.length(), 3u);
    EXPECT_EQ(fromView.view(), "a\0b"sv);
    TString const fromString("c\0d"s);
    EXPECT_EQ(fromString.view(), "c\0d"sv);
    EXPECT_FALSE(fromString.IsUnicode());
    TString assigned("before");
    assigned = "e\0f"sv;
    EXPECT_EQ(assigned.view(), "e\0f"sv);
    assigned = "g"s;
    EXPECT_EQ(assigned.view(), "g");
    EXPECT_EQ(Shown("view"sv), "view");
    EXPECT_EQ(Shown("string"s), "string");
    EXPECT_STREQ(TString("abc"sv.substr(0, 2)), "ab");
}

TEST(StringFromStandard, AnEmptyViewGivesANilString) {
    EXPECT_TRUE(TString(std::string_view()).IsNilString());
    EXPECT_TRUE(TString(""sv).IsNilString());
    EXPECT_TRUE(TString(std::string()).IsNilString());
    EXPECT_TRUE(TString(std::u16string_view()).IsNilString());
    EXPECT_TRUE(TString(std::u16string_view()).IsUnicode());
}

TEST(StringFromStandard, SixteenBitTextKeepsItsCharactersAndHasTheFlag) {
    TString const text(u"Entw\u00FCrfe\0x"sv);
    EXPECT_TRUE(text.IsUnicode());
    EXPECT_EQ(text.length(), 20u);
    EXPECT_EQ(text.u16view(), u"Entw\u00FCrfe\0x"sv);
    TString assigned("narrow");
    assigned = u"\u20AC"s;
    EXPECT_TRUE(assigned.IsUnicode());
    EXPECT_EQ(assigned.u16view(), u"\u20AC");
}

#if SIZE_MAX > 0xFFFFFFFF
TEST(StringFromStandard, ATextThatIsTooLongIsRefusedBeforeItIsRead) {
    char const byte = 'x';
    char16_t const character = u'x';
    ExpectThrows<TOutOfMemory>(fsTooLong, [&] { TString(std::string_view(&byte, 0x100000001)); });
    ExpectThrows<TOutOfMemory>(fsTooLong, [&] { TString(std::u16string_view(&character, 0x80000001)); });
}
#endif

TEST(StringFromStandard, EveryIntegerTypeBecomesDecimalText) {
    signed char const small = -128;
    unsigned char const byte = 255;
    short const shorter = SHRT_MIN;
    unsigned short const unit = 65535;
    int const number = INT_MIN;
    unsigned int const count = UINT_MAX;
    EXPECT_EQ(TString(small).view(), "-128");
    EXPECT_EQ(TString(byte).view(), "255");
    EXPECT_EQ(TString(shorter).view(), "-32768");
    EXPECT_EQ(TString(unit).view(), "65535");
    EXPECT_EQ(TString(number).view(), "-2147483648");
    EXPECT_EQ(TString(count).view(), "4294967295");
    EXPECT_EQ(TString(-5L).view(), "-5");
    EXPECT_EQ(TString(5UL).view(), "5");
    EXPECT_EQ(TString(INT64_MIN).view(), "-9223372036854775808");
    EXPECT_EQ(TString(LLONG_MIN).view(), "-9223372036854775808");
    EXPECT_EQ(TString(UINT64_MAX).view(), "18446744073709551615");
    EXPECT_EQ(TString(ULLONG_MAX).view(), "18446744073709551615");
    EXPECT_EQ(TString("abc"s.size()).view(), "3");
    std::ptrdiff_t const difference = -3;
    EXPECT_EQ(TString(difference).view(), "-3");
    EXPECT_EQ(TString(0u).view(), "0");
}

TEST(StringFromStandard, IntegersAreAssignedAndPassed) {
    int number = 17;
    TString text;
    text = number;
    EXPECT_EQ(text.view(), "17");
    text = "four"s.size();
    EXPECT_EQ(text.view(), "4");
    EXPECT_EQ(Shown(std::uint64_t{1} << 40), "1099511627776");
}

TEST(StringFromStandard, NumberTakesEveryValueOfEveryIntegerType) {
    EXPECT_EQ(TString::Number(0).view(), "0");
    EXPECT_EQ(TString::Number(-5).view(), "-5");
    EXPECT_EQ(TString::Number(5u).view(), "5");
    EXPECT_EQ(TString::Number(INT_MIN).view(), "-2147483648");
    EXPECT_EQ(TString::Number(LONG_MIN).view(), std::to_string(LONG_MIN));
    EXPECT_EQ(TString::Number(ULONG_MAX).view(), std::to_string(ULONG_MAX));
    EXPECT_EQ(TString::Number(LLONG_MIN).view(), "-9223372036854775808");
    EXPECT_EQ(TString::Number(ULLONG_MAX).view(), "18446744073709551615");
    EXPECT_EQ(TString::Number(std::int8_t{-1}).view(), "-1");
    EXPECT_EQ(TString::Number(std::uint8_t{65}).view(), "65");
    EXPECT_EQ(TString::Number(std::ptrdiff_t{-3}).view(), "-3");
}

TEST(StringFromStandard, CharactersTruthValuesAndIntLiteralsAreNoText) {
    static_assert(!std::is_constructible_v<TString, char>);
    static_assert(!std::is_constructible_v<TString, bool>);
    static_assert(!std::is_constructible_v<TString, char &> && !std::is_constructible_v<TString, bool &>);
    static_assert(!std::is_constructible_v<TString, wchar_t>);
    static_assert(!std::is_constructible_v<TString, char16_t>);
    static_assert(!std::is_constructible_v<TString, int>);
    static_assert(!std::is_constructible_v<TString, double>);
    static_assert(std::is_constructible_v<TString, int &> && std::is_constructible_v<TString, int const &>);
    EXPECT_TRUE(TString(nullptr).IsNull());
}

TEST(StringToStandard, TheWholeLengthIsConverted) {
    TString const text("a\0b"sv);
    EXPECT_EQ(std::string(text), "a\0b"s);
    EXPECT_EQ(static_cast<std::string>(text), "a\0b"s);
    std::string const braced{text};
    EXPECT_EQ(braced, "a\0b"s);
    EXPECT_EQ(std::u16string(TString(u"x\0y"sv)), u"x\0y"s);
    EXPECT_EQ(std::string(TString()), "");
    EXPECT_EQ(std::u16string(TString()), u"");
    EXPECT_EQ(TString("abcde").u16view().size(), 2u);
}

TEST(StringToStandard, TheDataAreNeverNullAndEndWithAZero) {
    TString const null;
    EXPECT_STREQ(null.data(), "");
    EXPECT_STREQ(null.c_str(), "");
    EXPECT_EQ(null.begin(), null.end());
    EXPECT_TRUE(null.empty());
    EXPECT_TRUE(TString("").empty());
    EXPECT_EQ(null.view(), "");
    EXPECT_EQ(null.u16view(), u"");
    TString const text("abc");
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text.data(), static_cast<char const *>(text));
    EXPECT_EQ(text.c_str()[3], '\0');
    EXPECT_EQ(text.end() - text.begin(), 3);
    std::string copy;
    for (char c : text)
        copy += c;
    EXPECT_EQ(copy, "abc");
    EXPECT_EQ(std::count(text.begin(), text.end(), 'b'), 1);
}

TEST(StringToStandard, EqualStringsHaveOneHash) {
    std::hash<TString> const hash;
    EXPECT_EQ(hash(TString("abc")), hash(TString("ab") + "c"));
    EXPECT_NE(hash(TString("abc")), hash(TString("abd")));
    EXPECT_NE(hash(TString("a\0b"sv)), hash(TString("a\0c"sv)));
    EXPECT_EQ(hash(TString()), hash(TString("")));
    std::unordered_map<TString, int> counts;
    ++counts["joe"];
    ++counts[TString("joe")];
    ++counts["ann"sv];
    EXPECT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts["joe"], 2);
}

TEST(StringConcatenation, TextStandsBeforeAString) {
    EXPECT_EQ(Whole("x" + TString("y")), "xy");
    EXPECT_EQ(Whole("x"sv + TString("y")), "xy");
    EXPECT_EQ(Whole("x"s + TString("y")), "xy");
    EXPECT_EQ(Whole("x\0y"sv + TString("z")), "x\0yz"s);
    EXPECT_EQ(Whole("x" + TString()), "x");
    EXPECT_TRUE((static_cast<char const *>(nullptr) + TString()).IsNull());
    EXPECT_FALSE(("x" + TString(u"y")).IsUnicode());
    EXPECT_EQ(Whole("<" + TString("a") + ">" + "b"s + "c"sv), "<a>bc");
}

TEST(StringConcatenation, CharactersAndStandardTextsAreAppended) {
    TString text;
    text += 'a';
    text += '\0';
    text += "b\0c"sv;
    text += "d"s;
    EXPECT_EQ(Whole(text), "a\0b\0cd"s);
    TString shared(text);
    shared += '!';
    EXPECT_EQ(Whole(text), "a\0b\0cd"s);
    TString null;
    null += ""sv;
    EXPECT_TRUE(null.IsNilString());
    TString itself("ab");
    itself += itself.view();
    EXPECT_EQ(Whole(itself), "abab");
    // As before: the text of the number, not the character.
    TString number("n=");
    number += 5L;
    EXPECT_EQ(Whole(number), "n=5");
}

TEST(StringComparison, StandardTextsAreComparedByteByByteOnBothSides) {
    TString const text("b\0c"sv);
    EXPECT_TRUE(text == "b\0c"sv && "b\0c"sv == text && text == "b\0c"s && "b\0c"s == text);
    EXPECT_TRUE(text != "b"sv && "b"sv != text && text != "b"s && "b"s != text);
    EXPECT_TRUE(text < "b\0d"sv && "b\0d"sv > text && text <= "b\0d"s && "b\0d"s >= text);
    EXPECT_TRUE(text > "a"sv && "a"sv < text && text >= "a"s && "a"s <= text);
    EXPECT_TRUE(text <= "b\0c"sv && text >= "b\0c"sv && "b\0c"sv <= text && "b\0c"sv >= text);
    EXPECT_FALSE(text < "b\0c"sv || text > "b\0c"sv || "b\0c"sv < text || "b\0c"sv > text);
    EXPECT_TRUE(TString("\xE9") > "z"sv);
    EXPECT_FALSE(text == "B\0C"sv);
    EXPECT_TRUE(TString(u"ab") == u"ab"sv && u"ab"s == TString(u"ab") && TString(u"ab") != u"ac"sv);
}

// The operators of strings do not compete with those of the standard.
TEST(StringComparison, StandardTextsAmongThemselvesAreNotConcerned) {
    EXPECT_TRUE("a"sv == "a" && "a" == "a"sv && "a"s == "a" && "a"s == "a"sv && "a"sv != "b" && "a"sv < "b");
    static_assert(std::is_same_v<decltype("a"s + "b"), std::string>);
    EXPECT_EQ("a"s + "b", "ab");
}

TEST(StringComparison, AnEmptyViewIsComparedAsANilString) {
    TString const null;
    TString const nil("");
    EXPECT_TRUE(nil == ""sv && ""sv == nil && ""sv == null);
    EXPECT_FALSE(null == ""sv);
    EXPECT_TRUE(null != ""sv);
    EXPECT_TRUE(null < ""sv && !(""sv < null) && null <= ""sv && !(null >= ""sv));
}

TEST(StringComparison, LettersOfBothCasesAreEqualForStringsThatIgnoreCase) {
    TStringIcmp const verb("retr");
    EXPECT_TRUE(verb == "RETR"sv && "RETR"sv == verb && verb == "Retr"s && "Retr"s == verb);
    EXPECT_TRUE(verb != "TOP"sv && "TOP"sv != verb);
    EXPECT_TRUE(TStringIcmp("INBOX"sv) == "inbox");
}

TEST(StringComparison, ThereIsAThreeWayComparison) {
    static_assert(std::is_same_v<decltype(TString() <=> TString()), std::strong_ordering>);
    static_assert(std::totally_ordered<TString> && std::three_way_comparable<TString>);
    EXPECT_TRUE((TString("ab") <=> TString("abc")) < 0);
    EXPECT_TRUE((TString("b") <=> TString("abc")) > 0);
    EXPECT_TRUE((TString("b") <=> TString("b")) == 0);
    EXPECT_TRUE((TString("b") <=> "c") < 0 && ("c" <=> TString("b")) > 0);
    EXPECT_TRUE((TString("b") <=> "b"sv) == 0 && ("b"s <=> TString("b")) == 0 && ("a"sv <=> TString("b")) < 0);
    EXPECT_TRUE((TString() <=> TString("")) < 0 && (TString("") <=> TString()) > 0);
    struct TPair {
        TString name;
        int number;
        auto operator<=>(TPair const &) const = default;
    };
    EXPECT_TRUE((TPair{"a", 1}) < (TPair{"a", 2}));
    EXPECT_TRUE((TPair{"a", 1}) == (TPair{"a", 1}));
    std::set<TString> const names{"b", "a", "b"};
    EXPECT_EQ(Whole(*names.begin()), "a");
    EXPECT_EQ(names.size(), 2u);
}

TEST(StringParts, TheFirstAndTheLastBytesAreNeverPadded) {
    TString const text("abcd");
    EXPECT_EQ(Whole(text.left(0)), "");
    EXPECT_EQ(Whole(text.left(2)), "ab");
    EXPECT_EQ(Whole(text.left(4)), "abcd");
    EXPECT_EQ(Whole(text.left(5)), "abcd");
    EXPECT_EQ(Whole(text.left(UINT_MAX)), "abcd");
    EXPECT_EQ(Whole(text.right(0)), "");
    EXPECT_EQ(Whole(text.right(3)), "bcd");
    EXPECT_EQ(Whole(text.right(5)), "abcd");
    EXPECT_EQ(Whole(text.right(UINT_MAX)), "abcd");
    EXPECT_TRUE(TString().left(3).IsNull());
    EXPECT_TRUE(TString().right(3).IsNull());
    EXPECT_TRUE(TString("").left(3).IsNilString());
}

TEST(StringParts, TheMiddleIsNeverPaddedAndNeverNull) {
    TString const text("abcd");
    EXPECT_EQ(Whole(text.mid(1)), "abcd");
    EXPECT_EQ(Whole(text.mid(3)), "cd");
    EXPECT_EQ(Whole(text.mid(2, 2)), "bc");
    EXPECT_EQ(Whole(text.mid(2, UINT_MAX)), "bcd");
    EXPECT_EQ(Whole(text.mid(2, 0)), "");
    EXPECT_EQ(Whole(text.mid(5)), "");
    EXPECT_EQ(Whole(text.mid(UINT_MAX, UINT_MAX)), "");
    EXPECT_TRUE(TString().mid(1, 3).IsNull());
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.mid(0, 1); });
}

TEST(StringParts, PartsKeepTheFlagsAndHaveABufferOfTheirOwn) {
    TString wide(u"abcd");
    EXPECT_TRUE(wide.left(4).IsUnicode() && wide.right(2).IsUnicode() && wide.mid(3, 2).IsUnicode());
    EXPECT_EQ(wide.mid(3, 2).u16view(), u"b");
    TStringAndWipe secret("secret");
    EXPECT_TRUE(secret.left(3).IsWipeOnDelete());
    TString text("abc");
    TString part = text.left(3);
    part[1] = 'x';
    EXPECT_EQ(Whole(text), "abc");
}

// What a program does that takes a line apart, whatever the line is.
TEST(StringParts, ALineWithoutABlankIsNoDanger) {
    TString const line("QUIT");
    EXPECT_EQ(Whole(line.left(line.indexOf(' ') - 1)), "QUIT");
    EXPECT_EQ(Whole(line.mid(line.indexOf(' ') + 1)), "QUIT");
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { line.subString(1, line.indexOf(' ') - 1); });
}

TEST(StringParts, SplitGivesOnePieceMoreThanThereAreSeparators) {
    using Texts = std::vector<std::string>;
    EXPECT_EQ(Pieces("RETR 17", ' '), (Texts{"RETR", "17"}));
    EXPECT_EQ(Pieces("a,,b", ','), (Texts{"a", "", "b"}));
    EXPECT_EQ(Pieces(",", ','), (Texts{"", ""}));
    EXPECT_EQ(Pieces("a,", ','), (Texts{"a", ""}));
    EXPECT_EQ(Pieces("abc", ','), (Texts{"abc"}));
    EXPECT_EQ(Pieces("", ','), (Texts{""}));
    EXPECT_EQ(Pieces(TString(), ','), (Texts{}));
    EXPECT_EQ(Pieces("a\0b"sv, '\0'), (Texts{"a", "b"}));
}

TEST(StringAndWipeFromStandard, HasTheFlagHoweverItIsMade) {
    TStringAndWipe secret("one"sv);
    EXPECT_TRUE(secret.IsWipeOnDelete());
    secret = "two"s;
    EXPECT_TRUE(secret.IsWipeOnDelete());
    EXPECT_EQ(secret.view(), "two");
}

TEST(StringFormats, OtherLibrariesFormatItsBytes) {
    EXPECT_EQ(format_as(TString("a\0b"sv)), "a\0b"sv);
    EXPECT_EQ(format_as(TStringIcmp("abc")), "abc"sv);
#if defined(__cpp_lib_format)
    EXPECT_EQ(std::format("{:>5}|{}|{}", TString("abc"), TString(), TStringIcmp("x")), "  abc||x");
#endif
}
