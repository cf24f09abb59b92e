#include "tuzutil/UTF7.h"

#include "support/Expect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

namespace {

TString Wide(std::u16string const &units) {
    TString text(units.data(), static_cast<unsigned int>(units.size() * 2), ' ');
    text.SetUnicode(1);
    return text;
}

TString Text(std::string const &bytes) {
    return TString(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
}

std::string Plain(TString const &text) {
    char const *const data = text;
    return std::string(data, text.length());
}

std::u16string Units(TString const &text) {
    EXPECT_TRUE(text.IsUnicode());
    EXPECT_EQ(text.length() % 2, 0u);
    std::u16string units(text.length() / 2, u'\0');
    if (!units.empty())
        std::memcpy(units.data(), static_cast<char const *>(text), text.length());
    return units;
}

std::string const fsReferenceAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";

// A second encoder: each run first as a string of binary digits, then cut into sixes.
std::string ReferenceEncode(std::u16string const &units) {
    std::string text;
    for (std::size_t at = 0; at < units.size();) {
        if (units[at] >= 32 && units[at] <= 126) {
            text += static_cast<char>(units[at]);
            if (units[at] == u'&')
                text += '-';
            ++at;
            continue;
        }
        std::string bits;
        for (; at < units.size() && (units[at] < 32 || units[at] > 126); ++at) {
            for (int bit = 15; bit >= 0; --bit)
                bits += (units[at] >> bit & 1) ? '1' : '0';
        }
        while (bits.size() % 6)
            bits += '0';
        text += '&';
        for (std::size_t bit = 0; bit < bits.size(); bit += 6)
            text += fsReferenceAlphabet[std::stoul(bits.substr(bit, 6), nullptr, 2)];
        text += '-';
    }
    return text;
}

// A second decoder: whole runs become bytes, bytes become units.
std::u16string ReferenceDecode(std::string const &text) {
    std::u16string units;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] != '&') {
            units += static_cast<char16_t>(static_cast<unsigned char>(text[at++]));
            continue;
        }
        std::size_t const end = std::min(text.find('-', at), text.size());
        std::string const run = text.substr(at + 1, end - at - 1);
        if (run.empty() && end < text.size())
            units += u'&';
        std::string bits;
        for (char const c : run) {
            std::size_t const known = fsReferenceAlphabet.find(c);
            unsigned int const value =
                known != std::string::npos ? static_cast<unsigned int>(known) : static_cast<unsigned char>(c) & 63u;
            for (int bit = 5; bit >= 0; --bit)
                bits += (value >> bit & 1) ? '1' : '0';
        }
        bits.resize(bits.size() / 8 * 8);
        if (bits.size() % 16)
            bits += "00000000";
        for (std::size_t bit = 0; bit < bits.size(); bit += 16)
            units += static_cast<char16_t>(std::stoul(bits.substr(bit, 16), nullptr, 2));
        at = end + 1;
    }
    return units;
}

void ExpectBothWays(std::u16string const &units) {
    std::string const encoded = Plain(TModifiedUTF7::Encode(Wide(units)));
    ASSERT_EQ(encoded, ReferenceEncode(units));
    ASSERT_EQ(Units(TModifiedUTF7::Decode(Text(encoded))), units) << encoded;
}

} // namespace

TEST(ModifiedUtf7, Example) {
    TString name(u"Entw\u00FCrfe");
    TString wire = TModifiedUTF7::Encode(name);
    TString back = TModifiedUTF7::Decode(wire);
    EXPECT_EQ(wire, "Entw&APw-rfe");
    EXPECT_TRUE(back.IsUnicode());
    EXPECT_EQ(back, name);
}

TEST(ModifiedUtf7, PublishedNamesHoldBothWays) {
    struct Row {
        std::u16string name;
        char const *wire;
    };
    Row const rows[] = {
        {u"~peter/mail/\u53F0\u5317/\u65E5\u672C\u8A9E", "~peter/mail/&U,BTFw-/&ZeVnLIqe-"},
        {u"&", "&-"},
        {u"\u00E9", "&AOk-"},
        {u"a\u00E9b", "a&AOk-b"},
        {u"a&b", "a&-b"},
        {u"&&", "&-&-"},
        {u"\u00E9&\u00E9", "&AOk-&-&AOk-"},
        {u"\u263A!", "&Jjo-!"},
        {u"INBOX.Entw\u00FCrfe", "INBOX.Entw&APw-rfe"},
    };
    for (Row const &row : rows) {
        EXPECT_EQ(Plain(TModifiedUTF7::Encode(Wide(row.name))), row.wire);
        EXPECT_EQ(Units(TModifiedUTF7::Decode(row.wire)), row.name) << row.wire;
    }
}

TEST(ModifiedUtf7, PrintableAsciiFrom32To126StandsForItself) {
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(u" ~")), " ~");
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(u"\u001F")), "&AB8-");
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(u"\u007F")), "&AH8-");
}

TEST(ModifiedUtf7, EncodedTextIsNarrow) {
    EXPECT_FALSE(TModifiedUTF7::Encode(Wide(u"\u00E9")).IsUnicode());
    EXPECT_TRUE(TModifiedUTF7::Encode(Wide(u"")).IsNilString());
    EXPECT_TRUE(TModifiedUTF7::Encode(TString()).IsNilString());
}

TEST(ModifiedUtf7, RunsOfOneToFourUnitsEndWithoutPadding) {
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(u"\u00E9")), "&AOk-");
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(u"\u00E9\u00E9")), "&AOkA6Q-");
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(u"\u00E9\u00E9\u00E9")), "&AOkA6QDp-");
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(u"\u00E9\u00E9\u00E9\u00E9")), "&AOkA6QDpAOk-");
}

TEST(ModifiedUtf7, NarrowTextEncodesAsTheFirst256Characters) {
    EXPECT_EQ(TModifiedUTF7::Encode("a\xE9z&"), "a&AOk-z&-");
    EXPECT_EQ(TModifiedUTF7::Encode(TString("\0", 1, ' ')), "&AAA-");
}

TEST(ModifiedUtf7, OddFinalByteOf16BitTextIsIgnored) {
    TString odd("a\0b", 3, ' ');
    odd.SetUnicode(1);
    char const *const expected = "a";
    EXPECT_EQ(TModifiedUTF7::Encode(odd), expected);
}

TEST(ModifiedUtf7, ZeroUnitsAreKeptBothWays) {
    std::u16string const name(u"a\0\0b", 4);
    EXPECT_EQ(TModifiedUTF7::Encode(Wide(name)), "a&AAAAAA-b");
    EXPECT_EQ(Units(TModifiedUTF7::Decode("a&AAAAAA-b")), name);
    EXPECT_EQ(Units(TModifiedUTF7::Decode(TString("a\0b", 3, ' '))), std::u16string(u"a\0b", 3));
}

TEST(ModifiedUtf7, DecodedTextIsFlaggedUnicodeEvenIfEmpty) {
    for (TString const &text : {TString(), TString("")}) {
        TString const name = TModifiedUTF7::Decode(text);
        EXPECT_TRUE(name.IsNilString());
        EXPECT_TRUE(name.IsUnicode());
    }
}

TEST(ModifiedUtf7, BytesAbove127DecodeToTheirOwnCodes) {
    EXPECT_EQ(Units(TModifiedUTF7::Decode("\x80\xFF")), u"\u0080\u00FF");
}

TEST(ModifiedUtf7, RunWithoutItsHyphenEndsWithTheText) {
    EXPECT_EQ(Units(TModifiedUTF7::Decode("x&AOk")), u"x\u00E9");
    EXPECT_EQ(Units(TModifiedUTF7::Decode("x&")), u"x");
}

TEST(ModifiedUtf7, AmpersandInsideARunIsACharacterOfIt) {
    // "&" is 0x26, six bits 38: A & k gives 0, 38, 36.
    EXPECT_EQ(Units(TModifiedUTF7::Decode("&A&k-")), u"\u0269");
    EXPECT_EQ(Units(TModifiedUTF7::Decode("&&-")), u"");
}

TEST(ModifiedUtf7, ForeignCharactersCountWithTheirLowSixBits) {
    // "*" is 0x2A: six bits 42. "/" is 0x2F: 47, where "," is 63. 0xE9 gives 41.
    EXPECT_EQ(Units(TModifiedUTF7::Decode("&A*k-")), u"\u02A9");
    EXPECT_EQ(Units(TModifiedUTF7::Decode("&A/k-")), u"\u02F9");
    EXPECT_EQ(Units(TModifiedUTF7::Decode("&A,k-")), u"\u03F9");
    EXPECT_EQ(Units(TModifiedUTF7::Decode("&A\xE9k-")), u"\u0299");
}

TEST(ModifiedUtf7, IncompleteRunsGiveTheirWholeBytesAndAnOddByteIsTheHighHalf) {
    using namespace std::string_literals;
    struct Row {
        char const *wire;
        std::u16string name;
    };
    Row const rows[] = {
        {"&k-", u""},                          // one character: nothing
        {"&kk-", u"\u9200"},                   // two: one byte, 10010010
        {"&AOk-", u"\u00E9"},                  // three: two bytes
        {"&AOkA-", u"\u00E9\0"s},              // four: three bytes, the last zero
        {"&AOk,-", u"\u00E9\x3F00"},           // four: three bytes, the last 00111111
        {"&AOk,,-", u"\u00E9\x3F00"},          // five: three bytes
        {"&AOkA6Q-", u"\u00E9\u00E9"},         // six: four bytes
        {"&AOkA6QDp-", u"\u00E9\u00E9\u00E9"}, // eight: six bytes
    };
    for (Row const &row : rows)
        EXPECT_EQ(Units(TModifiedUTF7::Decode(row.wire)), row.name) << row.wire;
}

TEST(ModifiedUtf7, EveryUnitGoesBothWays) {
    for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
        ExpectBothWays(std::u16string(1, static_cast<char16_t>(unit)));
        ExpectBothWays(std::u16string{u'a', static_cast<char16_t>(unit), u'b'});
    }
}

TEST(ModifiedUtf7, RandomSurrogatePairsGoBothWays) {
    std::mt19937 random(5);
    for (int round = 0; round < 5000; ++round) {
        std::u16string units;
        for (unsigned int pairs = 1 + random() % 4; pairs; --pairs) {
            units += static_cast<char16_t>(0xD800 + random() % 0x400);
            units += static_cast<char16_t>(0xDC00 + random() % 0x400);
            if (random() % 3 == 0)
                units += static_cast<char16_t>(' ' + random() % 95);
        }
        ExpectBothWays(units);
    }
}

TEST(ModifiedUtf7, EveryLengthUpTo300GoesBothWays) {
    std::mt19937 random(6);
    for (std::size_t length = 0; length <= 300; ++length) {
        std::u16string units(length, u'\0');
        for (char16_t &unit : units)
            unit = static_cast<char16_t>(random() % 2 ? ' ' + random() % 95 : random());
        ExpectBothWays(units);
    }
}

TEST(ModifiedUtf7, TheLongestEncodingsFit) {
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t run = 1; run <= 8; ++run) {
            std::u16string units;
            while (units.size() < length)
                units += units.size() % (run + 1) == run ? u'&' : u'\u4E00';
            ExpectBothWays(units);
        }
    }
}

TEST(ModifiedUtf7, RandomTextsDecodeAsTheReferenceDoes) {
    std::mt19937 random(7);
    std::string const often = "&&--Aa09+,/=\x80\xFF zQk";
    for (int round = 0; round < 50000; ++round) {
        std::string text(random() % 40, '\0');
        for (char &c : text)
            c = random() % 8 ? often[random() % often.size()] : static_cast<char>(random());
        ASSERT_EQ(Units(TModifiedUTF7::Decode(Text(text))), ReferenceDecode(text)) << text;
    }
}

TEST(ModifiedUtf7, ArgumentsStayAsTheyAre) {
    TString const name = Wide(u"\u00E9");
    TString const wire("&AOk-");
    TModifiedUTF7::Encode(name);
    TModifiedUTF7::Decode(wire);
    EXPECT_EQ(Units(name), u"\u00E9");
    EXPECT_EQ(wire, "&AOk-");
}

namespace {

unsigned int Fault(std::string const &text) {
    unsigned int fault = 99;
    int const isCanonical = TModifiedUTF7::IsCanonical(Text(text), &fault);
    EXPECT_EQ(isCanonical, fault == 0);
    EXPECT_EQ(TModifiedUTF7::IsCanonical(Text(text)), fault == 0);
    return fault;
}

} // namespace

TEST(ModifiedUtf7Utf8, NamesAreEncodedAndDecoded) {
    EXPECT_EQ(Plain(TModifiedUTF7::EncodeUtf8("Entw\xC3\xBCrfe & \xF0\x9F\x98\x80")), "Entw&APw-rfe &- &2D3eAA-");
    TString const name = TModifiedUTF7::DecodeUtf8("Entw&APw-rfe &- &2D3eAA-");
    EXPECT_FALSE(name.IsUnicode());
    EXPECT_EQ(Plain(name), "Entw\xC3\xBCrfe & \xF0\x9F\x98\x80");
    EXPECT_EQ(Plain(TModifiedUTF7::EncodeUtf8("")), "");
    EXPECT_EQ(Plain(TModifiedUTF7::DecodeUtf8("")), "");
    EXPECT_EQ(Plain(TModifiedUTF7::EncodeUtf8(u"\u00E9")), "&AOk-");
}

TEST(ModifiedUtf7Utf8, ANameThatIsNoUtf8IsRefusedOrReplaced) {
    ExpectThrows<TInvalidRequest>({"Malformed UTF-8 at byte 2", "src/utility/UNICODE"},
                                  [] { TModifiedUTF7::EncodeUtf8("a\xFC"); });
    EXPECT_EQ(Plain(TModifiedUTF7::EncodeUtf8("a\xFC", TUnicode::replace)), "a&,,0-");
    ExpectThrows<TInvalidRequest>({"Unpaired surrogate at character 2", "src/utility/UNICODE"},
                                  [] { TModifiedUTF7::DecodeUtf8("a&2AA-"); });
    EXPECT_EQ(Plain(TModifiedUTF7::DecodeUtf8("a&2AA-", TUnicode::replace)), "a\xEF\xBF\xBD");
}

TEST(ModifiedUtf7Canonical, WhatEncodeWritesIsCanonical) {
    for (char const *text : {"", "INBOX", "a b~", "&-", "&-&-", "&AOk-", "a&AOk-b", "&AOkA6Q-", "&2D3eAA-", "&AOk-&-",
                             "&-&AOk-", "&AAE-", "&AH8-", "&,,0-"})
        EXPECT_EQ(Fault(text), 0u) << text;
    EXPECT_EQ(TModifiedUTF7::IsCanonical(TString()), 1);
}

TEST(ModifiedUtf7Canonical, AFaultIsFoundWhereItIs) {
    EXPECT_EQ(Fault("ab\x1F"), 3u);      // a character that has to be encoded
    EXPECT_EQ(Fault("a\xC3\xBC"), 2u);   // and bytes that are no characters here
    EXPECT_EQ(Fault("a&"), 3u);          // a run that is not closed
    EXPECT_EQ(Fault("a&AOk"), 6u);       //
    EXPECT_EQ(Fault("a&A+Ok /b-"), 7u);  // a byte outside the alphabet
    EXPECT_EQ(Fault("a&AC8-"), 3u);      // a hidden "/"
    EXPECT_EQ(Fault("a&AOkALw-"), 5u);   // the same after another character
    EXPECT_EQ(Fault("a&AAA-"), 3u);      // a zero
    EXPECT_EQ(Fault("a&ACY-"), 3u);      // an ampersand is "&-"
    EXPECT_EQ(Fault("a&AOk-&AOk-"), 7u); // two runs where one would do
    EXPECT_EQ(Fault("a&AOl-"), 5u);      // bits that are not zero
    EXPECT_EQ(Fault("a&AOkA-"), 6u);     // a part of a character
    EXPECT_EQ(Fault("a&A-"), 3u);        //
    EXPECT_EQ(Fault("a&2D0-"), 3u);      // a high surrogate alone
    EXPECT_EQ(Fault("a&2D0A6Q-"), 3u);   // and before a character
    EXPECT_EQ(Fault("a&3gA-"), 3u);      // a low surrogate alone
    EXPECT_EQ(Fault("a&AOkA6Q-b\x7F"), 11u);
}

// All short texts over bytes of every sort, against the definition.
TEST(ModifiedUtf7Canonical, IsWhatEncodeWouldHaveWritten) {
    std::string const bytes = "&-AOC2kg\x7F";
    std::size_t canonical = 0;
    std::size_t total = 1;
    for (std::size_t length = 1; length <= 6; ++length) {
        total *= bytes.size();
        for (std::size_t number = 0; number < total; ++number) {
            std::string text;
            for (std::size_t left = number; text.size() < length; left /= bytes.size())
                text += bytes[left % bytes.size()];
            TString const given = Text(text);
            TString const name = TModifiedUTF7::Decode(given);
            bool const expected = TModifiedUTF7::Encode(name) == given && TUnicode::FindFault(name) == 0 &&
                                  name.u16view().find(u'\0') == std::u16string_view::npos;
            canonical += expected;
            ASSERT_EQ(TModifiedUTF7::IsCanonical(given), expected) << text;
        }
    }
    EXPECT_GT(canonical, 1000u);
}
