#ifndef TUZUTIL_FORMAT_H
#define TUZUTIL_FORMAT_H

// TFormat: a literal format of a message, which the compiler checks against the types of the arguments.
//
// Example:
//     std::string const user = "joe";
//     TTextMessage const message = TTextMessage::Make("%s has %d messages", user, 5u);
//     std::cout << message.QueryMessage() << '\n';    // joe has 5 messages
//     // TTextMessage::Make("%d has %d messages", user, 5u) does not compile:
//     // call to non-constexpr function 'void tuzutil::format_error::AConversionDoesNotFitItsArgument()'
//
// Ownership:  A TFormat borrows the literal. A message copies the format and the arguments.
// Threads:    Any thread may use a TFormat.
// Failures:   No function fails when the program runs. TXTMSG.h says how a TTextMessage prints a faulty format.
// Surprises:
// - A compiler checks formats if it has consteval, which C++20 introduced. With other compilers, a faulty format
//   compiles.
// - The check is stricter than the printing: an argument that no conversion uses is an error, and so are unknown
//   conversions, "%n" and "%S".
// - A TagVar fits every conversion, and so does a type that makes a TagVar of itself, because the kind of the TagVar is
//   known only at run time.
// - The constructors of TTextMessage do not check formats; only TTextMessage::Make() and trace points do.
template <typename... Arguments>
class TFormat;

#include "tuzutil/TAGVAR.h"

#include <cstddef>
#include <string_view>
#include <type_traits>

// TUZUTIL_CHECKS_FORMATS is true if the compiler checks formats.
#if defined(__cpp_consteval)
#define TUZUTIL_CONSTEVAL consteval
#define TUZUTIL_CHECKS_FORMATS true
#else
#define TUZUTIL_CONSTEVAL constexpr
#define TUZUTIL_CHECKS_FORMATS false
#endif

namespace tuzutil {

// If a format is wrong, the message of the compiler names one of these functions, which are not defined.
namespace format_error {
void AConversionDoesNotFitItsArgument();
void AConversionHasNoArgument();
void AnArgumentIsNotUsed();
void TheConversionIsUnknown();
void AWidthIsNotAnInteger();
void AFileNameStandsBeforeAFormat(); // called by TTraceText (TRACEP.h)
} // namespace format_error

// The kinds of arguments, as conversions distinguish them.
enum class TArgumentKind { any, integer, real, text, pointer, none };

// Returns the kind of an argument of this type.
template <typename Argument>
constexpr TArgumentKind KindOfArgument() {
    using T = std::decay_t<Argument const &>;
    constexpr bool makesTagVar =
        hasToTagVar<T> || becomesTagVar<T> || std::is_same_v<T, TagVar> || std::is_same_v<T, TagVar::Type>;
    if constexpr (!makesTagVar) {
        if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
            return TArgumentKind::integer;
        else if constexpr (std::is_floating_point_v<T>)
            return TArgumentKind::real;
        else if constexpr (isAddress<T> || std::is_same_v<T, TagVarVoidPtr>)
            return TArgumentKind::pointer;
        else if constexpr (std::is_same_v<T, TDate> || std::is_same_v<T, TTime> || std::is_same_v<T, TDateTime>)
            return TArgumentKind::none;
        else if constexpr (isArgument<T> || std::is_pointer_v<T> || std::is_null_pointer_v<T> ||
                           std::is_base_of_v<TString, T>)
            return TArgumentKind::text;
    }
    return TArgumentKind::any; // also for a type that converts itself to an integer, a real, a text or a pointer
}

constexpr bool HasConversion(char const *text) {
    while (*text && *text != '%')
        ++text;
    return *text != 0;
}

// Reads a format as messages do, and calls a function of format_error for the first fault.
template <typename... Arguments>
class TFormatCheck {
public:
    TUZUTIL_CONSTEVAL explicit TFormatCheck(char const *text) : fAt(text) {}

    TUZUTIL_CONSTEVAL void Check() {
        while (*fAt) {
            if (*fAt++ != '%')
                continue;
            if (*fAt == '%')
                ++fAt;
            else
                CheckConversion();
        }
        for (std::size_t i = 0; i < sizeof...(Arguments); ++i) {
            if (!fIsUsed[i])
                format_error::AnArgumentIsNotUsed();
        }
    }

private:
    TUZUTIL_CONSTEVAL void CheckConversion() {
        std::size_t number = 0;
        bool const isExplicit = TakeNumber(number);
        while (Is("-+ #0"))
            ++fAt;
        TakeCount();
        if (*fAt == '.') {
            ++fAt;
            TakeCount();
        }
        if (!isExplicit)
            number = ++fRunning;
        bool const isLong = TakeLength();
        TArgumentKind const wanted = Wanted();
        if (wanted == TArgumentKind::none || (isLong && (wanted != TArgumentKind::integer || *fAt == 'c')))
            format_error::TheConversionIsUnknown();
        TArgumentKind const given = Use(number);
        if (given != wanted && given != TArgumentKind::any)
            format_error::AConversionDoesNotFitItsArgument();
        ++fAt;
    }

    // Reads the number of an argument and the "$" after it. If these are not at fAt, leaves fAt unchanged and returns
    // false.
    TUZUTIL_CONSTEVAL bool TakeNumber(std::size_t &number) {
        char const *const from = fAt;
        for (number = 0; Is("0123456789"); ++fAt)
            number = number > 1000 ? number : number * 10 + static_cast<std::size_t>(*fAt - '0');
        if (fAt != from && *fAt == '$') {
            ++fAt;
            return true;
        }
        fAt = from;
        return false;
    }

    TUZUTIL_CONSTEVAL void TakeCount() {
        if (*fAt != '*') {
            while (Is("0123456789"))
                ++fAt;
            return;
        }
        ++fAt;
        std::size_t number = 0;
        if (!TakeNumber(number))
            number = ++fRunning;
        TArgumentKind const given = Use(number);
        if (given != TArgumentKind::integer && given != TArgumentKind::any)
            format_error::AWidthIsNotAnInteger();
    }

    // Reads a length modifier, and returns whether only integers take it.
    TUZUTIL_CONSTEVAL bool TakeLength() {
        if (fAt[0] == 'l' && fAt[1] == 'l') {
            fAt += 2;
            return true;
        }
        bool const isLong = Is("jzt");
        if (isLong || Is("lhL"))
            ++fAt;
        return isLong;
    }

    TUZUTIL_CONSTEVAL TArgumentKind Wanted() const {
        if (Is("dioucxX"))
            return TArgumentKind::integer;
        if (Is("aAeEfFgG"))
            return TArgumentKind::real;
        return Is("s") ? TArgumentKind::text : Is("p") ? TArgumentKind::pointer : TArgumentKind::none;
    }

    TUZUTIL_CONSTEVAL bool Is(std::string_view characters) const {
        return *fAt && characters.find(*fAt) != std::string_view::npos;
    }

    TUZUTIL_CONSTEVAL TArgumentKind Use(std::size_t number) {
        if (number - 1 >= sizeof...(Arguments))
            format_error::AConversionHasNoArgument();
        fIsUsed[number - 1] = true;
        return fKinds[number - 1];
    }

    char const *fAt;
    std::size_t fRunning = 0;
    bool fIsUsed[sizeof...(Arguments) + 1] = {};
    TArgumentKind fKinds[sizeof...(Arguments) + 1] = {KindOfArgument<Arguments>()..., TArgumentKind::none};
};

template <typename T>
struct TSame {
    using type = T;
};

} // namespace tuzutil

template <typename... Arguments>
class TFormat {
public:
    // A literal converts to its format.
    template <std::size_t size>
    TUZUTIL_CONSTEVAL TFormat(char const (&text)[size]) : fText(text) {
        if constexpr (TUZUTIL_CHECKS_FORMATS)
            tuzutil::TFormatCheck<Arguments...>(text).Check();
    }

    constexpr char const *QueryText() const noexcept { return fText; } // the literal

private:
    char const *fText;
};

// The type of a parameter that takes the format of a message with arguments of these types. The compiler then deduces
// the types of the arguments from the arguments alone.
template <typename... Arguments>
using TFormatOf = TFormat<typename tuzutil::TSame<Arguments>::type...>;

#endif
