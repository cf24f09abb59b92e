// TString: substrings, removal, replacement, letter case.

#include "tstring_support.h"

#include "support/LocaleC.h"

#include <clocale>

TEST(TString, SubStringToTheEnd) {
    TString text("abc");
    text.SetUnicode(1);
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.subString(0); });
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { fsNull.subString(0); });
    EXPECT_TRUE(text.subString(4).IsNull());
    EXPECT_TRUE(fsNull.subString(1).IsNull());
    EXPECT_TRUE(TString("").subString(1).IsNull());
    EXPECT_EQ(Bytes(text.subString(2)), "bc");
    EXPECT_TRUE(text.subString(2).IsUnicode());
    EXPECT_EQ(Bytes(text.subString(1)), "abc");
    EXPECT_NE(Data(text.subString(1)), Data(text));
}

TEST(TString, SubStringOfExactlyCountBytes) {
    TString text("abc");
    text.SetUnicode(1);
    EXPECT_EQ(Bytes(text.subString(2, 5, '*')), "bc***");
    EXPECT_EQ(Bytes(text.subString(9, 3, '*')), "***");
    EXPECT_EQ(Bytes(text.subString(2, 1)), "b");
    EXPECT_EQ(Bytes(text.subString(3, 3)), "c  ");
    EXPECT_EQ(Bytes(fsNull.subString(1, 2, '-')), "--");
    EXPECT_TRUE(text.subString(1, 0).IsNilString());
    EXPECT_TRUE(text.subString(2, 5, '*').IsUnicode());
    EXPECT_TRUE(text.subString(9, 3, '*').IsUnicode());
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.subString(0, 1, ' '); });
}

TEST(TString, RemoveTruncates) {
    TString text("abcd");
    text.remove(2);
    EXPECT_EQ(Bytes(text), "a");
    text.remove(9);
    EXPECT_EQ(Bytes(text), "a");
    text.remove(1);
    EXPECT_TRUE(text.IsNilString());
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.remove(0); });
    TString none;
    none.remove(1);
    EXPECT_TRUE(none.IsNull());
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { none.remove(0); });
}

TEST(TString, RemoveTruncatesInPlaceOnlyWhenUnshared) {
    TString text("abcd");
    char const *const data = Data(text);
    text.remove(4);
    EXPECT_EQ(Data(text), data);
    text.SetUnicode(1);
    TString const copy(text);
    text.remove(2);
    EXPECT_NE(Data(text), data);
    EXPECT_EQ(Bytes(text), "a");
    EXPECT_TRUE(text.IsUnicode());
    EXPECT_EQ(Bytes(copy), "abc");
}

TEST(TString, RemoveOfARun) {
    struct TRow {
        char const *text;
        unsigned int start, count;
        char const *result;
    };
    TRow const rows[] = {{"abcd", 2, 2, "ad"},   {"abcd", 3, 5, "ab"},          {"abcd", 9, 1, "abcd"},
                         {"abcd", 1, 4, ""},     {"abcd", 4, 1, "abc"},         {"abcd", 1, 1, "bcd"},
                         {"abcd", 2, 0, "abcd"}, {"abcd", 2, 0xFFFFFFFFu, "a"}, {"abcd", 4, 0xFFFFFFFDu, "abc"}};
    for (TRow const &row : rows) {
        TString alone(row.text);
        char const *const data = Data(alone);
        alone.remove(row.start, row.count);
        EXPECT_EQ(Bytes(alone), row.result) << row.start << ", " << row.count;
        EXPECT_EQ(Data(alone), data);

        TString shared(row.text);
        TString const copy(shared);
        shared.remove(row.start, row.count);
        EXPECT_EQ(Bytes(shared), row.result) << row.start << ", " << row.count;
        EXPECT_EQ(Bytes(copy), row.text);
    }
}

TEST(TString, RemoveOfARunChecksInOrder) {
    TString text("abcd");
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.remove(0, 2); });
    // Position 0 with a run beyond the end truncates, and that rejects the position as well.
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.remove(0, 9); });
    TString none;
    none.remove(1, 1);
    EXPECT_TRUE(none.IsNull());
    TString const copy(text);
    text.remove(2, 0);
    EXPECT_NE(Data(text), Data(copy));
}

TEST(TString, ChangeReplacesUpToCountOccurrences) {
    struct TRow {
        char const *text, *pattern, *replacement;
        unsigned int start, count;
        char const *result;
    };
    TRow const rows[] = {{"abcab", "ab", "X", 1, 10, "XcX"},   {"abcab", "ab", "X", 1, 1, "Xcab"},
                         {"abcab", "ab", "X", 2, 10, "abcX"},  {"abcab", "ab", "longer", 1, 10, "longerclonger"},
                         {"abcab", "ab", "", 1, 10, "c"},      {"abcab", "ab", "X", 1, 0, "abcab"},
                         {"abcab", "zz", "X", 1, 10, "abcab"}, {"abcab", "ab", "X", 9, 10, "abcab"},
                         {"aaa", "aa", "X", 1, 10, "Xa"},      {"aaaa", "aa", "X", 1, 10, "XX"},
                         {"abab", "ab", "ab", 1, 10, "abab"},  {"abc", "", "-", 2, 2, "a--bc"},
                         {"abc", "", "-", 2, 9, "a--bc"},      {"abc", "", "-", 4, 9, "abc"},
                         {"ab", "ab", "X", 1, 10, "X"}};
    for (TRow const &row : rows) {
        TString narrow(row.text);
        EXPECT_EQ(Bytes(narrow.change(row.pattern, row.replacement, row.start, row.count)), row.result) << row.text;
        TString shared(row.text);
        TString const copy(shared);
        EXPECT_EQ(Bytes(shared.change(row.pattern, TString(row.replacement), row.start, row.count)), row.result);
        EXPECT_EQ(Bytes(copy), row.text);
    }
}

TEST(TString, ChangeDropsTheFlagsWhenItReplaces) {
    TString text("abcab");
    text.SetUnicode(1);
    text.SetWipeOnDelete(1);
    text.change("zz", "X");
    EXPECT_TRUE(text.IsUnicode());
    text.change("ab", "X", 1, 10);
    EXPECT_FALSE(text.IsUnicode());
    EXPECT_FALSE(text.IsWipeOnDelete());
}

TEST(TString, ChangeTakesBytesOfAStringAsReplacement) {
    TString text("a-b");
    text.change("-", Text(std::string("\0\0", 2)));
    EXPECT_EQ(Bytes(text), std::string("a\0\0b", 4));
}

TEST(TString, ChangeWithTheStringItselfAsReplacement) {
    TString text("aba");
    text.change("b", text);
    EXPECT_EQ(Bytes(text), "aabaa");
    TString pointed("abc");
    pointed.change("b", static_cast<char const *>(pointed) + 1);
    EXPECT_EQ(Bytes(pointed), "abcc");
}

TEST(TString, ChangeFromPositionZeroThrowsUnlessNothingIsAskedFor) {
    TString text("abc");
    ExpectThrows<TInvalidRequest>(fsBadStart, [&] { text.change("a", "X", 0, 1); });
    text.change("a", "X", 0, 0);
    EXPECT_EQ(Bytes(text), "abc");
    TString none;
    none.change("a", "X");
    EXPECT_TRUE(none.IsNull());
    text.change(nullptr, static_cast<char const *>(nullptr));
    EXPECT_EQ(Bytes(text), "abc");
}

TEST(TString, ChangeRefusesAResultBeyondThirtyTwoBits) {
    TString text(nullptr, 70000, 'a');
    TString const replacement(nullptr, 70000, 'b');
    ExpectThrows<TOutOfMemory>({"Text too long", fsFile}, [&] { text.change("a", replacement); });
    EXPECT_EQ(text.length(), 70000u);
}

TEST(TString, CaseFoldingStopsAtTheFirstZeroByte) {
    TString text(Text(std::string("aBc\0dE", 6)));
    TString const copy(text);
    EXPECT_EQ(&text.upperCase(), &text);
    EXPECT_EQ(Bytes(text), std::string("ABC\0dE", 6));
    EXPECT_EQ(Bytes(copy), std::string("aBc\0dE", 6));
    EXPECT_EQ(Bytes(text.lowerCase()), std::string("abc\0dE", 6));
    TString none;
    EXPECT_TRUE(none.lowerCase().IsNull());
    EXPECT_TRUE(none.upperCase().IsNull());
}

TEST(TString, ChangingASharedStringKeepsTheFlagsOfBoth) {
    void (*const changes[])(TString &) = {
        [](TString &text) { text.remove(2, 1); }, [](TString &text) { text.remove(2); },
        [](TString &text) { text.lowerCase(); }, [](TString &text) { text.upperCase(); },
        [](TString &text) { text |= TString("abc"); }};
    for (auto const change : changes) {
        TString text("aBc");
        text.SetUnicode(1);
        text.SetWipeOnDelete(1);
        TString const copy(text);
        change(text);
        EXPECT_NE(Data(text), Data(copy));
        EXPECT_TRUE(text.IsUnicode());
        EXPECT_TRUE(text.IsWipeOnDelete());
        EXPECT_TRUE(copy.IsUnicode());
        EXPECT_EQ(Bytes(copy), "aBc");
    }
}

TEST(TString, CaseIsThatOfTheCurrentLocale) {
    // In the "C" locale letters above 127 have no case.
    TLocaleC const locale;
    EXPECT_EQ(Bytes(TString("\xC9").lowerCase()), "\xC9");
    EXPECT_FALSE(TStringIcmp("\xC9").isEqual("\xE9"));
}
