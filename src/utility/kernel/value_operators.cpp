// The operators of TagVar. A table says for each operator which kinds of values the operator accepts, and how it
// computes the result. An operator looks up its outcome before it changes anything.

#include "tuzutil/TAGVAR.h"
#include "utility/kernel/value_reports.h"

#include <cmath>
#include <new>
#include <utility>

namespace {

// The kinds by which the tables are indexed.
enum TKind { kindInteger, kindUnsigned, kindReal, kindText, kindDate, kindDateTime, kindNil, kindEnd, kindPointer };

constexpr TKind fsKinds[] = {kindNil,  kindEnd,  kindInteger, kindUnsigned, kindReal,   kindText,
                             kindText, kindDate, kindDate,    kindDateTime, kindPointer};

// The outcomes of an operator for a pair of kinds:
//   .  type mismatch     !  not implemented     =  kinds without a value, always equal
//   i  32-bit words, signed, the result an integer          r  reals
//   w  32-bit words, unsigned, the result an integer        s  texts
//   u  32-bit words, unsigned, the result an unsigned one   t  date-times
// The index is the kind of the right value or, for an operator of one value, the kind of this value (TKind).
using TOutcomes = char const *;

constexpr TOutcomes fsMismatch = ".........";
constexpr TOutcomes fsNotImplemented = "!!!!!!!!!";

struct TMatrix {
    TOutcomes byLeft[9];
};

// clang-format off
//                          left: integer      unsigned     real         text
//                                date, time   date-time    nil          end          pointer
constexpr TMatrix fsAdd =       {{"iir.!!...", "iur......", "rrr......", "...s.....",
                                  fsNotImplemented, fsNotImplemented, fsMismatch, fsMismatch, fsMismatch}};
constexpr TMatrix fsSubtract =  {{"iir......", "iur......", "rrr......", fsMismatch,
                                  fsNotImplemented, fsNotImplemented, fsMismatch, fsMismatch, fsMismatch}};
constexpr TMatrix fsMultiply =  {{"iir......", "iur......", "rrr......", fsMismatch,
                                  fsMismatch, fsMismatch, fsMismatch, fsMismatch, fsMismatch}};
constexpr TMatrix fsDivide =    {{"iwr......", "wur......", "rrr......", fsMismatch,
                                  fsMismatch, fsMismatch, fsMismatch, fsMismatch, fsMismatch}};
constexpr TMatrix fsRemainder = {{"iw.......", "wu.......", fsMismatch, fsMismatch,
                                  fsMismatch, fsMismatch, fsMismatch, fsMismatch, fsMismatch}};
constexpr TMatrix fsBitwise =   {{"ww.......", "uu.......", fsMismatch, "...s.....",
                                  fsMismatch, fsMismatch, fsMismatch, fsMismatch, fsMismatch}};
constexpr TMatrix fsShift =     {{"iii......", "uuu......", "iii......", fsMismatch,
                                  fsMismatch, fsMismatch, fsMismatch, fsMismatch, fsMismatch}};
constexpr TMatrix fsIsEqual =   {{"uur......", "uur......", "rrr......", "...s.....",
                                  fsNotImplemented, ".....t...", "......=..", ".......=.", fsMismatch}};
constexpr TMatrix fsIsLess =    {{"iir......", "iur......", "rrr......", "...s.....",
                                  fsNotImplemented, ".....t...", "......=..", ".......=.", fsMismatch}};
constexpr TMatrix fsLogical =   {{"uuu......", "uuu......", "uuu......", fsMismatch,
                                  fsMismatch, fsMismatch, fsMismatch, fsMismatch, fsMismatch}};

constexpr TOutcomes fsNot =        "uuus.....";
constexpr TOutcomes fsComplement = "iu.......";
constexpr TOutcomes fsNegate =     "i.r......";
constexpr TOutcomes fsPlus =       "iur......";
constexpr TOutcomes fsStep =       "iur.!t...";
// clang-format on

// Throws if the outcome is "." or "!". Otherwise returns the outcome.
char Decided(char outcome, std::uint32_t line) {
    if (outcome == '.')
        tagvar::ReportMismatch(line);
    if (outcome == '!')
        tagvar::ReportNotImplemented(line);
    return outcome;
}

// Rounds towards zero, and returns the low 32 bits. Returns 0x80000000 if 64 bits cannot hold the value.
std::uint32_t Truncate(double value) noexcept {
    constexpr double limit = 9223372036854775808.0; // 2^63
    return value >= -limit && value < limit ? static_cast<std::uint32_t>(static_cast<std::int64_t>(value))
                                            : 0x80000000u;
}

// A division by zero raises the processor's fault if it has one, as TAGVAR.h says. The divisor is volatile, because the
// compiler must not remove the division. REQUIRES: a signed divisor is not -1, because some processors also raise a
// fault if they divide the smallest integer by -1.
template <typename Word>
__attribute__((no_sanitize("undefined"))) Word Quotient(Word left, Word right) noexcept {
    Word const volatile divisor = right;
    return static_cast<Word>(left / divisor);
}

template <typename Word>
__attribute__((no_sanitize("undefined"))) Word Remainder(Word left, Word right) noexcept {
    Word const volatile divisor = right;
    return static_cast<Word>(left % divisor);
}

constexpr std::uint32_t fsMinusOne = 0xFFFFFFFFu;

std::int32_t Signed(std::uint32_t word) noexcept {
    return static_cast<std::int32_t>(word);
}

} // namespace

// The functions that the operators share.
struct TagVar::TOperators {
    static TKind Kind(TagVar const &value, std::uint32_t line) {
        if (value.fType > voidPtr)
            tagvar::ReportUnknown(line);
        return fsKinds[value.fType];
    }

    static char Outcome(TMatrix const &matrix, TagVar const &left, TagVar const &right, std::uint32_t line) {
        TKind const leftKind = Kind(left, line); // an unknown kind on either side throws before the table is used
        TKind const rightKind = Kind(right, line);
        return Decided(matrix.byLeft[leftKind][rightKind], line);
    }

    static char Outcome(TOutcomes outcomes, TagVar const &value, std::uint32_t line) {
        return Decided(outcomes[Kind(value, line)], line);
    }

    static std::uint32_t Word(TagVar const &value) noexcept {
        return value.fType == real ? Truncate(value.Real()) : value.Word();
    }

    static double Real(TagVar const &value) noexcept {
        if (value.fType == real)
            return value.Real();
        return value.fType == integer ? static_cast<double>(Signed(value.Word())) : static_cast<double>(value.Word());
    }

    static TString *Text(TagVar const &value) noexcept { return value.Object<TString>(); }
    static TDateTime *Moment(TagVar const &value) noexcept { return value.Object<TDateTime>(); }

    // Sets the left value to the result of `words(left, right, isSigned)` for words, or of `reals(left, right)` for
    // reals. If both texts exist, `texts(left, right)` changes the left one. If only the right text exists, the left
    // value gets a copy of it.
    template <typename Words, typename Reals, typename Texts>
    static TagVar &Compute(TMatrix const &matrix, TagVar &left, TagVar const &right, Words words, Reals reals,
                           Texts texts, std::uint32_t line) {
        char const outcome = Outcome(matrix, left, right, line);
        switch (outcome) {
        case 'r': left.SetReal(reals(Real(left), Real(right))); break;
        case 's':
            if (Text(left) && Text(right))
                texts(*Text(left), *Text(right));
            else if (Text(right))
                // No test gets here: memory would have to be lacking for this text alone.
                left.SetObject(left.fType, new (std::nothrow) TString(*Text(right)));
            break;
        default:
            left.SetWord(outcome == 'u' ? unsignedInteger : integer, words(Word(left), Word(right), outcome == 'i'));
        }
        return left;
    }

    // NoReals() and NoTexts() are for operators whose table has no reals or no texts.
    // No test gets here: an operator whose table has no reals is refused for them before.
    static double NoReals(double left, double) noexcept { return left; }
    // No test gets here: an operator whose table has no texts is refused for them before.
    static void NoTexts(TString &, TString const &) noexcept {}

    // Adds `by`, which is 1 or -1. Words and times wrap around.
    static TagVar &Step(TagVar &value, int by, std::uint32_t line) {
        auto const step = static_cast<std::uint32_t>(by);
        switch (Outcome(fsStep, value, line)) {
        case 'r': value.SetReal(value.Real() + by); break;
        case 't':
            if (TDateTime *const moment = Moment(value))
                *moment = static_cast<long>(Signed(static_cast<std::uint32_t>(moment->QueryTime()) + step));
            break;
        default: value.SetWord(value.fType, value.Word() + step);
        }
        return value;
    }
};

// Compound operators.

TagVar &TagVar::operator+=(TagVar const &other) {
    return TOperators::Compute(
        fsAdd, *this, other, [](std::uint32_t a, std::uint32_t b, bool) { return a + b; },
        [](double a, double b) { return a + b; }, [](TString &a, TString const &b) { a += b; }, __LINE__);
}

TagVar &TagVar::operator-=(TagVar const &other) {
    return TOperators::Compute(
        fsSubtract, *this, other, [](std::uint32_t a, std::uint32_t b, bool) { return a - b; },
        [](double a, double b) { return a - b; }, TOperators::NoTexts, __LINE__);
}

TagVar &TagVar::operator*=(TagVar const &other) {
    return TOperators::Compute(
        fsMultiply, *this, other, [](std::uint32_t a, std::uint32_t b, bool) { return a * b; },
        [](double a, double b) { return a * b; }, TOperators::NoTexts, __LINE__);
}

TagVar &TagVar::operator/=(TagVar const &other) {
    auto const words = [](std::uint32_t a, std::uint32_t b, bool isSigned) {
        if (!isSigned)
            return Quotient(a, b);
        return b == fsMinusOne ? 0u - a : static_cast<std::uint32_t>(Quotient(Signed(a), Signed(b)));
    };
    return TOperators::Compute(
        fsDivide, *this, other, words, [](double a, double b) { return a / b; }, TOperators::NoTexts, __LINE__);
}

TagVar &TagVar::operator%=(TagVar const &other) {
    auto const words = [](std::uint32_t a, std::uint32_t b, bool isSigned) {
        if (!isSigned)
            return Remainder(a, b);
        return b == fsMinusOne ? 0u : static_cast<std::uint32_t>(Remainder(Signed(a), Signed(b)));
    };
    return TOperators::Compute(fsRemainder, *this, other, words, TOperators::NoReals, TOperators::NoTexts, __LINE__);
}

TagVar &TagVar::operator|=(TagVar const &other) {
    return TOperators::Compute(
        fsBitwise, *this, other, [](std::uint32_t a, std::uint32_t b, bool) { return a | b; }, TOperators::NoReals,
        [](TString &a, TString const &b) { a |= b; }, __LINE__);
}

TagVar &TagVar::operator&=(TagVar const &other) {
    return TOperators::Compute(
        fsBitwise, *this, other, [](std::uint32_t a, std::uint32_t b, bool) { return a & b; }, TOperators::NoReals,
        [](TString &a, TString const &b) { a &= b; }, __LINE__);
}

TagVar &TagVar::operator^=(TagVar const &other) {
    return TOperators::Compute(
        fsBitwise, *this, other, [](std::uint32_t a, std::uint32_t b, bool) { return a ^ b; }, TOperators::NoReals,
        [](TString &a, TString const &b) { a ^= b; }, __LINE__);
}

TagVar &TagVar::operator<<=(TagVar const &other) {
    return TOperators::Compute(
        fsShift, *this, other, [](std::uint32_t a, std::uint32_t b, bool) { return a << (b & 31); },
        TOperators::NoReals, TOperators::NoTexts, __LINE__);
}

TagVar &TagVar::operator>>=(TagVar const &other) {
    auto const words = [](std::uint32_t a, std::uint32_t b, bool isSigned) {
        return isSigned ? static_cast<std::uint32_t>(Signed(a) >> (b & 31)) : a >> (b & 31);
    };
    return TOperators::Compute(fsShift, *this, other, words, TOperators::NoReals, TOperators::NoTexts, __LINE__);
}

// Comparison

int TagVar::IsEqual(TagVar const &other) const {
    bool const left = fCell != 0;
    bool const right = other.fCell != 0;
    switch (TOperators::Outcome(fsIsEqual, *this, other, __LINE__)) {
    case 'r': return TOperators::Real(*this) == TOperators::Real(other);
    case 's':
        // If at least one of the values owns no text, the values count as equal exactly if the left value owns one, as
        // TAGVAR.h says.
        return left && right ? TOperators::Text(*this)->isEqual(*TOperators::Text(other)) : left;
    case 't': return left && right ? TOperators::Moment(*this)->IsEqual(*TOperators::Moment(other)) : left;
    case '=': return 1;
    default: return Word() == other.Word();
    }
}

int TagVar::IsLessThan(TagVar const &other) const {
    bool const left = fCell != 0;
    bool const right = other.fCell != 0;
    switch (TOperators::Outcome(fsIsLess, *this, other, __LINE__)) {
    case 'r': return TOperators::Real(*this) < TOperators::Real(other);
    case 's': return left && right ? TOperators::Text(*this)->isLessThan(*TOperators::Text(other)) : right;
    case 't': return left && right ? TOperators::Moment(*this)->IsLessThan(*TOperators::Moment(other)) : right;
    case '=': return 0;
    case 'u': return Word() < other.Word();
    default: return Signed(Word()) < Signed(other.Word());
    }
}

int TagVar::LogicalAnd(TagVar const &other) const {
    TOperators::Outcome(fsLogical, *this, other, __LINE__);
    return TOperators::Word(*this) != 0 && TOperators::Word(other) != 0;
}

int TagVar::LogicalOr(TagVar const &other) const {
    TOperators::Outcome(fsLogical, *this, other, __LINE__);
    return TOperators::Word(*this) != 0 || TOperators::Word(other) != 0;
}

// Unary operators

int TagVar::operator!() const {
    bool const isText = TOperators::Outcome(fsNot, *this, __LINE__) == 's';
    return isText ? fCell == 0 : TOperators::Word(*this) == 0;
}

TagVar TagVar::operator~() const {
    TOperators::Outcome(fsComplement, *this, __LINE__);
    TagVar result(fType);
    result.SetWord(fType, ~Word());
    return result;
}

TagVar TagVar::operator-() const {
    TagVar result;
    if (TOperators::Outcome(fsNegate, *this, __LINE__) == 'r')
        result.SetReal(-Real());
    else
        result.SetWord(integer, 0 - Word());
    return result;
}

TagVar TagVar::operator+() const {
    TOperators::Outcome(fsPlus, *this, __LINE__);
    return *this;
}

TagVar &TagVar::operator++() {
    return TOperators::Step(*this, 1, __LINE__);
}

TagVar &TagVar::operator--() {
    return TOperators::Step(*this, -1, __LINE__);
}

TagVar TagVar::operator++(int) {
    TOperators::Outcome(fsStep, *this, __LINE__); // throws for a wrong kind before the copy is made
    TagVar old(*this);
    ++*this;
    return old;
}

TagVar TagVar::operator--(int) {
    TOperators::Outcome(fsStep, *this, __LINE__);
    TagVar old(*this);
    --*this;
    return old;
}
