#include "tuzutil/TSTRING.h"

#include "support/Expect.h"
#include "support/LocaleC.h"

#include <clocale>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <utility>
#include <vector>

namespace {

char const fsFile[] = "src/utility/TSTRING";
TExpectedFailure const fsBadIndex{"Bad index value for this String", fsFile};
TExpectedFailure const fsBadTruncate{"Bad value to truncate this String", fsFile};
TExpectedFailure const fsBadStart{"Bad value for the starting position", fsFile};

TString const fsNull;

TString Text(std::string const &bytes) {
    return TString(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
}

std::string Printed(TString const &text) {
    std::ostringstream out;
    EXPECT_EQ(&text.Print(out), &out);
    return out.str();
}

std::string Repeated(std::string const &piece, std::size_t times) {
    std::string result;
    for (std::size_t i = 0; i < times; ++i)
        result += piece;
    return result;
}

} // namespace

TEST(TString, Example) {
    std::ostringstream out;
    TString line("RETR 17");
    unsigned int blank = line.indexOf(' ');
    TString verb = blank ? line.subString(1, blank - 1) : line;
    TString number = blank ? line.subString(blank + 1) : TString();
    if (verb == "RETR" && number.isDigits())
        out << number.asInt() << '\n';
    EXPECT_EQ(out.str(), "17\n");
    EXPECT_EQ(blank, 5u);
}

// Construction

TEST(TString, DefaultIsNull) {
    TString const text;
    EXPECT_TRUE(text.IsNull());
    EXPECT_TRUE(!text);
    EXPECT_FALSE(text);
    EXPECT_FALSE(text.IsNilString());
    EXPECT_EQ(text.length(), 0u);
    EXPECT_EQ(text.size(), 0u);
    EXPECT_EQ(static_cast<char *>(text), nullptr);
    EXPECT_EQ(static_cast<unsigned char *>(text), nullptr);
    EXPECT_EQ(static_cast<unsigned short *>(text), nullptr);
    EXPECT_EQ(static_cast<void const *>(text), nullptr);
    EXPECT_FALSE(text.IsUnicode());
    EXPECT_FALSE(text.IsWipeOnDelete());
}

TEST(TString, NullPointerGivesNullString) {
    EXPECT_TRUE(TString(static_cast<char const *>(nullptr)).IsNull());
    EXPECT_TRUE(TString(static_cast<unsigned char const *>(nullptr)).IsNull());
    EXPECT_TRUE(TString(static_cast<unsigned short const *>(nullptr)).IsNull());
    EXPECT_TRUE(TString(static_cast<char16_t const *>(nullptr)).IsNull());
    EXPECT_TRUE(TString(nullptr).IsNull());
}

TEST(TString, EmptyTextGivesNilString) {
    for (TString const &text : {TString(""), TString(reinterpret_cast<unsigned char const *>("")), TString(u"")}) {
        EXPECT_TRUE(text.IsNilString());
        EXPECT_FALSE(text.IsNull());
        EXPECT_FALSE(!text);
        EXPECT_TRUE(text);
        EXPECT_EQ(Bytes(text), "");
    }
}

TEST(TString, NarrowTextEndsAtItsFirstZero) {
    EXPECT_EQ(Bytes(TString("ab\0c")), "ab");
    EXPECT_FALSE(TString("ab").IsUnicode());
    EXPECT_FALSE(TString("ab").IsWipeOnDelete());
    unsigned char const raw[] = {0xE9, 'x', 0, 'y'};
    EXPECT_EQ(Bytes(TString(raw)), "\xE9x");
}

TEST(TString, SixteenBitTextSetsTheUnicodeFlagAndCountsBytes) {
    unsigned short const raw[] = {'a', 0x20AC, 0, 'b'};
    TString const text(raw);
    EXPECT_TRUE(text.IsUnicode());
    EXPECT_EQ(text.length(), 4u);
    EXPECT_EQ(TString::lengthOf(static_cast<unsigned short *>(text)), 2u);
    EXPECT_EQ(static_cast<unsigned short *>(text)[1], 0x20AC);
    EXPECT_TRUE(TString(u"a\u20AC").isEqual(text));
    EXPECT_TRUE(TString(u"").IsUnicode());
}

TEST(TString, BytesOrFillGiveExactlyCountBytes) {
    EXPECT_EQ(Bytes(TString("a\0b", 3, 'x')), std::string("a\0b", 3));
    EXPECT_EQ(Bytes(TString(nullptr, 4, 'x')), "xxxx");
    EXPECT_TRUE(TString("abc", 0, 'x').IsNilString());
    EXPECT_TRUE(TString(nullptr, 0, 'x').IsNilString());
    EXPECT_FALSE(TString("abc", 3, 'x').IsUnicode());
}

TEST(TString, NumbersBecomeDecimalText) {
    EXPECT_EQ(Bytes(TString(0L)), "0");
    EXPECT_EQ(Bytes(TString(-17L)), "-17");
    EXPECT_EQ(Bytes(TString(1234567L)), "1234567");
    EXPECT_EQ(Bytes(TString(static_cast<long>(std::numeric_limits<std::int32_t>::min()))), "-2147483648");
    EXPECT_EQ(Bytes(TString(4294967295UL)), "4294967295");
}

TEST(TString, NumbersIgnoreTheGroupingOfTheGlobalLocale) {
    struct TGrouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale const before = std::locale::global(std::locale(std::locale::classic(), new TGrouping));
    TString const text(1234567L);
    std::locale::global(before);
    EXPECT_EQ(Bytes(text), "1234567");
}

// Sharing

TEST(TString, CopiesShareTheBuffer) {
    TString const original("abc");
    TString const copy(original);
    TString assigned("other");
    assigned = original;
    EXPECT_EQ(Data(copy), Data(original));
    EXPECT_EQ(Data(assigned), Data(original));
    EXPECT_TRUE(TString(fsNull).IsNull());
}

TEST(TString, SelfAssignmentKeepsTheText) {
    TString text("abc");
    TString &same = text;
    text = same;
    EXPECT_EQ(Bytes(text), "abc");
    text = std::move(same);
    EXPECT_EQ(Bytes(text), "abc");
}

TEST(TString, AssignmentOfNullReleasesTheBuffer) {
    TString text("abc");
    text = fsNull;
    EXPECT_TRUE(text.IsNull());
}

TEST(TString, MovedFromStringIsNull) {
    TString original("abc");
    char const *const data = Data(original);
    TString const moved(std::move(original));
    EXPECT_EQ(Data(moved), data);
    EXPECT_TRUE(original.IsNull());
}

TEST(TString, MakeUniqueCopiesOnlyASharedBuffer) {
    TString text("abc");
    char const *const alone = Data(text);
    text.MakeUnique();
    EXPECT_EQ(Data(text), alone);
    text.SetUnicode(1);
    TString const copy(text);
    text.MakeUnique();
    EXPECT_NE(Data(text), Data(copy));
    EXPECT_EQ(Bytes(text), "abc");
    EXPECT_TRUE(text.IsUnicode());
    TString none;
    none.MakeUnique();
    EXPECT_TRUE(none.IsNull());
}

TEST(TString, WritingThroughAPointerReachesAllHolders) {
    TString text("abc");
    TString const copy(text);
    static_cast<char *>(text)[0] = 'X';
    EXPECT_EQ(Bytes(copy), "Xbc");
}

// Flags

TEST(TString, FlagsTravelWithTheBuffer) {
    TString text("ab");
    TString const copy(text);
    text.SetUnicode(1);
    EXPECT_TRUE(copy.IsUnicode());
    text.SetWipeOnDelete(5);
    EXPECT_TRUE(copy.IsWipeOnDelete());
    text.SetUnicode(0);
    EXPECT_FALSE(copy.IsUnicode());
    EXPECT_TRUE(copy.IsWipeOnDelete());
    text.SetWipeOnDelete(0);
    EXPECT_FALSE(copy.IsWipeOnDelete());
}

TEST(TString, FlagsOfANullStringCannotBeSet) {
    TString text;
    text.SetUnicode(1);
    text.SetWipeOnDelete(1);
    EXPECT_FALSE(text.IsUnicode());
    EXPECT_FALSE(text.IsWipeOnDelete());
}

TEST(TString, TheTailThatIsCutFromAFlaggedBufferIsZeroed) {
    TString secret("password");
    secret.SetWipeOnDelete(1);
    char const *const data = Data(secret);
    secret.remove(5);
    EXPECT_EQ(Bytes(secret), "pass");
    EXPECT_EQ(std::string(data + 4, 4), std::string(4, '\0'));
}

// Views

TEST(TString, LengthOfCountsUnitsAndNullCountsAsEmpty) {
    EXPECT_EQ(TString::lengthOf("abc"), 3u);
    EXPECT_EQ(TString::lengthOf(reinterpret_cast<unsigned char const *>("ab")), 2u);
    EXPECT_EQ(TString::lengthOf(u"abcd"), 4u);
    EXPECT_EQ(TString::lengthOf(static_cast<char const *>(nullptr)), 0u);
    EXPECT_EQ(TString::lengthOf(static_cast<unsigned short const *>(nullptr)), 0u);
}

TEST(TString, AllPointersLeadToTheSameBytes) {
    TString const text("abc");
    void const *const data = static_cast<char *>(text);
    EXPECT_EQ(static_cast<unsigned char *>(text), data);
    EXPECT_EQ(static_cast<unsigned short *>(text), data);
    EXPECT_EQ(static_cast<void const *>(text), data);
}

TEST(TString, PrintWritesRawBytesWhateverTheFormat) {
    EXPECT_EQ(Printed(fsNull), "<NULL>");
    EXPECT_EQ(Printed(""), "");
    EXPECT_EQ(Printed(Text(std::string("a\0b", 3))), std::string("a\0b", 3));
    EXPECT_EQ(Printed(TString(u"ab")), std::string("a\0b\0", 4));
    std::ostringstream out;
    out.width(10);
    out << TString("abc");
    EXPECT_EQ(out.str(), "abc");
}

// Element access

TEST(TString, ConstIndexOutsideTheStringThrows) {
    TString const text("abc");
    EXPECT_EQ(text[1], 'a');
    EXPECT_EQ(text[3], 'c');
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { static_cast<void>(text[0]); });
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { static_cast<void>(text[4]); });
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { static_cast<void>(text[0u]); });
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { static_cast<void>(fsNull[1]); });
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { static_cast<void>(text[-1]); });
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { static_cast<void>(text[0x100000001LL]); });
}

TEST(TString, IndexTakesAnyIntegerType) {
    TString text("abc");
    EXPECT_EQ(text[static_cast<short>(2)], 'b');
    EXPECT_EQ(text[2L], 'b');
    EXPECT_EQ(text[2UL], 'b');
    EXPECT_EQ(text[2ULL], 'b');
    EXPECT_EQ(text[static_cast<unsigned char>(2)], 'b');
    enum TPosition { second = 2 };
    EXPECT_EQ(text[second], 'b');
}

TEST(TString, IndexBeyondTheEndGrowsToExactlyThatManyBytes) {
    TString text("abc");
    text.SetUnicode(1);
    TString const copy(text);
    EXPECT_EQ(text[5], 0);
    EXPECT_EQ(Bytes(text), std::string("abc\0\0", 5));
    EXPECT_TRUE(text.IsUnicode());
    EXPECT_EQ(Bytes(copy), "abc");
    text[5] = 'e';
    EXPECT_EQ(Bytes(text), std::string("abc\0e", 5));
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { text[0] = 'x'; });
    ExpectThrows<TInvalidRequest>(fsBadIndex, [&] { text[-1] = 'x'; });
}

TEST(TString, IndexIntoANullStringMakesZeroBytes) {
    TString text;
    text[3] = 'c';
    EXPECT_EQ(Bytes(text), std::string("\0\0c", 3));
    EXPECT_FALSE(text.IsUnicode());
}

TEST(TString, IndexWithinBoundsWritesIntoTheSharedBuffer) {
    TString text("abc");
    TString const copy(text);
    text[2] = 'X';
    EXPECT_EQ(Bytes(copy), "aXc");
}

TEST(TString, AnImpossibleLengthThrowsOutOfMemory) {
    TString text("abc");
    TExpectedFailure const tooLong{"Text too long", fsFile};
    ExpectThrows<TOutOfMemory>(tooLong, [&] { text[0xFFFFFFFFu] = 'x'; });
    ExpectThrows<TOutOfMemory>(tooLong, [&] { text[0xFFFFFFF0u] = 'x'; });
    ExpectThrows<TOutOfMemory>(tooLong, [] { TString(nullptr, 0xFFFFFFFFu, 'x'); });
    EXPECT_EQ(Bytes(text), "abc");
}

// Nobody asks for a gibibyte more than there is; what a subtraction made of 0 does.
TEST(TString, CountThatCannotBeMeantIsRefusedBeforeMemoryIsTaken) {
    constexpr unsigned int gibibyte = 1u << 30;
    TString text("abc");
    unsigned int const blank = text.indexOf(' ');
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.subString(1, blank - 1); });
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.subString(1, gibibyte + 4); });
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [] { fsNull.subString(1, gibibyte + 1); });
    ExpectThrows<TInvalidRequest>(fsBadTruncate, [&] { text.subString(0, gibibyte + 4); });
    TExpectedFailure const badIndex{"Bad index value for this String", fsFile};
    ExpectThrows<TInvalidRequest>(badIndex, [&] { text[gibibyte + 4] = 'x'; });
    ExpectThrows<TInvalidRequest>(badIndex, [&] { text[0xFFFFFFEFu] = 'x'; });
    TExpectedFailure const badCount{"Bad count for this String", fsFile};
    ExpectThrows<TInvalidRequest>(badCount, [] { TString(nullptr, gibibyte + 1, 'x'); });
    ExpectThrows<TInvalidRequest>(badCount, [] { TString(nullptr, 0xFFFFFFEFu, 'x'); });
    EXPECT_EQ(Bytes(text), "abc");
}

// Concatenation

TEST(TString, PlusOfTwoNullStringsIsNull) {
    EXPECT_TRUE((fsNull + fsNull).IsNull());
    EXPECT_TRUE((fsNull + "").IsNull());
    EXPECT_TRUE((fsNull + static_cast<char const *>(nullptr)).IsNull());
    EXPECT_TRUE((fsNull + TString("")).IsNilString());
    EXPECT_TRUE((TString("") + fsNull).IsNilString());
    EXPECT_TRUE((TString("") + "").IsNilString());
}

TEST(TString, PlusJoinsBytesAndTakesTheFlagsOfTheLeftOrOnlyOperand) {
    TString flagged("ab");
    flagged.SetUnicode(1);
    TString const plain(Text(std::string("c\0d", 3)));
    EXPECT_EQ(Bytes(flagged + plain), std::string("abc\0d", 5));
    EXPECT_TRUE((flagged + plain).IsUnicode());
    EXPECT_FALSE((plain + flagged).IsUnicode());
    EXPECT_TRUE((fsNull + flagged).IsUnicode());
    EXPECT_EQ(Bytes(flagged), "ab");
}

TEST(TString, PlusTextHasNoFlags) {
    TString flagged("ab");
    flagged.SetUnicode(1);
    EXPECT_EQ(Bytes(flagged + "cd"), "abcd");
    EXPECT_FALSE((flagged + "cd").IsUnicode());
    EXPECT_EQ(Bytes(fsNull + "cd"), "cd");
    EXPECT_EQ(Bytes(flagged + static_cast<char const *>(nullptr)), "ab");
}

TEST(TString, PlusEqualsText) {
    TString text;
    text += static_cast<char const *>(nullptr);
    EXPECT_TRUE(text.IsNull());
    text += "";
    EXPECT_TRUE(text.IsNilString());
    text += "ab";
    text.SetUnicode(1);
    TString const copy(text);
    text += "cd";
    EXPECT_EQ(Bytes(text), "abcd");
    EXPECT_TRUE(text.IsUnicode());
    EXPECT_EQ(Bytes(copy), "ab");
}

TEST(TString, PlusEqualsTakesAllBytesOfAString) {
    TString const other(Text(std::string("c\0d", 3)));
    TString text;
    text += fsNull;
    EXPECT_TRUE(text.IsNull());
    text += other;
    EXPECT_EQ(Bytes(text), std::string("c\0d", 3));
    EXPECT_NE(Data(text), Data(other));
    text += other;
    EXPECT_EQ(Bytes(text), std::string("c\0dc\0d", 6));
    text += fsNull;
    EXPECT_EQ(text.length(), 6u);
}

TEST(TString, AStringCanBeAppendedToItself) {
    for (unsigned int const size : {1u, 2u, 4096u}) {
        std::string bytes;
        for (unsigned int i = 0; i < size; ++i)
            bytes += static_cast<char>('a' + i % 26);
        TString text(Text(bytes));
        text += text;
        EXPECT_EQ(Bytes(text), bytes + bytes);
        text += text;
        EXPECT_EQ(Bytes(text), Repeated(bytes, 4));

        TString pointed(Text(bytes));
        pointed += static_cast<char const *>(pointed);
        EXPECT_EQ(Bytes(pointed), bytes + bytes);
        pointed += static_cast<char const *>(pointed) + size;
        EXPECT_EQ(Bytes(pointed), Repeated(bytes, 3));
    }
}

TEST(TString, BuildingUpPieceByPieceGivesTheWholeText) {
    std::mt19937 random(1);
    TString text("");
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        std::string const piece(random() % 20, static_cast<char>('a' + i % 26));
        text += piece.c_str();
        expected += piece;
        if (i % 100 == 0) {
            ASSERT_EQ(Bytes(text), expected);
        }
        if (random() % 50 == 0) {
            unsigned int const cut = static_cast<unsigned int>(random() % (expected.size() + 1)) + 1;
            text.remove(cut);
            expected.resize(std::min<std::size_t>(expected.size(), cut - 1));
        }
    }
    EXPECT_EQ(Bytes(text), expected);
}

TEST(TString, AppendingAStringToNullKeepsItsFlags) {
    TString text;
    text += TString(u"ab");
    EXPECT_TRUE(text.IsUnicode());
    EXPECT_EQ(text.length(), 4u);
}

// Bytewise operators

TEST(TString, BytewiseOperatorsCombineEachByte) {
    TString text(Text("\x0F\xF0\x55"));
    TString const other(Text("\xFF\x3C\x0F"));
    TString const copy(text);
    text ^= other;
    EXPECT_EQ(Bytes(text), "\xF0\xCC\x5A");
    EXPECT_EQ(Bytes(copy), "\x0F\xF0\x55");
    text = copy;
    text |= other;
    EXPECT_EQ(Bytes(text), "\xFF\xFC\x5F");
    EXPECT_EQ(Bytes(copy), "\x0F\xF0\x55");
    text = copy;
    text &= other;
    EXPECT_EQ(Bytes(copy), "\x0F\xF0\x55");
    EXPECT_EQ(Bytes(text), "\x0F\x30\x05");
    EXPECT_EQ(Bytes(other), "\xFF\x3C\x0F");
}

TEST(TString, BytewiseOperatorsWorkOnTheCommonPrefix) {
    TString text("abc");
    text ^= TString("a");
    EXPECT_EQ(Bytes(text), std::string("\0bc", 3));
    text |= TString("abcdef");
    EXPECT_EQ(Bytes(text), "abc");
    text &= fsNull;
    EXPECT_EQ(Bytes(text), "abc");
    TString none;
    none |= text;
    EXPECT_TRUE(none.IsNull());
    text ^= text;
    EXPECT_EQ(Bytes(text), std::string(3, '\0'));
}

// Substrings and editing

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

// Companions

TEST(TStringIcmp, EqualityIgnoresCase) {
    TStringIcmp const verb("retr");
    EXPECT_TRUE(verb.isEqual("RETR"));
    EXPECT_TRUE(verb.IsEqual(TStringIcmp("ReTr")));
    EXPECT_TRUE(verb.isEqual(TString("RETR")));
    EXPECT_FALSE(verb.isEqual("RETRY"));
    EXPECT_FALSE(verb.isEqual("RET"));
    EXPECT_TRUE(verb == "RETR");
    EXPECT_TRUE("RETR" == verb);
    EXPECT_TRUE(TString("RETR") == verb);
    EXPECT_TRUE(verb == TString("RETR"));
    EXPECT_TRUE(verb != "LIST");
}

TEST(TStringIcmp, ComparesPointersBeforeText) {
    TStringIcmp const null;
    TStringIcmp const nil("");
    EXPECT_TRUE(null.IsEqual(TStringIcmp()));
    EXPECT_FALSE(null.IsEqual(nil));
    EXPECT_FALSE(nil.IsEqual(null));
    TString const shared("abc");
    EXPECT_TRUE(TStringIcmp(shared).IsEqual(TStringIcmp(shared)));
    EXPECT_EQ(Data(TStringIcmp(shared)), Data(shared));
}

TEST(TStringIcmp, CopiesShareTheBuffer) {
    TStringIcmp const original("abc");
    TStringIcmp copy(original);
    EXPECT_EQ(Data(copy), Data(original));
    copy = TStringIcmp("other");
    copy = original;
    EXPECT_EQ(Data(copy), Data(original));
    EXPECT_FALSE(copy.isEqual(static_cast<char const *>(nullptr)));
    EXPECT_TRUE(TStringIcmp().isEqual(static_cast<char const *>(nullptr)));
}

TEST(TStringIcmp, ComparisonStopsAtTheFirstZeroByte) {
    EXPECT_TRUE(TStringIcmp(Text(std::string("a\0b", 3))).isEqual("A"));
}

TEST(TStringAndWipe, ConstructorsSetTheFlagOnTheBuffer) {
    EXPECT_TRUE(TStringAndWipe("secret").IsWipeOnDelete());
    TString const plain("secret");
    TStringAndWipe const wiped(plain);
    EXPECT_TRUE(plain.IsWipeOnDelete());
    EXPECT_EQ(Data(wiped), Data(plain));
    TStringAndWipe const copy(wiped);
    EXPECT_TRUE(copy.IsWipeOnDelete());
}

TEST(TStringAndWipe, DefaultConstructedCannotHoldTheFlag) {
    TStringAndWipe secret;
    EXPECT_TRUE(secret.IsNull());
    EXPECT_FALSE(secret.IsWipeOnDelete());
    secret = TString("plain");
    EXPECT_FALSE(secret.IsWipeOnDelete());
    secret = TStringAndWipe("flagged");
    EXPECT_TRUE(secret.IsWipeOnDelete());
    secret = "also flagged";
    EXPECT_TRUE(secret.IsWipeOnDelete());
    EXPECT_EQ(Bytes(secret), "also flagged");
    secret = nullptr;
    EXPECT_TRUE(secret.IsNull());
}

TEST(TStringAndWipe, WipeZeroesTheSharedBufferAndKeepsTheLength) {
    TStringAndWipe secret("secret");
    TString const copy(secret);
    secret.Wipe();
    EXPECT_EQ(Bytes(secret), std::string(6, '\0'));
    EXPECT_EQ(Bytes(copy), std::string(6, '\0'));
    TStringAndWipe none;
    none.Wipe();
    EXPECT_TRUE(none.IsNull());
}

TEST(TStringAndWipe, TheFlagIsLostWhereTextIsBuiltAnew) {
    TStringAndWipe secret("secret");
    EXPECT_FALSE((secret + "x").IsWipeOnDelete());
    EXPECT_TRUE((secret + TString("x")).IsWipeOnDelete());
    EXPECT_TRUE(secret.subString(2).IsWipeOnDelete());
    secret.change("s", "S");
    EXPECT_FALSE(secret.IsWipeOnDelete());
}

TEST(TString, ACopyHasABufferOfItsOwnWithTheFlags) {
    TString text("a\0b", 3, ' ');
    text.SetUnicode(1);
    text.SetWipeOnDelete(1);
    TString const copy = text.Copy();
    EXPECT_NE(Data(copy), Data(text));
    EXPECT_EQ(Bytes(copy), std::string("a\0b", 3));
    EXPECT_TRUE(copy.IsUnicode());
    EXPECT_TRUE(copy.IsWipeOnDelete());
    text[1u] = 'c';
    EXPECT_EQ(Bytes(copy), std::string("a\0b", 3));
    EXPECT_TRUE(TString().Copy().IsNull());
    EXPECT_TRUE(TString("").Copy().IsNilString());
}

TEST(TString, MovedToItselfKeepsItsText) {
    TString text("text");
    TString &same = text;
    text = std::move(same);
    EXPECT_STREQ(text.c_str(), "text");
}

TEST(TString, NullIsAnEmptySet) {
    TString const text("text");
    EXPECT_EQ(text.indexOfAnyOf(nullptr), 0u);
    EXPECT_EQ(text.indexOfAnyBut(nullptr), 1u);
}
