#include "tagvar_support.h"

#include <climits>
#include <cstdint>
#include <utility>
#include <vector>

using namespace std::string_literals;

namespace {

std::string Written(TagVar const &value, int networkOrder = 1) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes, networkOrder);
    EXPECT_EQ(&value.WriteToBinaryStream(out), &out);
    EXPECT_TRUE(bytes.good());
    return bytes.str();
}

TagVar Read(std::string const &bytes, int networkOrder = 1) {
    std::istringstream source(bytes);
    TiBinaryStream in(source, networkOrder);
    TagVar value("owned before");
    EXPECT_EQ(&value.ReadFromBinaryStream(in), &in);
    EXPECT_TRUE(in.good());
    return value;
}

std::string Text(TString const *text) {
    return !text ? "<missing>" : text->IsNull() ? "<NULL>" : std::string(*text, text->length());
}

} // namespace

TEST(TagVar, Example) {
    TagVar total(5);
    total += TagVar(2.5);
    TagVar name("inbox");
    TagVar const none(TagVar::endOfArgs);
    TagVar const *arguments[] = {&total, &name, &none};
    std::ostringstream out;
    for (TagVar const *const *argument = arguments; !(*argument)->IsEndOfArgs(); ++argument)
        (*argument)->StreamOut(out) << '\n';
    EXPECT_EQ(out.str(), "7.5\ninbox\n");
}

TEST(TagVar, KindsHaveFixedNumbers) {
    EXPECT_EQ(TagVar::nil, 0);
    EXPECT_EQ(TagVar::endOfArgs, 1);
    EXPECT_EQ(TagVar::integer, 2);
    EXPECT_EQ(TagVar::unsignedInteger, 3);
    EXPECT_EQ(TagVar::real, 4);
    EXPECT_EQ(TagVar::string, 5);
    EXPECT_EQ(TagVar::wideString, 6);
    EXPECT_EQ(TagVar::date, 7);
    EXPECT_EQ(TagVar::time, 8);
    EXPECT_EQ(TagVar::dateTime, 9);
    EXPECT_EQ(TagVar::voidPtr, 10);
    EXPECT_EQ(sizeof(TagVar), 16u);
    EXPECT_EQ(sizeof(TagVarVoidPtr), sizeof(void *));
}

TEST(TagVar, KindsHaveNames) {
    char const *const names[] = {"nil",        "endOfArgs", "integer", "unsignedInteger", "real",   "string",
                                 "widestring", "date",      "time",    "datetime",        "voidptr"};
    for (unsigned int type = 0; type < 11; ++type)
        EXPECT_EQ(TypeText(Unknown(type)), names[type]);
    EXPECT_EQ(TypeText(Unknown(11)), "unknown(b)");
    EXPECT_EQ(TypeText(Unknown(12)), "unknown(c)");
    EXPECT_EQ(TypeText(Unknown(0xDEADBEEF)), "unknown(deadbeef)");
}

TEST(TagVar, EverySourceGivesItsKind) {
    EXPECT_EQ(Show(TagVar()), "nil (nil)");
    EXPECT_EQ(Show(TagVar(TagVar::endOfArgs)), "endOfArgs (endOfArgs)");
    EXPECT_EQ(Show(TagVar(-5)), "integer -5");
    EXPECT_EQ(Show(TagVar(short{-5})), "integer -5");
    EXPECT_EQ(Show(TagVar(5u)), "unsignedInteger 5");
    EXPECT_EQ(Show(TagVar(static_cast<unsigned short>(0xFFFF))), "unsignedInteger 65535");
    EXPECT_EQ(Show(TagVar(2.5)), "real 2.5");
    EXPECT_EQ(Show(TagVar(2.5f)), "real 2.5");
    EXPECT_EQ(Show(TagVar(true)), "integer 1");
    EXPECT_EQ(Show(TagVar(0)), "integer 0");
    EXPECT_EQ(Show(TagVar("abc")), "string abc");
    EXPECT_EQ(Show(TagVar(reinterpret_cast<unsigned char const *>("abc"))), "string abc");
    EXPECT_EQ(Show(TagVar(TString("abc"))), "string abc");
    EXPECT_EQ(Show(TagVar(TString(u"hi"))), "widestring h\0i\0"s);
    EXPECT_EQ(Show(TagVar(u"hi")), "widestring h\0i\0"s);
    unsigned short const wide[] = {'h', 'i', 0};
    EXPECT_EQ(Show(TagVar(wide)), "widestring h\0i\0"s);
    EXPECT_EQ(Show(TagVar(TDate())), "date");
    EXPECT_EQ(Show(TagVar(TTime())), "time");
    EXPECT_EQ(TypeText(TagVar(TDateTime(1, 2))), "datetime");
    EXPECT_EQ(TypeText(TagVar(TagVarVoidPtr())), "voidptr");
}

TEST(TagVar, LongsGiveIntegersWhereTheyFit) {
    EXPECT_EQ(Show(TagVar(-5L)), "integer -5");
    EXPECT_EQ(Show(TagVar(5ul)), "unsignedInteger 5");
    EXPECT_EQ(Show(TagVar(-2147483648ll)), "integer -2147483648");
    EXPECT_EQ(Show(TagVar(4294967295ull)), "unsignedInteger 4294967295");
    EXPECT_EQ(Show(TagVar(sizeof(int))), "unsignedInteger 4");
}

TEST(TagVar, GreaterIntegersHaveKindsOfTheirOwn) {
    EXPECT_EQ(Show(TagVar(2147483648ll)), "integer64 2147483648");
    EXPECT_EQ(Show(TagVar(-2147483649ll)), "integer64 -2147483649");
    EXPECT_EQ(Show(TagVar(4294967296ull)), "unsignedInteger64 4294967296");
    EXPECT_EQ(Show(TagVar(INT64_MIN)), "integer64 -9223372036854775808");
    EXPECT_EQ(Show(TagVar(UINT64_MAX)), "unsignedInteger64 18446744073709551615");
    EXPECT_EQ(TypeText(TagVar(LONG_MAX)), sizeof(long) > 4 ? "integer64" : "integer");
    EXPECT_EQ(TypeText(TagVar(ULONG_MAX)), sizeof(long) > 4 ? "unsignedInteger64" : "unsignedInteger");
    EXPECT_EQ(TypeText(TagVar(static_cast<TagVar::Type>(11))), "unknown(b)");

    TagVar const great(1ll << 40);
    EXPECT_TRUE(great.IsInteger64());
    EXPECT_FALSE(great.IsUnsignedInteger64() || great.IsInteger() || great.IsUnsignedInteger());
    TagVar assigned(5);
    assigned = great;
    TagVar const moved(std::move(assigned));
    EXPECT_EQ(Show(moved), "integer64 1099511627776");
    assigned = TagVar(1ull << 63);
    EXPECT_EQ(Show(assigned), "unsignedInteger64 9223372036854775808");
}

TEST(TagVar, IntegersOfEveryKindAreReadAsLongOnes) {
    EXPECT_EQ(TagVar(-5).QueryInteger64(), -5);
    EXPECT_EQ(TagVar(4294967295u).QueryInteger64(), 4294967295);
    EXPECT_EQ(TagVar(INT64_MIN).QueryInteger64(), INT64_MIN);
    EXPECT_EQ(TagVar(1ull << 40).QueryInteger64(), 1099511627776);
    EXPECT_EQ(TagVar(5).QueryUnsignedInteger64(), 5u);
    EXPECT_EQ(TagVar(4294967295u).QueryUnsignedInteger64(), 4294967295u);
    EXPECT_EQ(TagVar(1ll << 40).QueryUnsignedInteger64(), 1099511627776u);
    EXPECT_EQ(TagVar(UINT64_MAX).QueryUnsignedInteger64(), UINT64_MAX);
    EXPECT_EQ(Report([] { static_cast<void>(TagVar(UINT64_MAX).QueryInteger64()); }), fsTypeMismatch);
    EXPECT_EQ(Report([] { static_cast<void>(TagVar(-1).QueryUnsignedInteger64()); }), fsTypeMismatch);
    EXPECT_EQ(Report([] { static_cast<void>(TagVar(INT64_MIN).QueryUnsignedInteger64()); }), fsTypeMismatch);
    EXPECT_EQ(Report([] { static_cast<void>(TagVar("5").QueryInteger64()); }), fsTypeMismatch);
    EXPECT_EQ(Report([] { static_cast<void>(TagVar(5.0).QueryUnsignedInteger64()); }), fsTypeMismatch);
    EXPECT_EQ(Report([] { static_cast<void>(TagVar(TagVar::unshown).QueryInteger64()); }), fsTypeMismatch);
}

TEST(TagVar, DescribedAccessorsRefuseTheKindsOf64Bits) {
    for (TagVar const &value : {TagVar(1ll << 40), TagVar(1ull << 40), TagVar(TagVar::unshown)}) {
        EXPECT_EQ(Report([&] { static_cast<void>(static_cast<long>(value)); }), fsTypeMismatch);
        EXPECT_EQ(Report([&] { static_cast<void>(static_cast<unsigned long>(value)); }), fsTypeMismatch);
        EXPECT_EQ(Report([&] { static_cast<void>(static_cast<double>(value)); }), fsTypeMismatch);
        EXPECT_EQ(Report([&] { static_cast<void>(value.QueryString()); }), fsTypeMismatch);
        EXPECT_EQ(Report([&] { static_cast<void>(value.QueryVoidPtr()); }), fsTypeMismatch);
    }
}

TEST(TagVar, IntegersOf64BitsHaveEightBytesInTheOrderOfTheStream) {
    auto const written = [](TagVar const &value, int order) {
        std::ostringstream bytes;
        ToBinaryStream out(bytes, order);
        value.WriteToBinaryStream(out);
        return bytes.str();
    };
    auto const read = [](std::string const &bytes, int order) {
        std::istringstream stream(bytes);
        TiBinaryStream in(stream, order);
        TagVar value(5);
        value.ReadFromBinaryStream(in);
        return (in.fail() ? "failed: " : "") + Show(value);
    };
    std::string const host = "\100\0\0\0\x08\7\6\5\4\3\2\1"s;
    std::string const network = "\0\0\0\110\xff\2\3\4\5\6\7\x08"s;
    EXPECT_EQ(written(TagVar(0x0102030405060708ll), 0), host);
    EXPECT_EQ(written(TagVar(0xFF02030405060708ull), 1), network);
    EXPECT_EQ(read(host, 0), "integer64 72623859790382856");
    EXPECT_EQ(read(network, 1), "unsignedInteger64 18375252745424078600");
    EXPECT_EQ(read(host.substr(0, 11), 0), "failed: nil (nil)");
    EXPECT_EQ(read(written(TagVar(TagVar::unshown), 1), 1), "unshown ?");
    EXPECT_EQ(written(TagVar(TagVar::unshown), 1), "\0\0\0\120"s);
}

TEST(TagVar, NullTextOwnsANullString) {
    TagVar const narrow(static_cast<char const *>(nullptr));
    EXPECT_TRUE(narrow.IsString());
    EXPECT_EQ(Text(narrow.QueryString()), "<NULL>");
    EXPECT_EQ(Text(TagVar(nullptr).QueryString()), "<NULL>");
    EXPECT_TRUE(TagVar(nullptr).IsString());
    TagVar const wide(static_cast<char16_t const *>(nullptr));
    EXPECT_TRUE(wide.IsWideString());
    EXPECT_EQ(Text(wide.QueryString()), "<NULL>");
}

TEST(TagVar, TextSharesTheCharacters) {
    TString const text("shared");
    TagVar const value(text);
    EXPECT_EQ(static_cast<char const *>(*value.QueryString()), static_cast<char const *>(text));
    TagVar const copy(value);
    EXPECT_EQ(static_cast<char const *>(*copy.QueryString()), static_cast<char const *>(text));
    EXPECT_NE(copy.QueryString(), value.QueryString());
}

TEST(TagVar, KindMadeWithoutValueOwnsNothing) {
    EXPECT_EQ(TagVar(TagVar::string).QueryString(), nullptr);
    EXPECT_EQ(TagVar(TagVar::wideString).QueryString(), nullptr);
    EXPECT_EQ(TagVar(TagVar::dateTime).QueryDateTime(), nullptr);
    EXPECT_EQ(TagVar(TagVar::voidPtr).QueryVoidPtr(), nullptr);
    EXPECT_EQ(Show(TagVar(TagVar::integer)), "integer 0");
    EXPECT_EQ(Show(TagVar(TagVar::real)), "real 0");
}

TEST(TagVar, TestsTellTheKind) {
    for (unsigned int type = 0; type < 13; ++type) {
        TagVar const value = Unknown(type);
        EXPECT_EQ(value.IsNil(), type == 0);
        EXPECT_EQ(value.IsEndOfArgs(), type == 1);
        EXPECT_EQ(value.IsInteger(), type == 2);
        EXPECT_EQ(value.IsUnsignedInteger(), type == 3);
        EXPECT_EQ(value.IsReal(), type == 4);
        EXPECT_EQ(value.IsString(), type == 5);
        EXPECT_EQ(value.IsWideString(), type == 6);
        EXPECT_EQ(value.IsDate(), type == 7);
        EXPECT_EQ(value.IsTime(), type == 8);
        EXPECT_EQ(value.IsDateTime(), type == 9);
        for (unsigned int other = 0; other < 13; ++other)
            EXPECT_EQ(value.IsType(static_cast<TagVar::Type>(other)), type == other);
    }
}

TEST(TagVar, AccessorsGiveTheValueOfTheirKindOnly) {
    int object = 0;
    EXPECT_EQ(static_cast<long>(TagVar(-7)), -7);
    EXPECT_EQ(static_cast<unsigned long>(TagVar(0xFFFFFFFFu)), 0xFFFFFFFFul);
    EXPECT_EQ(static_cast<double>(TagVar(-0.5)), -0.5);
    EXPECT_EQ(TagVar(TagVarVoidPtr(&object)).QueryVoidPtr(), &object);
    EXPECT_EQ(TagVar(TagVarVoidPtr()).QueryVoidPtr(), nullptr);
    TagVar const moment(TDateTime(77, 3600));
    EXPECT_EQ(moment.QueryDateTime()->QueryTime(), 77);
    EXPECT_EQ(moment.QueryDateTime()->QueryTimeZone(), 3600);

    for (unsigned int type = 0; type < 13; ++type) {
        TagVar const value = Unknown(type);
        auto const expected = [&](unsigned int only) { return type == only ? "none" : fsTypeMismatch; };
        EXPECT_EQ(Report([&] { static_cast<void>(static_cast<long>(value)); }), expected(2));
        EXPECT_EQ(Report([&] { static_cast<void>(static_cast<unsigned long>(value)); }), expected(3));
        EXPECT_EQ(Report([&] { static_cast<void>(static_cast<double>(value)); }), expected(4));
        EXPECT_EQ(Report([&] { value.QueryVoidPtr(); }), expected(10));
        EXPECT_EQ(Report([&] { value.QueryDateTime(); }), expected(9));
    }
}

TEST(TagVar, QueryStringTestsBitsOfTheKind) {
    for (unsigned int type = 0; type < 20; ++type) {
        auto const expected = type % 8 == 0 ? fsTypeMismatch : "none"; // nil, time and 16
        EXPECT_EQ(Report([&] { Unknown(type).QueryString(); }), expected) << type;
        EXPECT_EQ(Report([&] { static_cast<void>(static_cast<TString const *>(Unknown(type))); }), expected) << type;
    }
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(TagVar(0x1234).QueryString()), 0x1234u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(TagVar(-1).QueryString()), 0xFFFFFFFFu);
    int object = 0;
    EXPECT_EQ(static_cast<void const *>(TagVar(TagVarVoidPtr(&object)).QueryString()), &object);
    TagVar const text("abc");
    EXPECT_EQ(Text(static_cast<TString const *>(text)), "abc");
    EXPECT_EQ(Text(TagVar(u"x").QueryString()), "x\0"s);
}

// Copies

TEST(TagVar, CopiesOwnWhatTheyHold) {
    std::vector<TagVar> values;
    values.emplace_back();
    values.emplace_back(TagVar::endOfArgs);
    values.emplace_back(-5);
    values.emplace_back(5u);
    values.emplace_back(2.5);
    values.emplace_back("abc");
    values.emplace_back(u"abc");
    values.emplace_back(TDate());
    values.emplace_back(TTime());
    values.emplace_back(TagVarVoidPtr(&values));
    for (TagVar const &value : values) {
        auto copy = std::make_unique<TagVar>(value);
        EXPECT_EQ(Show(*copy), Show(value));
        TagVar assigned("before");
        assigned = *copy;
        copy.reset();
        EXPECT_EQ(Show(assigned), Show(value));
        TagVar const moved(std::move(assigned));
        EXPECT_EQ(Show(moved), Show(value));
        EXPECT_TRUE(assigned.IsNil());
    }
}

TEST(TagVar, CopiesOfDateTimesHaveBothWords) {
    TagVar const value(TDateTime(77, 3600));
    TagVar const copy(value);
    EXPECT_NE(copy.QueryDateTime(), value.QueryDateTime());
    EXPECT_EQ(copy.QueryDateTime()->QueryTime(), 77);
    EXPECT_EQ(copy.QueryDateTime()->QueryTimeZone(), 3600);
}

TEST(TagVar, CopiesOfWhatIsMissingAreMissing) {
    for (auto const type : {TagVar::string, TagVar::wideString, TagVar::date, TagVar::time, TagVar::dateTime}) {
        TagVar const value(type);
        TagVar const copy(value);
        EXPECT_TRUE(copy.IsType(type));
        EXPECT_EQ(Written(copy), Written(value));
    }
    EXPECT_EQ(TagVar(TagVar(TagVar::string)).QueryString(), nullptr);
}

TEST(TagVar, CopyOfAnUnknownKindReports) {
    TagVar const unknown = Unknown();
    EXPECT_EQ(Report([&] { TagVar copy(unknown); }), fsUnknownType);
    TagVar left("owned");
    EXPECT_EQ(Report([&] { left = unknown; }), fsUnknownType);
    EXPECT_EQ(TypeText(left), "unknown(c)"); // the kind was copied already
    TagVar other("owned");
    EXPECT_EQ(Report([&] { other = Unknown(13); }), fsUnknownType);
    EXPECT_EQ(TypeText(other), "unknown(d)");
    other = 5; // and the value is usable again
    EXPECT_EQ(Show(other), "integer 5");
}

TEST(TagVar, CopyOfAMadeUpKindThatIsOnlyForArgumentsReports) {
    for (unsigned int const kind : {0x10000005u, 0x10000006u, 0x20000005u, 0x20000006u, 0x40000005u}) {
        TagVar const madeUp = Unknown(kind);
        EXPECT_EQ(Report([&] { TagVar copy(madeUp); }), fsUnknownType);
        TagVar left("owned");
        EXPECT_EQ(Report([&] { left = madeUp; }), fsUnknownType);
        EXPECT_TRUE(left.IsType(static_cast<TagVar::Type>(kind)));
        left = 5; // and the value is usable again
        EXPECT_EQ(Show(left), "integer 5");
    }
}

TEST(TagVar, AssignmentTakesEverySource) {
    TagVar value;
    EXPECT_EQ(&(value = -5), &value);
    EXPECT_EQ(Show(value), "integer -5");
    value = short{-6};
    EXPECT_EQ(Show(value), "integer -6");
    value = 5u;
    EXPECT_EQ(Show(value), "unsignedInteger 5");
    value = static_cast<unsigned short>(6);
    EXPECT_EQ(Show(value), "unsignedInteger 6");
    value = 2.5;
    EXPECT_EQ(Show(value), "real 2.5");
    value = TString("abc");
    EXPECT_EQ(Show(value), "string abc");
    value = TString(u"a");
    EXPECT_EQ(Show(value), "widestring a\0"s);
    value = "def";
    EXPECT_EQ(Show(value), "string def");
    value = reinterpret_cast<unsigned char const *>("ghi");
    EXPECT_EQ(Show(value), "string ghi");
    value = u"b";
    EXPECT_EQ(Show(value), "widestring b\0"s);
    value = TDate();
    EXPECT_EQ(Show(value), "date");
    value = TTime();
    EXPECT_EQ(Show(value), "time");
    value = TDateTime(1, 2);
    EXPECT_EQ(value.QueryDateTime()->QueryTimeZone(), 2);
    value = TagVarVoidPtr(&value);
    EXPECT_EQ(value.QueryVoidPtr(), &value);
    value = 7L;
    EXPECT_EQ(Show(value), "integer 7");
}

TEST(TagVar, AssignmentToItselfDoesNothing) {
    TagVar value("abc");
    TString const *const before = value.QueryString();
    value = *&value;
    EXPECT_EQ(value.QueryString(), before);
    EXPECT_EQ(Show(value), "string abc");
}

TEST(TagVar, AssignmentOfItsOwnTextKeepsIt) {
    TagVar value("abc");
    value = *value.QueryString();
    EXPECT_EQ(Show(value), "string abc");
    value = static_cast<char const *>(*value.QueryString());
    EXPECT_EQ(Show(value), "string abc");
    value = TagVar(TDateTime(5, 6));
    value = *value.QueryDateTime();
    EXPECT_EQ(value.QueryDateTime()->QueryTime(), 5);
}

// Output

TEST(TagVar, StreamOutWritesTheValue) {
    EXPECT_EQ(ValueText(TagVar()), "(nil)");
    EXPECT_EQ(ValueText(TagVar(TagVar::endOfArgs)), "(endOfArgs)");
    EXPECT_EQ(ValueText(TagVar(INT32_MIN)), "-2147483648");
    EXPECT_EQ(ValueText(TagVar(0xFFFFFFFFu)), "4294967295");
    EXPECT_EQ(ValueText(TagVar(0.125)), "0.125");
    EXPECT_EQ(ValueText(TagVar(TString("a\0b", 3, ' '))), "a\0b"s);
    EXPECT_EQ(ValueText(TagVar(nullptr)), "<NULL>");
    EXPECT_EQ(ValueText(TagVar(TagVar::string)), "(null)");
    EXPECT_EQ(ValueText(TagVar(TagVar::wideString)), "(null)");
    EXPECT_EQ(ValueText(TagVar(TagVar::dateTime)), "(null)");
    TDateTime const moment(1000000000, 3600);
    TString const text = moment.QueryString(nullptr);
    EXPECT_EQ(ValueText(TagVar(moment)), Text(&text));
    int object = 0;
    std::ostringstream pointer;
    pointer << static_cast<void *>(&object);
    EXPECT_EQ(ValueText(TagVar(TagVarVoidPtr(&object))), pointer.str());
}

TEST(TagVar, StreamOutOfDatesAndTimesIsNotImplemented) {
    std::ostringstream out;
    EXPECT_EQ(Report([&] { TagVar(TDate()).StreamOut(out); }), fsNotImplemented);
    EXPECT_EQ(Report([&] { TagVar(TTime()).StreamOut(out); }), fsNotImplemented);
    EXPECT_EQ(Report([&] { Unknown().StreamOut(out); }), fsUnknownType);
    EXPECT_EQ(out.str(), "");
}

TEST(TagVar, StreamInIsNotImplemented) {
    std::istringstream in("5");
    for (unsigned int type = 0; type < 13; ++type) {
        TagVar value = Unknown(type);
        EXPECT_EQ(Report([&] { value.StreamIn(in); }), fsNotImplemented);
        EXPECT_TRUE(value.IsType(static_cast<TagVar::Type>(type)));
    }
    EXPECT_EQ(in.tellg(), 0);
}

// Binary form

TEST(TagVar, BinaryFormIsTheKindAndTheValue) {
    EXPECT_EQ(Written(TagVar()), "\0\0\0\0"s);
    EXPECT_EQ(Written(TagVar(TagVar::endOfArgs)), "\0\0\0\1"s);
    EXPECT_EQ(Written(TagVar(-2)), "\0\0\0\2\xFF\xFF\xFF\xFE"s);
    EXPECT_EQ(Written(TagVar(-2), 0), "\2\0\0\0\xFE\xFF\xFF\xFF"s);
    EXPECT_EQ(Written(TagVar(0x80000001u)), "\0\0\0\3\x80\0\0\1"s);
    EXPECT_EQ(Written(TagVar(1.0)), "\0\0\0\4\x3F\xF0\0\0\0\0\0\0"s);
    EXPECT_EQ(Written(TagVar("ab")), "\0\0\0\5\0\0\0\1\0\0\0\2\0\0\0\0ab"s);
    EXPECT_EQ(Written(TagVar("ab"), 0), "\5\0\0\0\1\0\0\0\2\0\0\0\0\0\0\0ab"s);
    EXPECT_EQ(Written(TagVar(TagVar::string)), "\0\0\0\5\0\0\0\0"s);
    EXPECT_EQ(Written(TagVar(u"a")), "\0\0\0\6\0\0\0\1\0\0\0\2\0\0\0\0a\0"s);
    EXPECT_EQ(Written(TagVar(TDate())), "\0\0\0\7"s);
    EXPECT_EQ(Written(TagVar(TTime())), "\0\0\0\10"s);
    EXPECT_EQ(Written(TagVar(TDateTime(0x01020304, 3600))), "\0\0\0\11\0\0\0\1\1\2\3\4"s);
    EXPECT_EQ(Written(TagVar(TagVar::dateTime)), "\0\0\0\11\0\0\0\0"s);
    // The address lies there as in memory, whatever the order.
    auto *const address = reinterpret_cast<void *>(std::uintptr_t{0x01020304});
    EXPECT_EQ(Written(TagVar(TagVarVoidPtr(address))), "\0\0\0\12\4\3\2\1"s);
    EXPECT_EQ(Written(TagVar(TagVarVoidPtr(address)), 0), "\12\0\0\0\4\3\2\1"s);
}

TEST(TagVar, BinaryFormIsReadBack) {
    EXPECT_EQ(Show(Read("\0\0\0\0"s)), "nil (nil)");
    EXPECT_EQ(Show(Read("\0\0\0\1"s)), "endOfArgs (endOfArgs)");
    EXPECT_EQ(Show(Read("\0\0\0\2\xFF\xFF\xFF\xFE"s)), "integer -2");
    EXPECT_EQ(Show(Read("\2\0\0\0\xFE\xFF\xFF\xFF"s, 0)), "integer -2");
    EXPECT_EQ(Show(Read("\0\0\0\3\x80\0\0\1"s)), "unsignedInteger 2147483649");
    EXPECT_EQ(Show(Read("\0\0\0\4\x3F\xF0\0\0\0\0\0\0"s)), "real 1");
    EXPECT_EQ(Show(Read("\0\0\0\5\0\0\0\1\0\0\0\2\0\0\0\0ab"s)), "string ab");
    EXPECT_EQ(Show(Read("\0\0\0\5\xFF\0\0\0\0\0\0\2\0\0\0\0ab"s)), "string ab"); // any presence but 0
    EXPECT_EQ(Show(Read("\0\0\0\5\0\0\0\0"s)), "string (null)");
    EXPECT_EQ(Show(Read("\0\0\0\5\0\0\0\1\0\0\0\0\0\0\0\0"s)), "string <NULL>");
    EXPECT_EQ(Show(Read("\0\0\0\6\0\0\0\1\0\0\0\2\0\0\0\0a\0"s)), "widestring a\0"s);
    EXPECT_TRUE(Read("\0\0\0\6\0\0\0\1\0\0\0\2\0\0\0\0a\0"s).QueryString()->IsUnicode());
    EXPECT_FALSE(Read("\0\0\0\5\0\0\0\1\0\0\0\2\0\0\0\0a\0"s).QueryString()->IsUnicode());
    auto *const address = reinterpret_cast<void *>(std::uintptr_t{0x84030201});
    EXPECT_EQ(Read("\0\0\0\12\1\2\3\x84"s).QueryVoidPtr(), address); // not sign-extended
}

TEST(TagVar, DatesAndTimesAreReadWithoutAnObject) {
    // Only a missing object makes a copy that owns nothing: a date compares as not implemented either way.
    TagVar const date = Read(Written(TagVar(TDate())));
    EXPECT_TRUE(date.IsDate());
    EXPECT_EQ(date.QueryString(), nullptr);
    EXPECT_NE(TagVar(TDate()).QueryString(), nullptr);
    EXPECT_TRUE(Read(Written(TagVar(TTime()))).IsTime());
}

TEST(TagVar, DateTimeIsReadWithoutItsZone) {
    TagVar const moment = Read(Written(TagVar(TDateTime(-77, 3600))));
    EXPECT_EQ(moment.QueryDateTime()->QueryTime(), -77);
    EXPECT_EQ(moment.QueryDateTime()->QueryTimeZone(), 0);
    EXPECT_EQ(Read("\0\0\0\11\0\0\0\0"s).QueryDateTime(), nullptr);
}

TEST(TagVar, UnknownKindsAreReportedWhenWrittenAndWhenRead) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes, 1);
    EXPECT_EQ(Report([&] { Unknown().WriteToBinaryStream(out); }), fsUnknownType);
    EXPECT_EQ(bytes.str(), "\0\0\0\14"s);
    for (char const *const type : {"\0\0\0\13", "\xFF\xFF\xFF\xFF"}) {
        std::istringstream source(std::string(type, 4) + "rest");
        TiBinaryStream in(source, 1);
        TagVar value("owned");
        EXPECT_EQ(Report([&] { value.ReadFromBinaryStream(in); }), fsUnknownType);
        EXPECT_TRUE(value.IsNil());
        EXPECT_EQ(in.tellg(), 4);
    }
}

TEST(TagVar, CutBinaryFormGivesNil) {
    for (TagVar const &whole : {TagVar(), TagVar(5), TagVar(5u), TagVar(1.0), TagVar("abc"), TagVar(u"abc"),
                                TagVar(TDate()), TagVar(TTime()), TagVar(TDateTime(1, 2)), TagVar(TagVarVoidPtr())}) {
        std::string const bytes = Written(whole);
        for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
            std::istringstream source(bytes.substr(0, cut));
            TiBinaryStream in(source, 1);
            TagVar value("owned");
            value.ReadFromBinaryStream(in);
            EXPECT_TRUE(in.fail());
            EXPECT_TRUE(value.IsNil()) << Show(value);
        }
    }
}

TEST(TagVar, EndOfFileExactlyBeforeTheObjectGivesNil) {
    for (char const kind : "\5\6\x9"s) {
        std::string const announced = "\0\0\0"s + kind + "\0\0\0\1"s;
        std::istringstream source(announced);
        TiBinaryStream in(source, 1);
        TagVar value("owned");
        EXPECT_EQ(&value.ReadFromBinaryStream(in), &in);
        EXPECT_TRUE(value.IsNil()) << int{kind};
        EXPECT_EQ(in.rdstate(), std::ios::eofbit | std::ios::failbit);

        std::istringstream none("\0\0\0"s + kind + "\0\0\0\0"s);
        TiBinaryStream whole(none, 1);
        value.ReadFromBinaryStream(whole);
        EXPECT_TRUE(whole.good());
        EXPECT_TRUE(value.IsType(static_cast<TagVar::Type>(kind)));
        EXPECT_EQ(whole.peek(), EOF);
    }
}

TEST(TagVar, HostileLengthOfATextTakesNoMemory) {
    std::istringstream source("\0\0\0\5\0\0\0\1\xFF\xFF\xFF\xF0\0\0\0\0abc"s);
    TiBinaryStream in(source, 1);
    TagVar value;
    value.ReadFromBinaryStream(in);
    EXPECT_TRUE(in.fail());
    EXPECT_TRUE(value.IsNil());
}

TEST(TagVar, NothingIsWrittenToAFailedStream) {
    std::ostringstream bytes;
    bytes.setstate(std::ios::failbit);
    ToBinaryStream out(bytes, 1);
    for (TagVar const &value : {TagVar(5), TagVar("abc"), TagVar(TDateTime(1, 2)), TagVar(TagVarVoidPtr())})
        value.WriteToBinaryStream(out);
    bytes.clear();
    EXPECT_EQ(bytes.str(), "");
}

namespace {

// Takes a number of bytes, and refuses all others.
class TNarrowSink : public std::streambuf {
public:
    explicit TNarrowSink(std::size_t room) : fRoom(room) {}
    std::string taken;

protected:
    std::streamsize xsputn(char const *bytes, std::streamsize count) override {
        auto const fits = std::min(static_cast<std::size_t>(count), fRoom - taken.size());
        taken.append(bytes, fits);
        return static_cast<std::streamsize>(fits);
    }
    int_type overflow(int_type c) override {
        char const byte = traits_type::to_char_type(c);
        return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
    }

private:
    std::size_t fRoom;
};

} // namespace

TEST(TagVar, IsWrittenAsFarAsTheSinkTakesIt) {
    for (TagVar const &value : {TagVar(5), TagVar(1.5), TagVar("abc"), TagVar(u"abc"), TagVar(TString("kept")),
                                TagVar(TString(u"kept")), TagVar(TDateTime(1, 2)), TagVar(TagVarVoidPtr())}) {
        std::string const whole = Written(value);
        for (std::size_t room = 0; room <= whole.size(); ++room) {
            TNarrowSink buffer(room);
            std::ostream sink(&buffer);
            ToBinaryStream out(sink, 1);
            value.WriteToBinaryStream(out);
            EXPECT_EQ(buffer.taken, whole.substr(0, room)) << Show(value);
            EXPECT_EQ(out.good(), room == whole.size()) << Show(value) << room;
        }
    }
}

TEST(TagVar, AssignedToItselfKeepsItsValue) {
    TagVar value("text of its own");
    TagVar &same = value;
    value = same;
    EXPECT_EQ(Show(value), "string text of its own");
    value = std::move(same);
    EXPECT_EQ(Show(value), "string text of its own");
}

TEST(TagVar, PointerThatFourBytesCannotHoldIsNotWritten) {
    auto *const address = reinterpret_cast<void *>(UINTPTR_MAX);
    std::ostringstream bytes;
    ToBinaryStream out(bytes, 1);
    TagVar(TagVarVoidPtr(address)).WriteToBinaryStream(out);
    EXPECT_EQ(out.rdstate(), sizeof(void *) > 4 ? std::ios::failbit : std::ios::goodbit);
    EXPECT_EQ(bytes.str().size(), sizeof(void *) > 4 ? 0u : 8u);
}
