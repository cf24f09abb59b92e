#include "tagvar_support.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

using namespace std::string_literals;

namespace {

// One value of every kind, those that can own something also without.
struct TSample {
    char const *name;
    char column; // I U R S D X ? of the arithmetic tables
    char kind;   // I U R S, D date or time, T date-time, N nil, E end, V pointer, ? unknown: of the comparisons
    TagVar (*make)();
};

TSample const fsSamples[] = {
    {"nil", 'X', 'N', [] { return TagVar(); }},
    {"end", 'X', 'E', [] { return TagVar(TagVar::endOfArgs); }},
    {"integer", 'I', 'I', [] { return TagVar(-7); }},
    {"unsigned", 'U', 'U', [] { return TagVar(3u); }},
    {"real", 'R', 'R', [] { return TagVar(2.9); }},
    {"string", 'S', 'S', [] { return TagVar("abc"); }},
    {"string without text", 'S', 'S', [] { return TagVar(TagVar::string); }},
    {"wide string", 'S', 'S', [] { return TagVar(u"ab"); }},
    {"wide string without text", 'S', 'S', [] { return TagVar(TagVar::wideString); }},
    {"date", 'D', 'D', [] { return TagVar(TDate()); }},
    {"date without object", 'D', 'D', [] { return TagVar(TagVar::date); }},
    {"time", 'D', 'D', [] { return TagVar(TTime()); }},
    {"time without object", 'D', 'D', [] { return TagVar(TagVar::time); }},
    {"date-time", 'D', 'T', [] { return TagVar(TDateTime(100, 5)); }},
    {"date-time without object", 'D', 'T', [] { return TagVar(TagVar::dateTime); }},
    {"pointer", 'X', 'V', [] { return TagVar(TagVarVoidPtr()); }},
    {"unknown", '?', '?', [] { return Unknown(); }},
    {"integer of 64 bits", '?', '?', [] { return TagVar(-(1ll << 40)); }},
    {"unsigned of 64 bits", '?', '?', [] { return TagVar(1ull << 63); }},
    {"unshown", '?', '?', [] { return TagVar(TagVar::unshown); }},
    {"far unknown", '?', '?', [] { return Unknown(0xFFFFFFFFu); }},
};

// The whole content, also of a kind that cannot be written.
std::string Content(TagVar const &value) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    bytes << TypeText(value);
    try {
        value.WriteToBinaryStream(out);
    } catch (TInvalidRequest const &) {
        bytes << " cannot be written";
    }
    if (value.IsDate())
        bytes << (value.QueryString() != nullptr);
    return bytes.str();
}

using TCompound = TagVar &(TagVar::*)(TagVar const &);

// Outcomes by left (row) and right (column) in the order I U R S D X: the kind of the result, or
// - type mismatch, ! not implemented.
struct TCompoundTable {
    char const *name;
    TCompound operation;
    char const *rows[6];
};

TCompoundTable const fsCompound[] = {
    {"+=", &TagVar::operator+=, {"IIR-!-", "IUR---", "RRR---", "---S--", "!!!!!!", "------"}},
    {"-=", &TagVar::operator-=, {"IIR---", "IUR---", "RRR---", "------", "!!!!!!", "------"}},
    {"*=", &TagVar::operator*=, {"IIR---", "IUR---", "RRR---", "------", "------", "------"}},
    {"/=", &TagVar::operator/=, {"IIR---", "IUR---", "RRR---", "------", "------", "------"}},
    {"%=", &TagVar::operator%=, {"II----", "IU----", "------", "------", "------", "------"}},
    {"|=", &TagVar::operator|=, {"II----", "UU----", "------", "---S--", "------", "------"}},
    {"&=", &TagVar::operator&=, {"II----", "UU----", "------", "---S--", "------", "------"}},
    {"^=", &TagVar::operator^=, {"II----", "UU----", "------", "---S--", "------", "------"}},
    {"<<=", &TagVar::operator<<=, {"III---", "UUU---", "III---", "------", "------", "------"}},
    {">>=", &TagVar::operator>>=, {"III---", "UUU---", "III---", "------", "------", "------"}},
};

// The same for tests of two values, in the order I U R S D T N E V; 1 where there is a result.
using TTest = int (TagVar::*)(TagVar const &) const;
struct TTestTable {
    char const *name;
    TTest operation;
    char const *rows[9];
};

TTestTable const fsTests[] = {
    {"IsEqual",
     &TagVar::IsEqual,
     {"111------", "111------", "111------", "---1-----", "!!!!!!!!!", "-----1---", "------1--", "-------1-",
      "---------"}},
    {"IsLessThan",
     &TagVar::IsLessThan,
     {"111------", "111------", "111------", "---1-----", "!!!!!!!!!", "-----1---", "------1--", "-------1-",
      "---------"}},
    {"LogicalAnd",
     &TagVar::LogicalAnd,
     {"111------", "111------", "111------", "---------", "---------", "---------", "---------", "---------",
      "---------"}},
    {"LogicalOr",
     &TagVar::LogicalOr,
     {"111------", "111------", "111------", "---------", "---------", "---------", "---------", "---------",
      "---------"}},
};

std::size_t Place(char const *order, char what) {
    return std::string(order).find(what);
}

std::string ReportFor(char outcome) {
    return outcome == '-'   ? fsTypeMismatch
           : outcome == '!' ? fsNotImplemented
           : outcome == '?' ? fsUnknownType
                            : "none";
}

bool HasKind(TagVar const &value, char kind) {
    switch (kind) {
    case 'I': return value.IsInteger();
    case 'U': return value.IsUnsignedInteger();
    case 'R': return value.IsReal();
    default: return value.IsString() || value.IsWideString();
    }
}

TagVar Apply(TagVar left, TCompound operation, TagVar const &right) {
    EXPECT_EQ(&(left.*operation)(right), &left);
    return left;
}

#define EXPECT_RESULT(left, operation, right, result)                                                                  \
    EXPECT_EQ(Show(Apply(TagVar(left), &TagVar::operator operation, TagVar(right))), result)

} // namespace

TEST(TagVarOperators, CompoundOperatorsDecideByBothKinds) {
    for (TCompoundTable const &table : fsCompound) {
        for (TSample const &leftSample : fsSamples) {
            for (TSample const &rightSample : fsSamples) {
                SCOPED_TRACE(std::string(leftSample.name) + ' ' + table.name + ' ' + rightSample.name);
                std::size_t const row = Place("IURSDX", leftSample.column);
                std::size_t const column = Place("IURSDX", rightSample.column);
                char const outcome =
                    row == std::string::npos || column == std::string::npos ? '?' : table.rows[row][column];
                TagVar left = leftSample.make();
                TagVar const right = rightSample.make();
                std::string const leftBefore = Content(left);
                std::string const rightBefore = Content(right);
                EXPECT_EQ(Report([&] { (left.*table.operation)(right); }), ReportFor(outcome));
                EXPECT_EQ(Content(right), rightBefore);
                if (ReportFor(outcome) != "none")
                    EXPECT_EQ(Content(left), leftBefore);
                else
                    EXPECT_TRUE(HasKind(left, outcome)) << Show(left);
            }
        }
    }
}

TEST(TagVarOperators, TestsOfTwoValuesDecideByBothKinds) {
    for (TTestTable const &table : fsTests) {
        for (TSample const &leftSample : fsSamples) {
            for (TSample const &rightSample : fsSamples) {
                SCOPED_TRACE(std::string(leftSample.name) + ' ' + table.name + ' ' + rightSample.name);
                std::size_t const row = Place("IURSDTNEV", leftSample.kind);
                std::size_t const column = Place("IURSDTNEV", rightSample.kind);
                char const outcome =
                    row == std::string::npos || column == std::string::npos ? '?' : table.rows[row][column];
                TagVar const left = leftSample.make();
                TagVar const right = rightSample.make();
                std::string const leftBefore = Content(left);
                int result = -1;
                EXPECT_EQ(Report([&] { result = (left.*table.operation)(right); }), ReportFor(outcome));
                EXPECT_TRUE(outcome == '1' ? result == 0 || result == 1 : result == -1);
                EXPECT_EQ(Content(left), leftBefore);
            }
        }
    }
}

TEST(TagVarOperators, UnaryOperatorsDecideByTheKind) {
    struct {
        char const *name;
        char const *outcomes; // in the order I U R S D T N E V
        void (*apply)(TagVar &);
        bool changes;
    } const rows[] = {
        {"!", "1111-----", [](TagVar &value) { static_cast<void>(!value); }, false},
        {"~", "11-------", [](TagVar &value) { static_cast<void>(~value); }, false},
        {"-", "1-1------", [](TagVar &value) { static_cast<void>(-value); }, false},
        {"+", "111------", [](TagVar &value) { static_cast<void>(+value); }, false},
        {"++", "111-!1---", [](TagVar &value) { ++value; }, true},
        {"--", "111-!1---", [](TagVar &value) { --value; }, true},
        {"postfix ++", "111-!1---", [](TagVar &value) { value++; }, true},
        {"postfix --", "111-!1---", [](TagVar &value) { value--; }, true},
    };
    for (auto const &row : rows) {
        for (TSample const &sample : fsSamples) {
            SCOPED_TRACE(std::string(row.name) + ' ' + sample.name);
            char const outcome = sample.kind == '?' ? '?' : row.outcomes[Place("IURSDTNEV", sample.kind)];
            TagVar value = sample.make();
            std::string const before = Content(value);
            EXPECT_EQ(Report([&] { row.apply(value); }), ReportFor(outcome));
            bool const ownsNothing = sample.kind == 'T' && !value.QueryDateTime();
            if (outcome == '1' && row.changes && !ownsNothing)
                EXPECT_NE(Content(value), before);
            else
                EXPECT_EQ(Content(value), before);
        }
    }
}

TEST(TagVarOperators, Addition) {
    EXPECT_RESULT(5, +=, 2.5, "real 7.5");
    EXPECT_RESULT(5u, +=, -1, "integer 4");
    EXPECT_RESULT(5, +=, 7, "integer 12");
    EXPECT_RESULT(5, +=, 7u, "integer 12");
    EXPECT_RESULT(5u, +=, 7u, "unsignedInteger 12");
    EXPECT_RESULT(4294967295u, +=, 0.5, "real 4.29497e+09");
    EXPECT_EQ(static_cast<double>(Apply(4294967295u, &TagVar::operator+=, 0.5)), 4294967295.5);
    EXPECT_RESULT(-1, +=, 0.5, "real -0.5");
    EXPECT_RESULT(0.5, +=, -1, "real -0.5");
    EXPECT_EQ(static_cast<double>(Apply(0.5, &TagVar::operator+=, 4294967295u)), 4294967295.5);
    EXPECT_RESULT(0.5, +=, 0.25, "real 0.75");
    EXPECT_RESULT(INT32_MAX, +=, 1, "integer -2147483648");
    EXPECT_RESULT(-1, +=, 0xFFFFFFFFu, "integer -2");
    EXPECT_RESULT(0xFFFFFFFFu, +=, 1u, "unsignedInteger 0");
    EXPECT_EQ(Report([] {
                  TagVar value(1u);
                  value += TagVar(TDate());
              }),
              fsTypeMismatch);
    EXPECT_EQ(Report([] {
                  TagVar value(1);
                  value += TagVar(TDate());
              }),
              fsNotImplemented);
}

TEST(TagVarOperators, AdditionOfTexts) {
    EXPECT_RESULT("ab", +=, "cd", "string abcd");
    EXPECT_RESULT("ab", +=, TagVar(TagVar::string), "string ab");
    EXPECT_RESULT(TagVar(TagVar::string), +=, "cd", "string cd");
    EXPECT_RESULT(TagVar(TagVar::string), +=, TagVar(TagVar::wideString), "string (null)");
    EXPECT_RESULT(TagVar(TagVar::wideString), +=, "cd", "widestring cd"); // the kind stays
    EXPECT_RESULT("ab", +=, u"c", "string abc\0"s);
    EXPECT_RESULT(u"c", +=, "ab", "widestring c\0ab"s);

    TString const shared("cd");
    TagVar left(TagVar::string);
    left += TagVar(shared);
    EXPECT_EQ(static_cast<char const *>(*left.QueryString()), static_cast<char const *>(shared));
    left += left;
    EXPECT_EQ(Show(left), "string cdcd");
    EXPECT_EQ(shared, "cd");
}

TEST(TagVarOperators, Subtraction) {
    EXPECT_RESULT(5, -=, 7, "integer -2");
    EXPECT_RESULT(5, -=, 7u, "integer -2");
    EXPECT_RESULT(5u, -=, 7, "integer -2");
    EXPECT_RESULT(5u, -=, 7u, "unsignedInteger 4294967294");
    EXPECT_RESULT(5, -=, 0.5, "real 4.5");
    EXPECT_RESULT(5u, -=, 0.5, "real 4.5");
    EXPECT_RESULT(0.5, -=, -1, "real 1.5");
    EXPECT_RESULT(0.5, -=, 1u, "real -0.5");
    EXPECT_RESULT(INT32_MIN, -=, 1, "integer 2147483647");
}

TEST(TagVarOperators, Multiplication) {
    EXPECT_RESULT(-5, *=, 7, "integer -35");
    EXPECT_RESULT(-5, *=, 7u, "integer -35");
    EXPECT_RESULT(5u, *=, -7, "integer -35");
    EXPECT_RESULT(5u, *=, 7u, "unsignedInteger 35");
    EXPECT_RESULT(5, *=, 0.5, "real 2.5");
    EXPECT_RESULT(5u, *=, 0.5, "real 2.5");
    EXPECT_RESULT(0.5, *=, -7, "real -3.5");
    EXPECT_RESULT(0x10000, *=, 0x8000, "integer -2147483648");
    EXPECT_RESULT(0x10000u, *=, 0x10001u, "unsignedInteger 65536");
}

TEST(TagVarOperators, Division) {
    EXPECT_RESULT(7, /=, 2, "integer 3");
    EXPECT_RESULT(-7, /=, 2, "integer -3");
    EXPECT_RESULT(-7, /=, 2u, "integer 2147483644");
    EXPECT_RESULT(7u, /=, -2, "integer 0");
    EXPECT_RESULT(0xFFFFFFFEu, /=, -1, "integer 0");
    EXPECT_RESULT(0xFFFFFFFFu, /=, -1, "integer 1");
    EXPECT_RESULT(7u, /=, 2u, "unsignedInteger 3");
    EXPECT_RESULT(0xFFFFFFFFu, /=, 2u, "unsignedInteger 2147483647");
    EXPECT_RESULT(7, /=, 2.0, "real 3.5");
    EXPECT_RESULT(7u, /=, 2.0, "real 3.5");
    EXPECT_RESULT(7.0, /=, -2, "real -3.5");
    EXPECT_RESULT(INT32_MIN, /=, -1, "integer -2147483648");
    EXPECT_RESULT(7, /=, -1, "integer -7");
    EXPECT_TRUE(std::isinf(static_cast<double>(Apply(7, &TagVar::operator/=, 0.0))));
    EXPECT_TRUE(std::isinf(static_cast<double>(Apply(7.0, &TagVar::operator/=, 0))));
    EXPECT_TRUE(std::isnan(static_cast<double>(Apply(0.0, &TagVar::operator/=, 0.0))));
}

TEST(TagVarOperators, Remainder) {
    EXPECT_RESULT(7, %=, 4, "integer 3");
    EXPECT_RESULT(-7, %=, 4, "integer -3");
    EXPECT_RESULT(-7, %=, 4u, "integer 1");
    EXPECT_RESULT(7u, %=, -4, "integer 7");
    EXPECT_RESULT(7u, %=, 4u, "unsignedInteger 3");
    EXPECT_RESULT(INT32_MIN, %=, -1, "integer 0");
    EXPECT_RESULT(7, %=, -1, "integer 0");
}

#ifdef __aarch64__
TEST(TagVarOperators, DivisionOfIntegersByZeroGivesZeroOnAProcessorWithoutThisFault) {
    EXPECT_RESULT(7, /=, 0, "integer 0");
    EXPECT_RESULT(7, %=, 0, "integer 7");
    EXPECT_RESULT(7u, /=, 0u, "unsignedInteger 0");
    EXPECT_RESULT(7u, %=, 0u, "unsignedInteger 7");
}
#else
TEST(TagVarOperators, DivisionOfIntegersByZeroIsTheProcessorsFault) {
    for (TagVar const &left : {TagVar(7), TagVar(7u)}) {
        for (TagVar const &zero : {TagVar(0), TagVar(0u)}) {
            EXPECT_DEATH(Apply(left, &TagVar::operator/=, zero), "");
            EXPECT_DEATH(Apply(left, &TagVar::operator%=, zero), "");
        }
    }
}
#endif

TEST(TagVarOperators, BitsOfIntegers) {
    EXPECT_RESULT(0x0F, |=, 0xF0, "integer 255");
    EXPECT_RESULT(0, |=, 0xFFFFFFFFu, "integer -1");
    EXPECT_RESULT(0u, |=, -1, "unsignedInteger 4294967295");
    EXPECT_RESULT(0x3Fu, &=, 0xF0u, "unsignedInteger 48");
    EXPECT_RESULT(-1, &=, 0x7Fu, "integer 127");
    EXPECT_RESULT(5, ^=, -1, "integer -6");
    EXPECT_RESULT(5u, ^=, 1, "unsignedInteger 4");
}

TEST(TagVarOperators, BitsOfTexts) {
    EXPECT_RESULT("AB", |=, "  ", "string ab");
    EXPECT_RESULT("ab", &=, "__", "string AB");
    EXPECT_RESULT("aB", ^=, "  ", "string Ab");
    EXPECT_RESULT("AB", |=, " ", "string aB"); // what both have
    EXPECT_RESULT("A", |=, "  ", "string a");
    EXPECT_RESULT("AB", |=, TagVar(TagVar::string), "string AB");
    EXPECT_RESULT(TagVar(TagVar::string), |=, "ab", "string ab");
    EXPECT_RESULT(TagVar(TagVar::string), &=, "ab", "string ab");
    EXPECT_RESULT(TagVar(TagVar::wideString), ^=, "ab", "widestring ab");
    EXPECT_RESULT(TagVar(TagVar::string), ^=, TagVar(TagVar::string), "string (null)");
    TString const shared("AB");
    TagVar value(shared);
    value |= TagVar("  ");
    EXPECT_EQ(shared, "AB");
}

TEST(TagVarOperators, Shifts) {
    EXPECT_RESULT(2.9, <<=, 1, "integer 4");
    EXPECT_RESULT(-2.9, >>=, 1, "integer -1");
    EXPECT_RESULT(1, <<=, 4, "integer 16");
    EXPECT_RESULT(1, <<=, 2.9, "integer 4");
    EXPECT_RESULT(1u, <<=, 31u, "unsignedInteger 2147483648");
    EXPECT_RESULT(1, <<=, 31, "integer -2147483648");
    EXPECT_RESULT(1, <<=, 33, "integer 2");
    EXPECT_RESULT(1, <<=, -1, "integer -2147483648");
    EXPECT_RESULT(5, <<=, 32, "integer 5");
    EXPECT_RESULT(-8, >>=, 1, "integer -4");
    EXPECT_RESULT(-8, >>=, 1u, "integer -4");
    EXPECT_RESULT(0x80000000u, >>=, 31, "unsignedInteger 1");
    EXPECT_RESULT(0x80000000u, >>=, 31.9, "unsignedInteger 1");
}

TEST(TagVarOperators, RealsAreTruncatedModulo32Bits) {
    EXPECT_RESULT(10000000000.0, <<=, 0, "integer 1410065408");
    EXPECT_RESULT(-4294967297.0, <<=, 0, "integer -1");
    EXPECT_RESULT(4294967295.0, <<=, 0, "integer -1");
    EXPECT_RESULT(9223372036854775808.0, <<=, 0, "integer -2147483648");
    EXPECT_RESULT(-9223372036854775808.0, <<=, 0, "integer 0");
    EXPECT_RESULT(-DBL_MAX, <<=, 0, "integer -2147483648");
    EXPECT_RESULT(INFINITY, <<=, 0, "integer -2147483648");
    EXPECT_RESULT(NAN, <<=, 0, "integer -2147483648");
}

TEST(TagVarOperators, OperandsMayBeOneValue) {
    TagVar value(6);
    value += value;
    value *= value;
    value /= value;
    EXPECT_EQ(Show(value), "integer 1");
    TagVar text("ab");
    text ^= text;
    EXPECT_EQ(Show(text), "string \0\0"s);
}

TEST(TagVarOperators, EqualityOfNumbers) {
    EXPECT_EQ(TagVar(5).IsEqual(5), 1);
    EXPECT_EQ(TagVar(5).IsEqual(6), 0);
    EXPECT_EQ(TagVar(-1).IsEqual(0xFFFFFFFFu), 1); // as unsigned words
    EXPECT_EQ(TagVar(0xFFFFFFFFu).IsEqual(-1), 1);
    EXPECT_EQ(TagVar(-1).IsEqual(-1.0), 1);
    EXPECT_EQ(TagVar(-1).IsEqual(4294967295.0), 0);
    EXPECT_EQ(TagVar(0xFFFFFFFFu).IsEqual(4294967295.0), 1);
    EXPECT_EQ(TagVar(-1.0).IsEqual(-1), 1);
    EXPECT_EQ(TagVar(4294967295.0).IsEqual(0xFFFFFFFFu), 1);
    EXPECT_EQ(TagVar(2.5).IsEqual(2.5), 1);
    EXPECT_EQ(TagVar(2.5).IsEqual(2), 0);
    EXPECT_EQ(TagVar(NAN).IsEqual(NAN), 0);
    EXPECT_EQ(TagVar().IsEqual(TagVar()), 1);
    EXPECT_EQ(TagVar(TagVar::endOfArgs).IsEqual(TagVar(TagVar::endOfArgs)), 1);
}

TEST(TagVarOperators, EqualityOfTextsAndMoments) {
    TagVar const noText(TagVar::string);
    EXPECT_EQ(TagVar("abc").IsEqual("abc"), 1);
    EXPECT_EQ(TagVar("abc").IsEqual("abd"), 0);
    EXPECT_EQ(TagVar(TString("a\0", 2, ' ')).IsEqual(u"a"), 1); // bytes are compared, not kinds
    EXPECT_EQ(TagVar("").IsEqual(nullptr), 1);                  // as strings compare
    EXPECT_EQ(TagVar(nullptr).IsEqual(""), 0);
    EXPECT_EQ(TagVar("abc").IsEqual(noText), 1);
    EXPECT_EQ(noText.IsEqual("abc"), 0);
    EXPECT_EQ(noText.IsEqual(noText), 0);

    TagVar const noMoment(TagVar::dateTime);
    EXPECT_EQ(TagVar(TDateTime(5, 0)).IsEqual(TDateTime(5, 3600)), 1);
    EXPECT_EQ(TagVar(TDateTime(5, 0)).IsEqual(TDateTime(6, 0)), 0);
    EXPECT_EQ(TagVar(TDateTime(5, 0)).IsEqual(noMoment), 1);
    EXPECT_EQ(noMoment.IsEqual(TDateTime(5, 0)), 0);
    EXPECT_EQ(noMoment.IsEqual(noMoment), 0);
}

TEST(TagVarOperators, OrderOfNumbers) {
    EXPECT_EQ(TagVar(-1).IsLessThan(1), 1);
    EXPECT_EQ(TagVar(1).IsLessThan(1), 0);
    EXPECT_EQ(TagVar(1).IsLessThan(0xFFFFFFFFu), 0); // as signed values
    EXPECT_EQ(TagVar(0xFFFFFFFFu).IsLessThan(1), 1); // as signed values
    EXPECT_EQ(TagVar(0xFFFFFFFFu).IsLessThan(1u), 0);
    EXPECT_EQ(TagVar(1u).IsLessThan(0xFFFFFFFFu), 1);
    EXPECT_EQ(TagVar(-1).IsLessThan(-0.5), 1);
    EXPECT_EQ(TagVar(0xFFFFFFFFu).IsLessThan(-0.5), 0);
    EXPECT_EQ(TagVar(0.5).IsLessThan(1), 1);
    EXPECT_EQ(TagVar(0.5).IsLessThan(0xFFFFFFFFu), 1);
    EXPECT_EQ(TagVar(0.5).IsLessThan(0.25), 0);
    EXPECT_EQ(TagVar(NAN).IsLessThan(1), 0);
    EXPECT_EQ(TagVar(1).IsLessThan(NAN), 0);
    EXPECT_EQ(TagVar().IsLessThan(TagVar()), 0);
    EXPECT_EQ(TagVar(TagVar::endOfArgs).IsLessThan(TagVar(TagVar::endOfArgs)), 0);
}

TEST(TagVarOperators, OrderOfTextsAndMoments) {
    TagVar const noText(TagVar::wideString);
    EXPECT_EQ(TagVar("abc").IsLessThan("abd"), 1);
    EXPECT_EQ(TagVar("abc").IsLessThan("ab"), 0);
    EXPECT_EQ(TagVar("abc").IsLessThan(noText), 0);
    EXPECT_EQ(noText.IsLessThan("abc"), 1);
    EXPECT_EQ(noText.IsLessThan(noText), 0);

    TagVar const noMoment(TagVar::dateTime);
    EXPECT_EQ(TagVar(TDateTime(-5, 0)).IsLessThan(TDateTime(5, 0)), 1);
    EXPECT_EQ(TagVar(TDateTime(5, 0)).IsLessThan(TDateTime(-5, 0)), 0);
    EXPECT_EQ(TagVar(TDateTime(5, 0)).IsLessThan(noMoment), 0);
    EXPECT_EQ(noMoment.IsLessThan(TDateTime(5, 0)), 1);
    EXPECT_EQ(noMoment.IsLessThan(noMoment), 0);
}

TEST(TagVarOperators, LogicalOperatorsTestForZero) {
    TagVar const zeros[] = {0, 0u, 0.0, 0.9, -0.9};
    TagVar const others[] = {1, -1, 7u, 1.0, -2.5, NAN};
    for (TagVar const &zero : zeros) {
        for (TagVar const &other : others) {
            EXPECT_EQ(zero.LogicalAnd(other), 0);
            EXPECT_EQ(other.LogicalAnd(zero), 0);
            EXPECT_EQ(zero.LogicalOr(other), 1);
            EXPECT_EQ(other.LogicalOr(zero), 1);
            EXPECT_EQ(other.LogicalAnd(other), 1);
            EXPECT_EQ(zero.LogicalOr(zero), 0);
        }
    }
    // Both operands are tested, even where one would do.
    EXPECT_EQ(Report([] { TagVar(0).LogicalAnd("text"); }), fsTypeMismatch);
    EXPECT_EQ(Report([] { TagVar(1).LogicalOr("text"); }), fsTypeMismatch);
}

TEST(TagVarOperators, UnaryOperatorsGiveNewValues) {
    EXPECT_EQ(!TagVar(0), 1);
    EXPECT_EQ(!TagVar(5), 0);
    EXPECT_EQ(!TagVar(0u), 1);
    EXPECT_EQ(!TagVar(5u), 0);
    EXPECT_EQ(!TagVar(0.9), 1);
    EXPECT_EQ(!TagVar(-1.9), 0);
    EXPECT_EQ(!TagVar("abc"), 0);
    EXPECT_EQ(!TagVar(nullptr), 0); // a null string is a string
    EXPECT_EQ(!TagVar(TagVar::string), 1);
    EXPECT_EQ(Show(~TagVar(5)), "integer -6");
    EXPECT_EQ(Show(~TagVar(5u)), "unsignedInteger 4294967290");
    EXPECT_EQ(Show(-TagVar(5)), "integer -5");
    EXPECT_EQ(Show(-TagVar(INT32_MIN)), "integer -2147483648");
    EXPECT_EQ(Show(-TagVar(2.5)), "real -2.5");
    EXPECT_EQ(Show(+TagVar(5)), "integer 5");
    EXPECT_EQ(Show(+TagVar(5u)), "unsignedInteger 5");
    EXPECT_EQ(Show(+TagVar(2.5)), "real 2.5");
}

TEST(TagVarOperators, StepsChangeTheValueByOne) {
    TagVar number(INT32_MAX);
    EXPECT_EQ(&++number, &number);
    EXPECT_EQ(Show(number), "integer -2147483648");
    EXPECT_EQ(Show(number--), "integer -2147483648");
    EXPECT_EQ(Show(number), "integer 2147483647");
    TagVar word(0u);
    EXPECT_EQ(&--word, &word);
    EXPECT_EQ(Show(word), "unsignedInteger 4294967295");
    EXPECT_EQ(Show(word++), "unsignedInteger 4294967295");
    EXPECT_EQ(Show(word), "unsignedInteger 0");
    TagVar number2(2.5);
    EXPECT_EQ(Show(++number2), "real 3.5");
    EXPECT_EQ(Show(number2--), "real 3.5");
    EXPECT_EQ(Show(number2), "real 2.5");
}

TEST(TagVarOperators, StepsChangeTheTimeOfADateTimeThatExists) {
    TagVar moment(TDateTime(INT32_MAX, 3600));
    TagVar const old = moment++;
    EXPECT_EQ(old.QueryDateTime()->QueryTime(), INT32_MAX);
    EXPECT_EQ(moment.QueryDateTime()->QueryTime(), INT32_MIN);
    EXPECT_EQ(moment.QueryDateTime()->QueryTimeZone(), 3600);
    --moment;
    EXPECT_EQ(moment.QueryDateTime()->QueryTime(), INT32_MAX);
    TagVar missing(TagVar::dateTime);
    ++missing;
    EXPECT_EQ(missing.QueryDateTime(), nullptr);
}
