// How messages print, against the printf of the platform and against literal texts.

#include "support/CaptureTrace.h"
#include "support/LocaleC.h"
#include "support/Printf.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/plain_print.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

using namespace std::string_literals;

namespace {

std::string Bytes(TString const &text) {
    return std::string(static_cast<char const *>(text), text.length());
}

template <typename... Arguments>
std::string Print(std::string const &format, Arguments const &...arguments) {
    TString const text = TTextMessage(format.c_str(), arguments...).QueryMessage();
    EXPECT_FALSE(text.IsUnicode());
    return Bytes(text);
}

std::u16string Wide(std::string const &text) {
    return std::u16string(text.begin(), text.end());
}

template <typename... Arguments>
std::u16string PrintWide(std::u16string const &format, Arguments const &...arguments) {
    TString const text = TTextMessage(format.c_str(), arguments...).QueryMessage();
    EXPECT_TRUE(text.IsUnicode());
    std::u16string units(text.length() / 2, u'\0');
    std::memcpy(units.data(), static_cast<char const *>(text), units.size() * 2);
    return units;
}

// Every set of flags out of `flags`, with every width and precision.
std::vector<std::string> Prefixes(std::string const &flags) {
    std::vector<std::string> result;
    for (unsigned set = 0; set < 1u << flags.size(); ++set) {
        std::string start = "%";
        for (std::size_t i = 0; i < flags.size(); ++i) {
            if (set >> i & 1)
                start += flags[i];
        }
        for (char const *const width : {"", "1", "5", "12", "40"}) {
            for (char const *const precision : {"", ".", ".0", ".1", ".3", ".12", ".30"})
                result.push_back(start + width + precision);
        }
    }
    return result;
}

bool IsAlternateOctalWithoutDigits(std::string const &format) {
    return format.find('#') != std::string::npos &&
           (format.find(".o") != std::string::npos || format.find(".0o") != std::string::npos);
}

// The text that a runtime leaves of a conversion that it does not know, without its character: "%5" or nothing.
std::string Inert(std::string const &prefix) {
    std::string text = RuntimePrintf((prefix + "?").c_str(), 0);
    text.pop_back();
    return text;
}

} // namespace

// Against the platform

TEST(MessagePrint, IntegersAsThePlatformsPrintf) {
    for (char const conversion : "diouxX"s) {
        std::string const flags = conversion == 'd' || conversion == 'i' ? "-+ 0" : conversion == 'u' ? "-0" : "-#0";
        for (std::string const &prefix : Prefixes(flags)) {
            std::string const format = '[' + prefix + conversion + ']';
            for (int const value : {0, 1, -1, 7, 8, 42, -1234567, 0xBEEF, INT_MAX, INT_MIN}) {
                char expected[100];
                std::snprintf(expected, sizeof expected, format.c_str(), value);
                if (value == 0 && IsAlternateOctalWithoutDigits(format))
                    continue; // one of the runtimes forgets the zero; see below
                ASSERT_EQ(Print(format, value), expected) << format;
                ASSERT_EQ(Print(format, static_cast<unsigned int>(value)), expected) << format;
                ASSERT_EQ(PrintWide(Wide(format), value), Wide(expected)) << format;
            }
        }
    }
}

TEST(MessagePrint, AlternateOctalZeroHasOneDigit) {
    EXPECT_EQ(Print("[%#.o|%#5.0o|%-#5.o|%#o]", 0, 0, 0, 0), "[0|    0|0    |0]");
}

TEST(MessagePrint, RealsAsThePlatformsPrintf) {
    for (char const conversion : "eEfgG"s) {
        for (std::string const &prefix : Prefixes("-+ #0")) {
            std::string const format = '[' + prefix + conversion + ']';
            for (double const value : {0.0, -0.0, 1.0, -2.5, 0.5, 1.0 / 3, 12345.678, 1e10, 1e-7, 9.9999999}) {
                std::string const expected = RuntimePrintf(format.c_str(), value);
                ASSERT_EQ(Print(format, value), expected) << format;
                ASSERT_EQ(PrintWide(Wide(format), value), Wide(expected)) << format;
            }
        }
        std::string const format = std::string("%") + conversion;
        for (double const value : {HUGE_VAL, -HUGE_VAL, std::nan(""), DBL_MAX, -DBL_MAX, DBL_MIN, 5e-324})
            EXPECT_EQ(Print(format, value), RuntimePrintf(format.c_str(), value));
    }
}

TEST(MessagePrint, UpperCaseFIsTheConversionF) {
    EXPECT_EQ(Print("[%F|%8.3F]", 2.5, 2.5), "[2.500000|   2.500]");
}

TEST(MessagePrint, TextsAsThePlatformsPrintf) {
    for (std::string const &prefix : Prefixes("-0")) {
        std::string const format = '[' + prefix + "s]";
        for (char const *const value : {"", "a", "abc", "a longer text than all widths that are used"}) {
            std::string const expected = RuntimePrintf(format.c_str(), value);
            ASSERT_EQ(Print(format, value), expected) << format;
            ASSERT_EQ(Print(format, Wide(value).c_str()), expected) << format;
            ASSERT_EQ(PrintWide(Wide(format), value), Wide(expected)) << format;
            ASSERT_EQ(PrintWide(Wide(format), Wide(value).c_str()), Wide(expected)) << format;
        }
    }
}

TEST(MessagePrint, NullTextsAsThePlatformsPrintf) {
    for (std::string const &prefix : Prefixes("-0")) {
        std::string const format = '[' + prefix + "s]";
        std::string const expected = RuntimePrintf(format.c_str(), static_cast<char const *>(nullptr));
        ASSERT_EQ(Print(format, TagVar(TagVar::string)), expected) << format; // owns no text
        ASSERT_EQ(Print(format, TagVar(nullptr)), expected) << format;        // owns a null string
        ASSERT_EQ(Print(format, 5), expected) << format;                      // is no text
        ASSERT_EQ(Print(format), expected) << format;                         // is not there
        ASSERT_EQ(PrintWide(Wide(format), 5), Wide(expected)) << format;
    }
    EXPECT_EQ(Print("%s", 5), "(null)");
}

TEST(MessagePrint, CharactersAsThePlatformsPrintf) {
    for (char const *const format : {"[%c]", "[%5c]", "[%-5c]", "[%05c]", "[%-05c]", "[%hc]", "[%lc]"}) {
        for (int const value : {'a', 'Z', '~', ' '}) {
            std::string const expected = RuntimePrintf(format, value);
            EXPECT_EQ(Print(format, value), expected);
            EXPECT_EQ(PrintWide(Wide(format), value), Wide(expected));
        }
    }
    EXPECT_EQ(Print("%c", 0x1E9), "\xE9");
    EXPECT_EQ(Print("[%c]", 0), "[\0]"s);
    EXPECT_EQ(Print("%Lc", 'a'), "a");
    EXPECT_EQ(PrintWide(u"%c|%lc", 0x20AC, 0x20AC), u"\u20AC|\u20AC");
    EXPECT_EQ(PrintWide(u"%hc", 'a' + 0x2000), u"a");
}

// The walk along the frequent directives leaves a zero, and what follows it, to its caller.
TEST(MessagePrint, TheWalkAlongPlainTextStopsBeforeAZero) {
    for (std::size_t before = 0; before < 40; ++before) {
        for (std::size_t after = 0; after < 20; ++after) {
            std::string const format = std::string(before, 'b') + '\0' + std::string(after, 'a');
            char out[200];
            plain_print::TWalk const walk = plain_print::PrintPlain(format, nullptr, 0, out, std::end(out));
            ASSERT_EQ(walk.format, format.data() + before);
            ASSERT_EQ(std::string(out, walk.out), std::string(before, 'b'));
        }
    }
}

TEST(MessagePrint, CountsFromArgumentsAsThePlatformsPrintf) {
    for (int const width : {0, 1, 5, 20, -1, -20}) {
        for (int const precision : {0, 1, 5, 20}) {
            EXPECT_EQ(Print("[%*.*d]", width, precision, 42), RuntimePrintf("[%*.*d]", width, precision, 42));
            EXPECT_EQ(Print("[%*.*f]", width, precision, 2.5), RuntimePrintf("[%*.*f]", width, precision, 2.5));
            EXPECT_EQ(Print("[%*.*s]", width, precision, "abc"), RuntimePrintf("[%*.*s]", width, precision, "abc"));
        }
        for (int const precision : {-1, -20, INT_MIN}) { // as if there were none
            EXPECT_EQ(Print("[%*.*d]", width, precision, 42), RuntimePrintf("[%*d]", width, 42));
            EXPECT_EQ(Print("[%*.*f]", width, precision, 2.5), RuntimePrintf("[%*f]", width, 2.5));
            EXPECT_EQ(Print("[%*.*s]", width, precision, "abc"), RuntimePrintf("[%*s]", width, "abc"));
        }
        EXPECT_EQ(Print("[%0*x]", width, 42), RuntimePrintf("[%0*x]", width, 42));
    }
    EXPECT_EQ(Print("[%*d]", 5u, 42), "[   42]");
    EXPECT_EQ(Print("[%*d]", 0xFFFFFFFBu, 42), "[42   ]"); // -5
}

TEST(MessagePrint, UnknownConversionsAsThePlatformsPrintf) {
    for (std::string const &prefix : Prefixes("-+ #0")) {
        std::string const expected = RuntimePrintf(('[' + prefix + "?]").c_str(), 0);
        ASSERT_EQ(Print('[' + prefix + "?]", 5), expected) << prefix;
        ASSERT_EQ(Print('[' + prefix + "n]", 5), expected) << prefix; // never executed
        ASSERT_EQ(PrintWide(Wide('[' + prefix + "n]"), 5), Wide(expected)) << prefix;
    }
    for (char const *const format : {"%y", "%k", "%\x80"})
        EXPECT_EQ(Print(format, 5), RuntimePrintf(format, 5));
}

TEST(MessagePrint, UnknownConversionsAreInertAndUseNoArgument) {
    std::string const inert = Inert("%");
    EXPECT_EQ(Print("%lld %s", "abc"), inert + "ld abc");
    EXPECT_EQ(Print("%I64d|%s", "abc"), inert + "I64d|abc");
    EXPECT_EQ(Print("%zu %s", "abc"), inert + "zu abc");
    EXPECT_EQ(Print("%2$y %s", "abc", "def"), inert + "y abc");
    EXPECT_EQ(Print("%*y %d", 7, 8), Inert("%7") + "y 7"); // the star's argument is given back
    EXPECT_EQ(Print("%5%d", 8), Inert("%5") + "8");
    EXPECT_EQ(Print("100%"), "100" + inert);
    EXPECT_EQ(Print("%5.3", 8), Inert("%5.3").empty() ? "\0"s : Inert("%5.3"));
    EXPECT_EQ(Print("%$d", 8), inert + "$d");
    EXPECT_EQ(PrintWide(u"%\u0164 %d", 8), Wide(inert) + u"\u0164 8"); // its low byte is a "d"
}

TEST(MessagePrint, IntegersOf64BitsByEveryConversionAndLength) {
    for (std::string const length : {"", "l", "ll", "j", "z", "t"}) {
        EXPECT_EQ(Print("%" + length + "d", 1ll << 40), "1099511627776") << length;
        EXPECT_EQ(Print("%" + length + "i", INT64_MIN), "-9223372036854775808") << length;
        EXPECT_EQ(Print("%" + length + "u", UINT64_MAX), "18446744073709551615") << length;
        EXPECT_EQ(Print("%" + length + "o", UINT64_MAX), "1777777777777777777777") << length;
        EXPECT_EQ(Print("%" + length + "x", 0xFEDCBA9876543210u), "fedcba9876543210") << length;
        EXPECT_EQ(Print("%" + length + "X", -1099511627776), "FFFFFF0000000000") << length;
        EXPECT_EQ(PrintWide(Wide("%" + length + "d|%" + length + "u"), INT64_MIN, UINT64_MAX),
                  u"-9223372036854775808|18446744073709551615")
            << length;
    }
    EXPECT_EQ(Print("%s is %2$+20d|%2$-15d|%2$#o|%2$#.14x", "it", 1ll << 40), //
              "it is       +1099511627776|1099511627776  |020000000000000|0x00010000000000");
    EXPECT_EQ(PrintWide(u"%#o", UINT64_MAX), u"01777777777777777777777");
}

TEST(MessagePrint, IntegersOf64BitsAsThePlatformsPrintf) {
    for (char const conversion : "diouxX"s) {
        std::string const flags = conversion == 'd' || conversion == 'i' ? "-+ 0" : conversion == 'u' ? "-0" : "-#0";
        for (std::string const &prefix : Prefixes(flags)) {
            std::string const format = '[' + prefix + "ll" + conversion + ']';
            for (long long const value : {0x7FFFFFFFFFFFFFFFll, -0x7FFFFFFFFFFFFFFFll - 1, 1ll << 33}) {
                char expected[100];
                std::snprintf(expected, sizeof expected, format.c_str(), value);
                ASSERT_EQ(Print(format, value), expected) << format;
                ASSERT_EQ(PrintWide(Wide(format), value), Wide(expected)) << format;
            }
        }
    }
}

TEST(MessagePrint, LongLengthsTakeShortIntegersToo) {
    EXPECT_EQ(Print("%lld %llu %zu %s", -5, 6, std::size_t{7}, "end"), "-5 6 7 end");
    EXPECT_EQ(Print("%llx %jx %x %lx", -1, -1, -1, -1), "ffffffffffffffff ffffffffffffffff ffffffff ffffffff");
    EXPECT_EQ(Print("%lld %d", 4294967295u, 4294967295u), "4294967295 -1");
    EXPECT_EQ(Print("%2$lld %1$zu", 1, 2), "2 1");
    EXPECT_EQ(Print("%lls %zq", 5), Inert("%l") + "ls " + Inert("%") + "zq"); // no conversions of integers
}

TEST(MessagePrint, WhatCannotBeShownIsAQuestionMarkAndReported) {
    TCapture capture;
    for (TagVar const &value : {TagVar(1ll << 40), TagVar(1ull << 40)}) {
        for (char const *const format : {"%s", "%c", "%f", "%p", "%S", "%5.1e"}) {
            std::string const text = format[1] == '5' ? "    ?" : "?";
            EXPECT_EQ(Print(std::string(format) + "|%s", value, "next"), text + "|next") << format;
            EXPECT_EQ(PrintWide(Wide(std::string(format) + "|%d"), value, 8), Wide(text + "|8")) << format;
        }
    }
    for (char const *const format : {"%d", "%zu", "%s", "%f", "%p", "%c", "%a"})
        EXPECT_EQ(Print(format, TagVar(TagVar::unshown)), "?") << format;
    EXPECT_EQ(Print("%-3lld|%d", 2.5, 6), "?  |6");
    EXPECT_EQ(capture.Entries().size(), 2u * 6 * 2 + 7 + 1);
    EXPECT_EQ(capture.Entries().back().text,
              "Type mismatch in message((null),0,0) expecting d for argument 1 from (null)[0]");
    EXPECT_EQ(Print("[%*d]", 1ll << 40, 8), "[8]"); // a width has 32 bits
    EXPECT_EQ(capture.Entries().back().text,
              "Type mismatch in message((null),0,0), expecting width for argument 1 from (null)[0]");
}

TEST(MessagePrint, HexadecimalRealsAsThePlatformsPrintf) {
    for (double const value : {1.0, -0.1, 6.02e23, 0.0}) {
        for (char const *const format : {"%a", "%A", "%.3a", "[%+14.2a]"}) {
            EXPECT_EQ(Print(format, value), RuntimePrintf(format, value)) << format;
            EXPECT_EQ(PrintWide(Wide(format), value), Wide(RuntimePrintf(format, value))) << format;
        }
    }
    EXPECT_EQ(Print("%a|%d", 5, 6), RuntimePrintf("%a", 0.0) + "|6");
}

TEST(MessagePrint, ConversionNUsesAnArgumentNumber) {
    EXPECT_EQ(Print("%n %d", 7, 8), Inert("%") + "? 8");
}

TEST(MessagePrint, DoubledPercentIsOnePercentAndUsesNoArgument) {
    EXPECT_EQ(Print("%% done %d", 5), "% done 5");
    EXPECT_EQ(Print("%%f %d%%", 5), "%f 5%");
    EXPECT_EQ(Print("%%%d%%%%", 5), "%5%%");
    EXPECT_EQ(PrintWide(u"%%%d%%", 5), u"%5%");
}

TEST(MessagePrint, PointersAreEightUpperCaseDigitsOrSixteen) {
    TagVar const pointer(TagVarVoidPtr(reinterpret_cast<void *>(std::uintptr_t{0xBEEF})));
    std::string const zeros(sizeof(void *) == 8 ? 8 : 0, '0');
    EXPECT_EQ(Print("%p", pointer), zeros + "0000BEEF");
    EXPECT_EQ(Print("[%20p|%-20p]", pointer, pointer), '[' + std::string(12 - zeros.size(), ' ') + zeros + "0000BEEF|" +
                                                           zeros + "0000BEEF" + std::string(12 - zeros.size(), ' ') +
                                                           ']');
    EXPECT_EQ(Print("%p", 5), zeros + "00000000");
}

// Numbered arguments

TEST(MessagePrint, ArgumentsAreTakenByNumber) {
    EXPECT_EQ(Print("message %2$s has %1$d items, %3$08X", 1234, "inbox", 0xBEEFu),
              "message inbox has 1234 items, 0000BEEF");
    EXPECT_EQ(Print("x%2$08X", 1, 255u), "x000000FF");
    EXPECT_EQ(Print("%1$f%1$f%1$f", 1.5), "1.5000001.5000001.500000");
    EXPECT_EQ(Print("%2$d %d %d", 7, 8), "8 7 8"); // numbered ones leave the running number alone
    EXPECT_EQ(Print("%3$*1$.*2$f|", 8, 2, 3.14159), "    3.14|");
    EXPECT_EQ(Print("%*3$d|%d|", 42, 43, 5), "   42|43|");
    EXPECT_EQ(Print("%2$*d|%d", 5, 42), "   42|42"); // the star takes the first, the next is the second
    EXPECT_EQ(Print("%0000001$d", 7), "7");
    EXPECT_EQ(PrintWide(u"%2$s %1$d", 5, u"abc"), u"abc 5");
}

TEST(MessagePrint, DigitsWithoutADollarAreAWidth) {
    EXPECT_EQ(Print("%10d|", 5), "         5|");
    EXPECT_EQ(Print("%05d|", 5), "00005|");
    EXPECT_EQ(Print("%1$5d|", 5), "    5|");
}

TEST(MessagePrint, SizeModifiersOfNumbersAreDropped) {
    EXPECT_EQ(Print("%ld %hd %Ld", 70000, 70000, 70000), "70000 70000 70000");
    EXPECT_EQ(Print("%lx %hx", 0xFFFFFFFFu, 0x12345678), "ffffffff 12345678");
    EXPECT_EQ(Print("%Lf %lf %hf", 1.5, 1.5, 1.5), "1.500000 1.500000 1.500000");
    EXPECT_EQ(Print("%hs %ls", "abc", "def"), "abc def");
}

// Values that do not fit

TEST(MessagePrint, ValuesOfOtherKindsPrintAsZero) {
    EXPECT_EQ(Print("%d", 2.5), "0");
    EXPECT_EQ(Print("%5.3f", 7), "0.000");
    EXPECT_EQ(Print("%x", "text"), "0");
    EXPECT_EQ(Print("[%c]", "text"), "[\0]"s);
    EXPECT_EQ(Print("%u", TagVar(TDateTime(1, 2))), "0");
    EXPECT_EQ(Print("%d", TagVar()), "0");
    EXPECT_EQ(Print("%g", TagVar(TagVarVoidPtr())), "0");
}

TEST(MessagePrint, MissingArgumentsPrintAsZero) {
    EXPECT_EQ(Print("%d %f %s"), "0 0.000000 (null)");
    EXPECT_EQ(Print("%0$d", 7), "0");
    EXPECT_EQ(Print("%2$d", 7), "0");
    EXPECT_EQ(Print("%99999999999999999999$d", 7), "0");
    EXPECT_EQ(Print("%4294967297$d", 7), "0"); // 1 modulo 2^32
    EXPECT_EQ(Print("[%*d]", 5), "[    0]");
}

TEST(MessagePrint, BadCountsAreZero) {
    EXPECT_EQ(Print("[%*d]", 5.5, 42), "[42]");
    EXPECT_EQ(Print("[%.*f]", "3", 2.25), "[2]");
    EXPECT_EQ(Print("[%*9$d]", 42), "[42]");
}

TEST(MessagePrint, UpperCaseSIsANullTextInNarrowFormatsAndATextInWideOnes) {
    EXPECT_EQ(Print("%S|%d", "abc", 5), "(null)|5");
    EXPECT_EQ(Print("%S", u"abc"), "(null)");
    EXPECT_EQ(Print("%S", 5), "(null)");
    EXPECT_EQ(PrintWide(u"%S|%S|%S", "abc", u"def", 5), u"abc|def|(null)");
}

// Texts

TEST(MessagePrint, TextsEndAtTheirFirstZero) {
    EXPECT_EQ(Print("[%s]", TString("ab\0cd", 5, ' ')), "[ab]");
    TString wide(u"abcd");
    wide[3] = 0;
    EXPECT_EQ(Print("[%s]", wide), "[a]");
    EXPECT_EQ(PrintWide(u"[%s]", wide), u"[a]");
}

TEST(MessagePrint, OddByteOfAWideTextIsNotRead) {
    TLocaleC const locale;
    TString odd("abc");
    odd.SetUnicode(1);
    EXPECT_EQ(Print("[%.1s]", TagVar(odd)).size(), 3u);
    EXPECT_EQ(PrintWide(u"[%s]", TagVar(odd)), u"[\u6261]");
}

TEST(MessagePrint, CharactersWithoutCounterpartAreQuestionMarks) {
    TLocaleC const locale;
    EXPECT_EQ(Print("%s!", u"a\u4E2Db"), "a?b!");
    EXPECT_EQ(Print("[%5s|%.2s]", u"\u4E2D", u"a\u4E2Db"), "[    ?|a?]");
    EXPECT_EQ(Print("%lc", 0x4E2D), "?");
    EXPECT_EQ(Print("%s", u"\xD800x"), "?x");
}

TEST(MessagePrint, CharactersAreNeverCut) {
    char const *const before = std::setlocale(LC_ALL, nullptr);
    std::string const old(before);
    if (std::setlocale(LC_ALL, "C.UTF-8") && MB_CUR_MAX > 1) {
        EXPECT_EQ(Print("[%s]", u"\u4E2D\u00E9"), "[\xE4\xB8\xAD\xC3\xA9]");
        EXPECT_EQ(Print("[%.4s]", u"\u4E2D\u00E9"), "[\xE4\xB8\xAD]");
        EXPECT_EQ(Print("[%6s]", u"\u4E2D"), "[   \xE4\xB8\xAD]");
        EXPECT_EQ(Print("[%s]", u"\U0001F600"), "[\xF0\x9F\x98\x80]");
        EXPECT_EQ(Print("%lc", 0x20AC), "\xE2\x82\xAC");
        EXPECT_EQ(PrintWide(u"[%s]", "\xE4\xB8\xAD\xC3\xA9"), u"[\u4E2D\u00E9]");
        EXPECT_EQ(PrintWide(u"[%s]", "\xF0\x9F\x98\x80"), u"[\U0001F600]");
        EXPECT_EQ(PrintWide(u"[%.1s]", "\xF0\x9F\x98\x80"), u"[]");
        EXPECT_EQ(PrintWide(u"[%s]", "a\xE4\xB8"), u"[a??]");
    }
    std::setlocale(LC_ALL, old.c_str());
}

TEST(MessagePrint, FormatEndsAtItsFirstZero) {
    TTextMessage message("a%db", 5);
    EXPECT_EQ(Bytes(message.QueryMessage()), "a5b");
    EXPECT_EQ(PrintWide(u"\u4E2D%d", 5), u"\u4E2D5");
}

TEST(MessagePrint, EmptyTextIsOneZeroCharacter) {
    EXPECT_EQ(Print(""), "\0"s);
    EXPECT_EQ(Print("%s", ""), "\0"s);
    EXPECT_EQ(PrintWide(u""), std::u16string(1, u'\0'));
}

// Bounds

TEST(MessagePrint, WidthsAndPrecisionsCountUpTo64Ki) {
    EXPECT_EQ(Print("%2000000000d|", 5), std::string(65535, ' ') + "5|");
    EXPECT_EQ(Print("%-99999999999999999999d|", 5), '5' + std::string(65535, ' ') + '|');
    EXPECT_EQ(Print("%.2000000000d", 5), std::string(65535, '0') + '5');
    EXPECT_EQ(Print("%*d", INT_MIN, 5), '5' + std::string(65535, ' '));
    EXPECT_EQ(Print("%*d", INT_MAX, 5), std::string(65535, ' ') + '5');
    EXPECT_EQ(Print("%.*s", INT_MAX, "abc"), "abc");
    EXPECT_EQ(Print("%2000000000s", "abc").size(), 65536u);
    EXPECT_EQ(Print("%.2000000000f", 0.0), "0." + std::string(65536, '0'));
    EXPECT_EQ(Print("%2000000000.2000000000e", DBL_MAX).substr(0, 8), "1.797693");
}

TEST(MessagePrint, LargestRealsAreWhole) {
    EXPECT_EQ(Print("%f", DBL_MAX), RuntimePrintf("%f", DBL_MAX));
    EXPECT_EQ(Print("%+#.100f|", -DBL_MAX), RuntimePrintf("%+#.100f|", -DBL_MAX));
}

// 256 KiB, and 16 bytes for each byte of the format and of the arguments' texts and 32 for each argument.
TEST(MessagePrint, TextIsBoundedByWhatItIsMadeOf) {
    std::string format;
    for (int i = 0; i < 5000; ++i)
        format += "%1$99999d";
    EXPECT_EQ(Print(format, 5).size(), 0x40000u + 16 * (45000 + 32));
    std::string repeated;
    for (int i = 0; i < 100; ++i)
        repeated += "%1$s";
    EXPECT_EQ(Print(repeated, TString(std::string(10000, 'x').c_str())),
              std::string(0x40000 + 16 * (400 + 10000 + 32), 'x'));
    EXPECT_EQ(Print(repeated, TString(std::string(0x100000, 'x').c_str())), std::string(0x1000000, 'x'));
}

TEST(MessagePrint, LongArgumentsAreWhole) {
    std::string const large(0x1800000, 'x');
    EXPECT_EQ(Print("[%s%s]", large.c_str(), large.c_str()), '[' + large + large + ']');
    EXPECT_EQ(PrintWide(u"[%s]", large.c_str()), Wide('[' + large + ']'));
}

TEST(MessagePrint, NumbersAsLongAsTheyCanBeAreWhole) {
    std::string format;
    std::string expected;
    std::vector<TagVar> values(2000, TagVar(-DBL_MAX));
    std::vector<TagVar const *> pointers;
    for (TagVar const &value : values) {
        format += "%f";
        expected += RuntimePrintf("%f", -DBL_MAX);
        pointers.push_back(&value);
    }
    pointers.push_back(nullptr);
    EXPECT_EQ(Print(format, pointers.data()), expected);
}

// The conversions behind a full text are looked at no more: the second text is reported as no number, the last is not.
TEST(MessagePrint, FormattingEndsWhenTheTextIsFull) {
    std::string format = "%2$d";
    for (int i = 0; i < 200; ++i)
        format += "%1$65536d";
    TCapture capture(TTrace::warning);
    EXPECT_EQ(Print(format + "%3$d", 5, "x", "y").size(), 0x40000u + 16 * (format.size() + 4 + 3 * 32 + 2));
    EXPECT_EQ(capture.Entries().size(), 1u);
}

// Digits that are left out again cost nothing: a million of them for each of these would take minutes.
TEST(MessagePrint, PrecisionThatShowsNothingCostsNothing) {
    std::string format;
    std::string expected;
    for (int i = 0; i < 20000; ++i) {
        format += "%1$.65536g ";
        expected += "0.5 ";
    }
    auto const begin = std::clock();
    EXPECT_EQ(Print(format, 0.5), expected);
    EXPECT_LT(std::clock() - begin, 5 * CLOCKS_PER_SEC);
    EXPECT_EQ(Print("%.65536g", 0.1), RuntimePrintf("%.900g", 0.1));
    EXPECT_EQ(Print("%.65536G", DBL_TRUE_MIN), RuntimePrintf("%.900G", DBL_TRUE_MIN));
}

// Room for a wide text: that of its format, and of each value as the rewriting reckons it.
TEST(MessagePrint, WideTextThatDoesNotFitKeepsOneCharacter) {
    EXPECT_EQ(PrintWide(u"%f", 1e41), u"1");
    EXPECT_EQ(PrintWide(u"total %f", DBL_MAX), u"t");
    EXPECT_EQ(PrintWide(u"%.*d", 100, 5), Wide(std::string(99, '0') + '5'));
    EXPECT_EQ(PrintWide(u"%*d", -100, 5), u"5");
    EXPECT_EQ(PrintWide(u"%*d", 100, 5), Wide(std::string(99, ' ') + '5'));
    EXPECT_EQ(PrintWide(u"%s", TagVar(nullptr)), u"("); // "(null)", which is reckoned at nothing
    EXPECT_EQ(PrintWide(u"%s", 5), u"(null)");
    EXPECT_EQ(Print("%f", DBL_MAX), RuntimePrintf("%f", DBL_MAX)); // narrow texts are whole
}

TEST(MessagePrint, WideTextMayFillAllThatIsReckoned) {
    TString out;
    TTextMessage::CharP block;
    for (int const digits : {32, 33, 34, 35, 36, 37}) { // and seven characters for the point and what follows it
        double const value = std::pow(10, digits);
        TTextMessage const message(u"%f", value);
        unsigned long const size = message.ValidateArgsW(TString(u"%f"), out, block);
        std::string const narrow = RuntimePrintf("%f", value);
        EXPECT_EQ(PrintWide(u"%f", value), Wide(narrow.size() <= size ? narrow : narrow.substr(0, 1))) << digits;
    }
}

TEST(MessagePrint, LongTextsAreWhole) {
    std::string format;
    std::string expected;
    for (int i = 0; i < 3000; ++i) {
        format += "item %1$d, ";
        expected += "item 5, ";
    }
    EXPECT_EQ(Print(format, 5), expected);
    EXPECT_EQ(PrintWide(Wide(format), 5), Wide(expected));
}

// Every format of up to five characters out of those that mean something prints, whatever the arguments.
TEST(MessagePrint, EveryShortFormatPrints) {
    std::string const alphabet = "%1$*.-0lsdfnSx";
    for (std::size_t length = 1; length <= 4; ++length) {
        std::vector<std::size_t> at(length, 0);
        for (bool more = true; more;) {
            std::string format = "%";
            for (std::size_t const i : at)
                format += alphabet[i];
            ASSERT_GT(Print(format, 7, "text", 2.5, u"wide").size(), 0u);
            ASSERT_GT(PrintWide(Wide(format)).size(), 0u);
            more = false;
            for (std::size_t i = 0; i < length && !more; ++i) {
                more = ++at[i] < alphabet.size();
                if (!more)
                    at[i] = 0;
            }
        }
    }
}

TEST(MessagePrint, FaultsDoNotDisturbWhileTheyAreTraced) {
    TTrace::Base::fsRuntimeLevel = TTrace::warning;
    TTrace::Base::fsRuntimeComponent = 1;
    EXPECT_EQ(Print("%5.3f|%n|%*d|%.*d|%S", 1, 2, 2.5, 3, 2.5, 4, "x"), "0.000|" + Inert("%") + "?|3|4|(null)");
    TTrace::Base::fsRuntimeLevel = 0;
    TTrace::Base::fsRuntimeComponent = 0;
}
