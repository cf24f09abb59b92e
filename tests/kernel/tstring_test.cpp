// TString: construction, sharing, flags, views, access to bytes, concatenation.

#include "tstring_support.h"

#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string_view>
#include <utility>

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

TEST(TString, AppendingNothingToASharedStringGivesItABufferOfItsOwn) {
    void (*const changes[])(TString &) = {[](TString &text) { text += ""; }, [](TString &text) { text += TString(""); },
                                          [](TString &text) { text += std::string_view(); }};
    for (auto const change : changes) {
        TString text("ab");
        TString const copy(text);
        change(text);
        EXPECT_NE(Data(text), Data(copy));
        EXPECT_EQ(Bytes(text), "ab");
        EXPECT_EQ(Bytes(copy), "ab");
    }
}

TEST(TString, AnAppendedTextOfAnyLengthIsWhole) {
    for (unsigned int length = 1; length < 1000; ++length) { // among them are lengths that leave no room to spare
        std::string const bytes(length, 'x');
        TString text("ab");
        text += bytes;
        ASSERT_EQ(Bytes(text), "ab" + bytes);
        text += "cd";
        ASSERT_EQ(Bytes(text), "ab" + bytes + "cd");
    }
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
