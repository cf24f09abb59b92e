#ifndef TUZUTIL_MESSAGE_FORMAT
#define TUZUTIL_MESSAGE_FORMAT

// Formats of messages: the parser, and the search for the argument of a conversion. Two sources use this header:
// message_print.cpp makes the text, and message_rewrite.cpp rewrites a format for another printf.

#include "tuzutil/TXTMSG.h"
#include "utility/kernel/byte_search.h"
#include "utility/kernel/value_access.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <type_traits>

// Traces faults of a format or its arguments. Faults are only traced: the function that finds one continues.
class TMessageFaults {
public:
    enum Fault { storesCount, badWidth, badPrecision, badValue };

    explicit TMessageFaults(TTextMessage const &message) noexcept : fMessage(&message) {}
    // A TMessageFaults without a message traces nothing. Instead, IsGivenUp() is true after a fault: the printing then
    // stops, and the caller prints the text again through a TTextMessage, which traces the fault.
    TMessageFaults() noexcept = default;
    void Report(Fault fault, char conversion, std::uint32_t argument) const;
    bool IsGivenUp() const noexcept { return fIsGivenUp; }

private:
    TTextMessage const *fMessage = nullptr;
    mutable bool fIsGivenUp = false;
};

struct TMessageArguments {
    TagVar const *values;
    std::uint32_t count;
    TMessageFaults faults;

    // Returns the argument with this number, counted from 1, or null if there is none.
    TagVar const *Find(std::uint32_t number) const noexcept {
        return number - 1 < count ? &values[number - 1] : nullptr;
    }
};

TString PrintMessage(TString const &format, TMessageArguments const &arguments);
// Prints into [begin, end) and allocates nothing for the text. Returns the end of the text. Returns null if there is no
// room for the text, if the text has a zero character, or if the format has a fault, which is not reported.
char *PrintInPlace(std::string_view format, TMessageArguments const &arguments, char *begin, char *end);
std::uint32_t RewriteNarrow(TString const &format, TMessageArguments const &, TString &out, TTextMessage::CharP &block);
std::uint32_t RewriteWide(TString const &format, TMessageArguments const &, TString &out, TTextMessage::CharP &block);

// Conversions

enum class TConversion : std::uint8_t { unknown, real, integer, character, pointer, text, otherText, storesCount };

struct TConversionRow {
    std::string_view characters;
    TConversion conversion;
    std::uint8_t size; // characters that a printed value may need; for a text, its length is used instead
};

inline constexpr TConversionRow fsConversionRows[] = {
    {"AEFGaefg", TConversion::real, 40}, {"Xdioux", TConversion::integer, 20}, {"c", TConversion::character, 10},
    {"p", TConversion::pointer, 20},     {"s", TConversion::text, 0},          {"S", TConversion::otherText, 0},
    {"n", TConversion::storesCount, 0},
};

inline constexpr std::int64_t fsCountSize = 20; // ValidateArgs() assumes at least so many characters for a width

inline constexpr auto fsConversions = [] {
    std::array<TConversion, 128> table{};
    for (TConversionRow const &row : fsConversionRows) {
        for (char const c : row.characters)
            table[static_cast<unsigned char>(c)] = row.conversion;
    }
    return table;
}();

inline constexpr auto fsConversionSizes = [] {
    std::array<std::uint8_t, 8> table{};
    for (TConversionRow const &row : fsConversionRows)
        table[static_cast<std::size_t>(row.conversion)] = row.size;
    return table;
}();

// Kinds of values

inline bool IsWord(TagVar const *value) noexcept {
    return value &&
           (TagVarAccess::Kind(*value) == TagVar::integer || TagVarAccess::Kind(*value) == TagVar::unsignedInteger);
}

// Returns whether the value is an integer of 64 bits.
inline bool IsLong(TagVar const *value) noexcept {
    return value &&
           (TagVarAccess::Kind(*value) == TagVar::integer64 || TagVarAccess::Kind(*value) == TagVar::unsignedInteger64);
}

inline bool IsText(TagVar const *value) noexcept {
    return value && (TagVarAccess::Kind(*value) == TagVar::string || TagVarAccess::Kind(*value) == TagVar::wideString);
}

inline bool IsWide(TagVar const *value) noexcept {
    return value && TagVarAccess::Kind(*value) == TagVar::wideString;
}

// Directives

// A width or a precision, as it is written in the format.
struct TCountSource {
    enum Kind : std::uint8_t { absent, literal, argument } kind = absent;
    std::uint32_t number = 0; // the literal value, at most INT_MAX, or the argument's number
};

template <typename Char>
struct TDirective {
    enum Flag : unsigned { left = 1, plus = 2, blank = 4, alternate = 8, zero = 16 };

    unsigned flags = 0;
    TCountSource width;
    TCountSource precision;
    Char modifier = 0;   // L, h, l, or 0
    bool isLong = false; // ll, j, z or t: the conversion of an integer takes all 64 bits
    Char character = 0;  // the conversion; 0 at the end of the format
    TConversion conversion = TConversion::unknown;
    std::uint32_t argument = 0; // the number of the argument that is converted

    // Set by the parser. The flags, width and precision without the numbers of arguments are in three pieces of the
    // format: from kept[0] to kept[1], from kept[2] to kept[3], and from kept[4] to kept[5].
    Char const *kept[6];
    // Set by the parser. This is the place at which the literal text continues: after the conversion, or at the
    // character of an unknown conversion.
    Char const *end;
};

template <typename Char>
class TDirectiveParser {
public:
    // `at` is the place after the percent sign. `running` is the number of the argument that the next conversion
    // without an argument number takes.
    TDirectiveParser(Char const *at, Char const *formatEnd, std::uint32_t &running,
                     TMessageArguments const &arguments) noexcept
        : fAt(at), fEnd(formatEnd), fRunning(running), fArguments(arguments) {}

    TDirective<Char> Parse() noexcept {
        TDirective<Char> result;
        std::uint32_t const before = fRunning;
        bool const isExplicit = TakeArgumentNumber(result.argument);
        std::fill(std::begin(result.kept), std::end(result.kept), fAt);
        if (Conversion() == TConversion::unknown)
            TakeField(result);
        if (!isExplicit)
            result.argument = fRunning++;
        TakeLongModifier(result);
        result.character = fAt == fEnd ? Char{0} : *fAt;
        result.conversion = Conversion();
        if (result.conversion == TConversion::unknown)
            fRunning = before;
        else
            ++fAt;
        result.end = fAt;
        return result;
    }

private:
    // Returns the conversion that the current character denotes.
    TConversion Conversion() const noexcept {
        auto const code = static_cast<std::make_unsigned_t<Char>>(fAt == fEnd ? Char{0} : *fAt);
        return code < fsConversions.size() ? fsConversions[code] : TConversion::unknown;
    }

    // Reads flags, width, precision and size modifier.
    void TakeField(TDirective<Char> &result) noexcept {
        result.flags = TakeFlags();
        TakeCount(result.width, result.kept + 1);
        result.kept[3] = result.kept[4] = fAt;
        if (Is('.')) {
            ++fAt;
            TakeCount(result.precision, result.kept + 3);
            if (result.precision.kind == TCountSource::absent)
                result.precision.kind = TCountSource::literal; // a point without a number means 0
        }
        result.kept[5] = fAt;
        if (Is('L') || Is('h') || Is('l'))
            result.modifier = *fAt++;
    }

    // Reads the second l of ll, or a j, z or t, before the conversion of an integer. If the argument is missing or is a
    // text, the letter counts as an unknown conversion, which uses no argument. So a text argument stays available for
    // the next conversion.
    void TakeLongModifier(TDirective<Char> &result) noexcept {
        Char const *const from = fAt;
        if (!Is('j') && !Is('z') && !Is('t') && !(Is('l') && result.modifier == static_cast<Char>('l')))
            return;
        ++fAt;
        TagVar const *const value = fArguments.Find(result.argument);
        result.isLong = Conversion() == TConversion::integer && value && !IsText(value) &&
                        (result.modifier == 0 || *from == static_cast<Char>('l'));
        if (!result.isLong)
            fAt = from;
    }

    bool Is(char c) const noexcept { return fAt != fEnd && *fAt == static_cast<Char>(c); }

    bool IsDigit() const noexcept { return fAt != fEnd && *fAt >= '0' && *fAt <= '9'; }

    // Reads a decimal number. A number above INT_MAX becomes INT_MAX. Returns false if there is no digit.
    bool TakeNumber(std::uint32_t &number) noexcept {
        if (!IsDigit())
            return false;
        std::uint64_t value = 0;
        for (; IsDigit(); ++fAt)
            value = value > INT_MAX ? value : value * 10 + static_cast<std::uint32_t>(*fAt - '0');
        number = static_cast<std::uint32_t>(value > INT_MAX ? INT_MAX : value);
        return true;
    }

    // Reads the number of an argument and the "$" after it. If there is no such number, stays in place and returns
    // false.
    bool TakeArgumentNumber(std::uint32_t &number) noexcept {
        Char const *const from = fAt;
        if (TakeNumber(number) && Is('$')) {
            ++fAt;
            return true;
        }
        fAt = from;
        return false;
    }

    unsigned TakeFlags() noexcept {
        using Flags = TDirective<Char>;
        unsigned flags = 0;
        for (; fAt != fEnd; ++fAt) {
            switch (*fAt) {
            case '-': flags |= Flags::left; break;
            case '+': flags |= Flags::plus; break;
            case ' ': flags |= Flags::blank; break;
            case '#': flags |= Flags::alternate; break;
            case '0': flags |= Flags::zero; break;
            default: return flags;
            }
        }
        return flags;
    }

    // Reads a width or a precision: digits, or a star and, if present, the number of an argument with its "$". The part
    // of the format from gap[0] to gap[1] is this number with its "$", which TDirective::kept leaves out.
    void TakeCount(TCountSource &count, Char const **gap) noexcept {
        gap[0] = gap[1] = fAt;
        if (Is('*')) {
            count.kind = TCountSource::argument;
            gap[0] = ++fAt;
            if (!TakeArgumentNumber(count.number))
                count.number = fRunning++;
            gap[1] = fAt;
        } else if (TakeNumber(count.number)) {
            count.kind = TCountSource::literal;
        }
    }

    Char const *fAt;
    Char const *const fEnd;
    std::uint32_t &fRunning;
    TMessageArguments const &fArguments;
};

// The characters of a format.
template <typename Char>
struct TFormatText {
    explicit TFormatText(TString const &format) noexcept
        : begin(reinterpret_cast<Char const *>(static_cast<char const *>(format))),
          end(begin + format.length() / sizeof(Char)) {}
    explicit TFormatText(std::string_view format) noexcept : begin(format.data()), end(begin + format.size()) {}

    Char const *begin;
    Char const *end;
};

// Returns the place of the first percent sign or zero, or `end` if there is neither.
template <typename Char>
Char const *FindSpecial(Char const *from, Char const *end) noexcept {
#if defined(__SSE2__)
    if constexpr (sizeof(Char) == 1) {
        __m128i const percent = _mm_set1_epi8('%');
        for (; end - from >= 16; from += 16) {
            __m128i const bytes = byte_search::Load(from);
            __m128i const special =
                _mm_or_si128(_mm_cmpeq_epi8(bytes, percent), _mm_cmpeq_epi8(bytes, _mm_setzero_si128()));
            if (unsigned int const hits = byte_search::Mask(special))
                return from + __builtin_ctz(hits);
        }
    }
#endif
    while (from != end && *from != '%' && *from != 0)
        ++from;
    return from;
}

// Passes the pieces of a format to `user`, in order: literal text to Literal(), a directive to Convert(). For a doubled
// percent sign, calls Percent(). Two things differ if User::convertsPlain is true and the format is narrow.
// PutLiteral() is called instead of Literal(), and finds the end of the literal text itself. A directive goes to
// ConvertPlain() first, and to Convert() only if ConvertPlain() returns false. Ends at the first zero, as every printf
// does, or when IsFull() returns true. `running` is the number of the argument that the first conversion without an
// argument number takes.
template <typename Char, typename User>
void WalkFormat(TFormatText<Char> const &format, TMessageArguments const &arguments, User &user,
                std::uint32_t running = 1) {
    for (Char const *at = format.begin; !user.IsFull();) {
        Char const *percent;
        if constexpr (sizeof(Char) == 1 && User::convertsPlain) {
            percent = user.PutLiteral(at, format.end);
        } else {
            percent = FindSpecial(at, format.end);
            if (percent != at)
                user.Literal(at, percent);
        }
        if (percent == format.end || *percent == 0)
            return;
        at = percent + 1;
        if (at != format.end && *at == '%') {
            user.Percent();
            ++at;
            continue;
        }
        if constexpr (sizeof(Char) == 1 && User::convertsPlain) {
            if (user.ConvertPlain(at, format.end, running))
                continue;
        }
        auto const directive = TDirectiveParser<Char>(at, format.end, running, arguments).Parse();
        user.Convert(directive);
        at = directive.end;
    }
}

// Values

// The amount of a width or a precision. If the amount is an argument, that argument has been looked up.
struct TCount {
    bool isPresent = false;
    bool isArgument = false;
    bool isMismatch = false;
    std::int64_t amount = 0;

    std::int32_t Int() const noexcept { return static_cast<std::int32_t>(amount); } // as printf takes it

    // Returns the number of characters that ValidateArgs() assumes for this count: 0 if the count is absent, and
    // otherwise at least fsCountSize. For a precision that comes from an argument, the result may be less.
    std::int64_t Size(bool isWidth) const noexcept {
        if (isMismatch)
            return fsCountSize;
        if (!isPresent)
            return 0;
        return isWidth || !isArgument ? std::max(amount, fsCountSize) : amount;
    }
};

inline TCount ResolveCount(TCountSource const &source, TMessageArguments const &arguments,
                           TMessageFaults::Fault fault) {
    TCount count;
    if (source.kind == TCountSource::absent)
        return count;
    count.isPresent = true;
    count.isArgument = source.kind == TCountSource::argument;
    count.amount = source.number;
    if (!count.isArgument)
        return count;
    TagVar const *const value = arguments.Find(source.number);
    if (IsWord(value)) {
        std::uint32_t const word = TagVarAccess::Word(*value);
        bool const isSigned = TagVarAccess::Kind(*value) == TagVar::integer;
        count.amount = isSigned ? std::int64_t{static_cast<std::int32_t>(word)} : std::int64_t{word};
    } else {
        count.amount = 0;
        count.isMismatch = true;
        arguments.faults.Report(fault, 0, source.number);
    }
    return count;
}

// The value of a conversion. If `argument` is null, a conversion that takes a value prints zero or a null string. If
// `isUnshown` is set too, the conversion prints "?" instead, because there is an argument that it cannot show.
struct TValue {
    TagVar const *argument = nullptr;
    bool isUnshown = false;
};

// Finds the value of a conversion. If the argument is missing or of the wrong kind, reports that.
template <typename Char>
TValue ResolveValue(TDirective<Char> const &directive, TMessageArguments const &arguments) {
    TagVar const *const value = arguments.Find(directive.argument);
    bool fits = true;
    // No test gets here: each conversion has a case.
    switch (directive.conversion) {
    case TConversion::real: fits = value && TagVarAccess::Kind(*value) == TagVar::real; break;
    case TConversion::integer: fits = IsWord(value) || IsLong(value); break;
    case TConversion::character: fits = IsWord(value); break;
    case TConversion::pointer: fits = value && TagVarAccess::Kind(*value) == TagVar::voidPtr; break;
    case TConversion::text: fits = IsText(value); break;
    case TConversion::otherText: fits = sizeof(Char) != 1 && IsText(value); break; // only in 16-bit formats
    case TConversion::storesCount:
        arguments.faults.Report(TMessageFaults::storesCount, 'n', directive.argument);
        return {};
    case TConversion::unknown: return {};
    }
    if (fits)
        return {value};
    arguments.faults.Report(TMessageFaults::badValue, static_cast<char>(directive.character), directive.argument);
    return {nullptr, value && (directive.isLong || TagVarAccess::Kind(*value) > TagVar::voidPtr)};
}

// Returns whether the conversion of an integer takes 64 bits.
template <typename Char>
bool TakesLong(TDirective<Char> const &directive, TagVar const *value) noexcept {
    return directive.isLong || IsLong(value);
}

// Returns the number of characters that ValidateArgs() assumes for a conversion.
template <typename Char>
std::int64_t ValueSize(TConversion conversion, TagVar const *value) noexcept {
    bool const isText = conversion == TConversion::text || (sizeof(Char) != 1 && conversion == TConversion::otherText);
    if (!isText)
        return fsConversionSizes[static_cast<std::size_t>(conversion)];
    if (!value)
        return fsCountSize;
    return static_cast<std::int64_t>(TagVarAccess::Text(*value).size() / (sizeof(Char) != 1 && IsWide(value) ? 2 : 1));
}

#endif
