// TString: searches, comparisons, tests, and texts that are read as numbers.

#include "tstring_support.h"

#include <limits>
#include <random>
#include <vector>

// Searching

TEST(TString, IndexOfByte) {
    TString const text("abcab");
    EXPECT_EQ(text.indexOf('a'), 1u);
    EXPECT_EQ(text.indexOf('a', 2), 4u);
    EXPECT_EQ(text.indexOf('z'), 0u);
    EXPECT_EQ(text.indexOf('a', 6), 0u);
    EXPECT_EQ(text.indexOf('a', 0), 1u);
    EXPECT_EQ(fsNull.indexOf('a'), 0u);
    EXPECT_EQ(Text(std::string("a\0b", 3)).indexOf('b'), 3u);
}

TEST(TString, IndexOfSixteenBitCharacterCountsCharacters) {
    TString const text(u"a\u20ACb\u20AC");
    EXPECT_EQ(text.indexOf(u'\u20AC'), 2u);
    EXPECT_EQ(text.indexOf(static_cast<unsigned short>(0x20AC), 3), 4u);
    EXPECT_EQ(text.indexOf(u'\u20AC', 5), 0u);
    EXPECT_EQ(text.indexOf(u'a', 0), 0u);
    EXPECT_EQ(text.indexOf(u'z'), 0u);
    EXPECT_EQ(fsNull.indexOf(u'a'), 0u);
    // The odd last byte of a narrow text belongs to no character.
    EXPECT_EQ(Text(std::string("a\0b", 3)).indexOf(u'b'), 0u);
}

TEST(TString, IndexOfText) {
    TString const text("abc");
    EXPECT_EQ(text.indexOf("", 2), 2u);
    EXPECT_EQ(text.indexOf("bc", 1), 2u);
    EXPECT_EQ(text.indexOf("abcd"), 0u);
    EXPECT_EQ(text.indexOf("abc"), 1u);
    EXPECT_EQ(text.indexOf("c", 3), 3u);
    EXPECT_EQ(text.indexOf("", 4), 0u);
    EXPECT_EQ(text.indexOf(static_cast<char const *>(nullptr), 2), 2u);
    EXPECT_EQ(TString("").indexOf(""), 0u);
    EXPECT_EQ(fsNull.indexOf("a"), 0u);
    ExpectThrows<TInvalidRequest>(fsBadStart, [&] { text.indexOf("a", 0); });
    ExpectThrows<TInvalidRequest>(fsBadStart, [&] { fsNull.indexOf("a", 0); });
}

TEST(TString, IndexOfTextAgreesWithTheStandardStringAtEveryOffset) {
    std::mt19937 random(2);
    for (int round = 0; round < 3000; ++round) {
        std::string hay(random() % 80, 'a');
        for (char &c : hay)
            c = "ab\0"[random() % 3];
        std::string needle(1 + random() % 5, 'a');
        for (char &c : needle)
            c = "ab"[random() % 2];
        auto const start = static_cast<unsigned int>(1 + random() % (hay.size() + 2));
        std::size_t const found = start <= hay.size() ? hay.find(needle, start - 1) : std::string::npos;
        unsigned int const expected = found == std::string::npos ? 0 : static_cast<unsigned int>(found + 1);
        ASSERT_EQ(Text(hay).indexOf(needle.c_str(), start), expected) << round;
        std::size_t const byte = start <= hay.size() ? hay.find('b', start - 1) : std::string::npos;
        ASSERT_EQ(Text(hay).indexOf('b', start), byte == std::string::npos ? 0 : static_cast<unsigned int>(byte + 1));
    }
}

TEST(TString, IndexOfSets) {
    TString const text("abcab");
    EXPECT_EQ(text.indexOfAnyOf("bc"), 2u);
    EXPECT_EQ(text.indexOfAnyOf("bc", 4), 5u);
    EXPECT_EQ(text.indexOfAnyOf("xyz"), 0u);
    EXPECT_EQ(text.indexOfAnyOf(""), 0u);
    EXPECT_EQ(text.indexOfAnyOf("a", 6), 0u);
    EXPECT_EQ(text.indexOfAnyBut("ab"), 3u);
    EXPECT_EQ(text.indexOfAnyBut("ab", 4), 0u);
    EXPECT_EQ(text.indexOfAnyBut("", 2), 2u);
    EXPECT_EQ(text.indexOfAnyBut("a", 6), 0u);
    EXPECT_EQ(fsNull.indexOfAnyOf("a"), 0u);
    EXPECT_EQ(fsNull.indexOfAnyBut("a"), 0u);
    // A zero byte is in no set.
    EXPECT_EQ(Text(std::string("a\0b", 3)).indexOfAnyBut("ab"), 2u);
    EXPECT_EQ(Text(std::string("a\0", 2)).indexOfAnyOf("x"), 0u);
    ExpectThrows<TInvalidRequest>(fsBadStart, [&] { text.indexOfAnyOf("a", 0); });
    ExpectThrows<TInvalidRequest>(fsBadStart, [&] { text.indexOfAnyBut("a", 0); });
}

TEST(TString, LastIndexOf) {
    TString const text("a.b.c");
    EXPECT_EQ(text.lastIndexOf('.', static_cast<unsigned int>(-1)), 4u);
    EXPECT_EQ(text.lastIndexOf('.'), 4u);
    EXPECT_EQ(text.lastIndexOf('.', 3), 2u);
    EXPECT_EQ(text.lastIndexOf('.', 1), 0u);
    EXPECT_EQ(text.lastIndexOf('.', 6), 0u);
    EXPECT_EQ(text.lastIndexOf('z'), 0u);
    EXPECT_EQ(fsNull.lastIndexOf('.'), 0u);
    EXPECT_EQ(TString("").lastIndexOf('.'), 0u);
    ExpectThrows<TInvalidRequest>(fsBadStart, [&] { text.lastIndexOf('.', 0); });
    ExpectThrows<TInvalidRequest>(fsBadStart, [&] { fsNull.lastIndexOf('.', 0); });
}

TEST(TString, NullIsAnEmptySet) {
    TString const text("text");
    EXPECT_EQ(text.indexOfAnyOf(nullptr), 0u);
    EXPECT_EQ(text.indexOfAnyBut(nullptr), 1u);
}

// Comparison and tests

TEST(TString, EqualityOfNullAndNilIsAsymmetric) {
    TString const nil("");
    EXPECT_TRUE(nil.isEqual(fsNull));
    EXPECT_FALSE(fsNull.isEqual(nil));
    EXPECT_TRUE(fsNull.isEqual(TString()));
    EXPECT_TRUE(nil.IsEqual(TString("")));
    EXPECT_FALSE(TString("a").isEqual(fsNull));
    EXPECT_TRUE(nil == fsNull);
    EXPECT_FALSE(fsNull == nil);
}

TEST(TString, EqualityComparesLengthsAndBytes) {
    EXPECT_TRUE(TString("abc").isEqual("abc"));
    EXPECT_FALSE(TString("abc").isEqual("abd"));
    EXPECT_FALSE(TString("abc").isEqual("ab"));
    EXPECT_FALSE(Text(std::string("a\0b", 3)).isEqual(Text(std::string("a\0c", 3))));
    TString unicode("ab");
    unicode.SetUnicode(1);
    EXPECT_TRUE(unicode.isEqual("ab"));
}

TEST(TString, OperatorsCompareContentsWithTextOnEitherSide) {
    TString const text("abc");
    EXPECT_TRUE(text == "abc");
    EXPECT_TRUE("abc" == text);
    EXPECT_FALSE(text != "abc");
    EXPECT_TRUE("abd" != text);
    EXPECT_TRUE(text < "abd");
    EXPECT_TRUE("abb" < text);
    EXPECT_TRUE(text < TString("abcd"));
    EXPECT_TRUE(text != TString("abcd"));
}

TEST(TString, EveryFormOfTextIsComparedByContents) {
    TString const text("abc");
    char buffer[] = "abc";
    char *const plain = buffer;
    unsigned char const *const bytes = reinterpret_cast<unsigned char const *>(buffer);
    EXPECT_TRUE(text == plain);
    EXPECT_TRUE(plain == text);
    EXPECT_TRUE(text == buffer);
    EXPECT_TRUE(text == bytes);
    EXPECT_FALSE(text != plain);
    EXPECT_FALSE(text < plain);
    EXPECT_TRUE(TString(u"abc") == u"abc");
    EXPECT_TRUE(text != nullptr);
    EXPECT_TRUE(TString() == nullptr);
    EXPECT_TRUE(TStringIcmp("ABC") == plain);
    EXPECT_TRUE(plain == TStringIcmp("ABC"));
    EXPECT_FALSE(TStringIcmp("ABC") != "abc");
}

TEST(TString, AllSixRelationsCompareContents) {
    TString const a("abc"), b("abd");
    EXPECT_TRUE(a <= b && a <= a && b > a && b >= a && b >= b);
    EXPECT_FALSE(b <= a || a > b || a > a || a >= b);
    EXPECT_TRUE(a <= "abd" && a > "abb" && a >= "abc" && "abd" > a && "abb" <= a && "abd" >= a);
    EXPECT_TRUE(TString("") > nullptr);
}

TEST(TString, OrderIsByUnsignedBytesThenLength) {
    EXPECT_TRUE(fsNull.isLessThan(TString("")));
    EXPECT_FALSE(TString("").isLessThan(fsNull));
    EXPECT_FALSE(fsNull.isLessThan(fsNull));
    EXPECT_TRUE(TString("ab").isLessThan("abc"));
    EXPECT_FALSE(TString("abc").isLessThan("ab"));
    EXPECT_FALSE(TString("abc").isLessThan("abc"));
    EXPECT_TRUE(TString("z").isLessThan("\xE9"));
    EXPECT_FALSE(TString("\xE9").isLessThan("z"));
}

TEST(TString, Abbreviations) {
    struct TRow {
        TString text;
        char const *full;
        unsigned int minimum;
        bool result;
    };
    TRow const rows[] = {{"RE", "RETR", 1, true},  {"RETR", "RETR", 4, true}, {"RETRX", "RETR", 1, false},
                         {"re", "RETR", 1, false}, {"R", "RETR", 2, false},   {"", "RETR", 0, true},
                         {"", "RETR", 1, false},   {fsNull, "RETR", 0, true}, {"", "", 0, true},
                         {"RX", "RETR", 1, false}};
    for (TRow const &row : rows) {
        EXPECT_EQ(row.text.isAbbreviationFor(row.full, row.minimum), row.result) << row.text;
        EXPECT_EQ(row.text.isAbbreviationFor(TString(row.full), row.minimum), row.result) << row.text;
    }
    EXPECT_TRUE(TString("").isAbbreviationFor(static_cast<char const *>(nullptr), 0));
    EXPECT_FALSE(TString("a").isAbbreviationFor(static_cast<char const *>(nullptr), 0));
    EXPECT_FALSE(Text(std::string("a\0", 2)).isAbbreviationFor("a", 1));
}

TEST(TString, DigitTests) {
    EXPECT_FALSE(fsNull.isDigits());
    EXPECT_TRUE(TString("").isDigits());
    EXPECT_TRUE(TString("0123456789").isDigits());
    EXPECT_FALSE(TString("12a").isDigits());
    EXPECT_FALSE(TString("-1").isDigits());
    EXPECT_FALSE(TString("\xB2").isDigits());
    EXPECT_FALSE(fsNull.isBinaryDigits());
    EXPECT_TRUE(TString("").isBinaryDigits());
    EXPECT_TRUE(TString("0101").isBinaryDigits());
    EXPECT_FALSE(TString("012").isBinaryDigits());
}

TEST(TString, NumbersAreReadWithThirtyTwoBits) {
    struct TRow {
        char const *text;
        int asInt;
        unsigned int asUnsigned;
    };
    TRow const rows[] = {{"", 0, 0},
                         {"abc", 0, 0},
                         {"17", 17, 17},
                         {" \t\n+17x", 17, 17},
                         {"-17", -17, 4294967279u},
                         {"--1", 0, 0},
                         {"- 1", 0, 0},
                         {"2147483647", 2147483647, 2147483647u},
                         {"2147483648", 2147483647, 2147483648u},
                         {"-2147483648", std::numeric_limits<int>::min(), 2147483648u},
                         {"-2147483649", std::numeric_limits<int>::min(), 2147483647u},
                         {"4294967295", 2147483647, 4294967295u},
                         {"4294967296", 2147483647, 4294967295u},
                         {"-4294967296", std::numeric_limits<int>::min(), 4294967295u},
                         {"99999999999999999999999999", 2147483647, 4294967295u}};
    for (TRow const &row : rows) {
        EXPECT_EQ(TString(row.text).asInt(), row.asInt) << row.text;
        EXPECT_EQ(TString(row.text).asUnsigned(), row.asUnsigned) << row.text;
    }
    EXPECT_EQ(fsNull.asInt(), 0);
    EXPECT_EQ(fsNull.asUnsigned(), 0u);
}

TEST(TString, RealNumbersAreRead) {
    EXPECT_EQ(fsNull.asDouble(), 0.0);
    EXPECT_EQ(TString("").asDouble(), 0.0);
    EXPECT_EQ(TString(" -2.5e3x").asDouble(), -2500.0);
}
