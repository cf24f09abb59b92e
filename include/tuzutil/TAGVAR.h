#ifndef TUZUTIL_TAGVAR_H
#define TUZUTIL_TAGVAR_H

// TagVar: a value and its kind: a number, a text, a point in time or a pointer. The arguments of messages are TagVars.
//
// Example:
//     TagVar total(5);
//     total += TagVar(2.5);               // an integer and a real give a real: 7.5
//     TagVar name("inbox");
//     TagVar const none(TagVar::endOfArgs);
//     TagVar const *arguments[] = {&total, &name, &none};
//     for (TagVar const *const *argument = arguments; !(*argument)->IsEndOfArgs(); ++argument)
//         (*argument)->StreamOut(std::cout) << '\n';
//
// Ownership:  A value owns its text, date, time or date-time, and a copy of the value owns a copy. A text shares its
//             characters with the TString from which it was made. A void pointer is borrowed.
// Threads:    One thread at a time may use a value. At the same time, other threads may use strings that share
//             characters with the value.
// Failures:   TInvalidRequest "type mismatch" (ID 2, recoverable), "not implemented" (ID 1, unrecoverable), "unknown
//             type" (ID 3, unrecoverable). A compound operator that throws leaves its left operand unchanged. Dividing
//             an integer by zero causes a fault of the processor, not an exception. On 64-bit ARM, it gives 0, and the
//             remainder is the left operand.
// Surprises:
// - Which kinds can be combined depends on the operator. The result's kind may depend on the order of the operands.
// - Call IsString() or IsWideString() before QueryString(). For other kinds, QueryString() may return a number as a
//   pointer.
// - Many types become values, see the constructors. A pointer to an object that is not text has the kind voidPtr.
// - A void pointer is written to a stream as an address. Never accept a void pointer in data from strangers.
class TagVar;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TDATETIM.h"
#include "tuzutil/TSTRING.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <system_error>
#include <type_traits>
#include <utility>

class TagVar;
class TiBinaryStream;
class ToBinaryStream;

// These traits tell from which types the template constructor of TagVar makes a value. They recognise types of <chrono>
// and <filesystem> by their members. So this header does not include <chrono> and <filesystem> for them.
namespace tuzutil {

// hasToTagVar is true if a type of the program has a function ToTagVar(value) in its namespace. becomesTagVar is true
// if it has an operator TagVar.
template <typename T, typename = void>
inline constexpr bool hasToTagVar = false;
template <typename T>
inline constexpr bool hasToTagVar<T, std::void_t<decltype(ToTagVar(std::declval<T const &>()))>> = true;
template <typename T, typename = void>
inline constexpr bool becomesTagVar = false;
template <typename T>
inline constexpr bool becomesTagVar<T, std::void_t<decltype(std::declval<T const &>().operator TagVar())>> = true;

template <typename T, typename = void>
inline constexpr bool isPath = false;
template <typename T>
inline constexpr bool
    isPath<T, std::void_t<decltype(T::preferred_separator), decltype(std::declval<T const &>().native())>> = true;

template <typename T, typename = void>
inline constexpr bool isDuration = false;
template <typename T>
inline constexpr bool isDuration<
    T, std::void_t<decltype(T::period::num), decltype(T::period::den), decltype(std::declval<T const &>().count())>> =
    true;
template <typename T, typename = void>
inline constexpr bool isMoment = false;
template <typename T>
inline constexpr bool
    isMoment<T, std::void_t<typename T::clock, decltype(std::declval<T const &>().time_since_epoch())>> = true;
// isCalendar is true if a clock has to_time_t(). The times of such a clock are printed as calendar times.
template <typename Clock, typename = void>
inline constexpr bool isCalendar = false;
template <typename Clock>
inline constexpr bool isCalendar<Clock, std::void_t<decltype(&Clock::to_time_t)>> = true;

template <typename T>
inline constexpr bool isError = std::is_same_v<T, std::error_code> || std::is_same_v<T, std::error_condition>;

// isUtf8 is true if a type is char8_t, the type of UTF-8 text. This type has no name in C++17, so isUtf8 excludes the
// other types of one byte.
template <typename T, bool isInteger = std::is_integral_v<T>>
inline constexpr bool isUtf8 = false;
template <typename T>
inline constexpr bool isUtf8<T, true> = sizeof(T) == 1 && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
                                        !std::is_same_v<T, signed char> && !std::is_same_v<T, unsigned char>;
template <typename T>
inline constexpr bool isUtf8Text = false;
template <typename Char, typename Traits>
inline constexpr bool isUtf8Text<std::basic_string_view<Char, Traits>> = isUtf8<Char>;
template <typename Char, typename Traits, typename Allocator>
inline constexpr bool isUtf8Text<std::basic_string<Char, Traits, Allocator>> = isUtf8<Char>;
template <typename T>
inline constexpr bool isUtf8Pointer = std::is_pointer_v<T> &&isUtf8<std::remove_cv_t<std::remove_pointer_t<T>>>;

template <typename T>
inline constexpr bool isScopedEnum = std::is_enum_v<T> && !std::is_convertible_v<T, long long>;

// isAddress is true if a type is a pointer to an object, but not to TagVars, to something volatile, or to characters
// other than char32_t. A pointer to those characters is a text, or cannot become a value. A pointer to TagVars is a
// list of arguments.
template <typename T, typename Object = std::remove_cv_t<std::remove_pointer_t<T>>>
inline constexpr bool isAddress =
    std::is_pointer_v<T> && !std::is_function_v<Object> && !std::is_volatile_v<std::remove_pointer_t<T>> &&
    !isUtf8<Object> && !std::is_same_v<Object, char> && !std::is_same_v<Object, signed char> &&
    !std::is_same_v<Object, unsigned char> && !std::is_same_v<Object, unsigned short> &&
    !std::is_same_v<Object, char16_t> && !std::is_same_v<Object, wchar_t> && !std::is_convertible_v<T, TagVar const *>;

template <typename T>
inline constexpr bool isArgument =
    hasToTagVar<T> || becomesTagVar<T> || isStandardText<T, char> || isStandardText<T, char16_t> || isUtf8Text<T> ||
    isUtf8Pointer<T> || isScopedEnum<T> || isAddress<T> || isPath<T> || isDuration<T> || isMoment<T> || isError<T> ||
    std::is_same_v<T, long double>;

template <typename T>
using IfArgument = std::enable_if_t<!std::is_same_v<T, TagVar> && isArgument<std::decay_t<T const &>>, bool>;

} // namespace tuzutil

// Wraps an untyped pointer, from which a TagVar of the kind voidPtr can be made.
class TUZUTIL_API TagVarVoidPtr {
public:
    TagVarVoidPtr() noexcept = default;                                   // null
    explicit TagVarVoidPtr(void *pointer) noexcept : fPointer(pointer) {} // borrows it

    void *QueryVoidPtr() const noexcept { return fPointer; } // may be null

private:
    void *fPointer = nullptr;
};

#if defined(__clang__) // clang warns because `time` is also a function of the C library
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wshadow"
#endif
class TUZUTIL_API TagVar {
public:
    // These numbers are written to streams (docs/formats.md), so they must not change.
    enum Type : std::uint32_t {
        nil = 0,
        endOfArgs = 1,
        integer = 2,
        unsignedInteger = 3,
        real = 4,
        string = 5,
        wideString = 6,
        date = 7,
        time = 8,
        dateTime = 9,
        voidPtr = 10
    };

    // The kinds above 10 were added later. They are not enumerators, so that a switch over the enumerators of Type
    // remains complete. The operators and QueryString() throw an exception for these kinds. QueryInteger64() and
    // QueryUnsignedInteger64() return the 64-bit numbers.
    static constexpr Type integer64 = static_cast<Type>(64);         // an integer that does not fit in 32 bits
    static constexpr Type unsignedInteger64 = static_cast<Type>(72); // an unsigned integer that does not fit in 32 bits
    static constexpr Type unshown = static_cast<Type>(80); // an argument without a value: messages print it as "?"

    TagVar() noexcept : TagVar(nil) {}                    // nil
    TagVar(Type type) noexcept : fType(type), fCell(0) {} // owns no object, even if the kind can own one

    // These constructors make a value of the kind integer or unsignedInteger.
    TagVar(short value) noexcept : TagVar(static_cast<int>(value)) {}
    TagVar(int value) noexcept : fType(integer), fCell(static_cast<std::uint32_t>(value)) {}
    TagVar(unsigned short value) noexcept : TagVar(static_cast<unsigned int>(value)) {}
    TagVar(unsigned int value) noexcept : fType(unsignedInteger), fCell(value) {}
    // These constructors take longer integers. If the value fits in 32 bits, its kind is integer or unsignedInteger.
    // Otherwise the kind is integer64 or unsignedInteger64.
    TagVar(long value) noexcept;
    TagVar(unsigned long value) noexcept;
    TagVar(long long value) noexcept;
    TagVar(unsigned long long value) noexcept;

    TagVar(double value) noexcept;      // a real
    TagVar(TString const &text);        // a wide string if the text's Unicode flag is set
    TagVar(char const *text);           // for a null pointer, owns a null string
    TagVar(unsigned char const *text);  // as char const *
    TagVar(unsigned short const *text); // a wide string
    TagVar(char16_t const *text);       // a wide string
    // Makes a string value that owns a null string.
    TagVar(std::nullptr_t) : TagVar(static_cast<char const *>(nullptr)) {}
    TagVar(TDate value);                         // of the kind date; the classes TDate and TTime are empty
    TagVar(TTime value);                         // of the kind time
    TagVar(TDateTime const &value);              // owns a copy
    TagVar(TagVarVoidPtr const &value) noexcept; // borrows the pointer

    // Values can also be made of these types:
    // - a type with an operator TagVar, or with a function `TagVar ToTagVar(T const &)` in its namespace
    // - std::basic_string and std::basic_string_view of char, char16_t or char8_t, and char8_t const *: texts. Text of
    //   char8_t stays narrow if it is ASCII, if the system's narrow text is UTF-8, or if the UTF-8 mode is on
    //   (UNICODE.h). Otherwise it becomes a wide string, and malformed parts become U+FFFD.
    // - scoped enums: their numbers. Pointers to objects: the kind voidPtr. A long double: a real
    // - std::filesystem::path: its native text. std::error_code: "No such file or directory (generic:2)"
    // - durations: texts such as "1500ms". Times of the system's clock: UTC, "2001-09-09T01:46:40.250Z", with 0, 3, 6
    //   or 9 decimals of the second, or as durations if they are 10^15 seconds or more from 1970. Times of other
    //   clocks: their durations since the start of the clock
    template <typename T, tuzutil::IfArgument<T> = true>
    TagVar(T const &value) : TagVar(From(static_cast<std::decay_t<T const &> const &>(value))) {}

    // A copy copies the object that the other value owns. If there is no memory for that, the new value owns no object.
    // A move takes the object over, and leaves the other value nil. If the kind of the other value does not exist, all
    // these functions but the move constructor throw "unknown type". If an assignment has thrown, the left value has
    // the kind of the other value, and owns no object.
    TagVar(TagVar const &other);
    TagVar(TagVar &&other) noexcept;
    TagVar &operator=(TagVar const &other);
    TagVar &operator=(TagVar &&other); // NOLINT(bugprone-exception-escape)
    ~TagVar() {
        if ((fType >= string && fType <= dateTime) || (static_cast<std::uint32_t>(fType) & kept & innerKinds) != 0)
            CleanUp();
    }

    // These functions return 1 if the value is of this kind, and otherwise 0.
    int IsType(Type type) const noexcept { return fType == type; }
    int IsNil() const noexcept { return IsType(nil); }
    int IsEndOfArgs() const noexcept { return IsType(endOfArgs); }
    int IsInteger() const noexcept { return IsType(integer); }
    int IsUnsignedInteger() const noexcept { return IsType(unsignedInteger); }
    int IsInteger64() const noexcept { return IsType(integer64); }
    int IsUnsignedInteger64() const noexcept { return IsType(unsignedInteger64); }
    int IsReal() const noexcept { return IsType(real); }
    int IsString() const noexcept { return IsType(string); }
    int IsWideString() const noexcept { return IsType(wideString); }
    int IsDate() const noexcept { return IsType(date); }
    int IsTime() const noexcept { return IsType(time); }
    int IsDateTime() const noexcept { return IsType(dateTime); }

    // These operators return the value as a long if its kind is integer, as an unsigned long if it is unsignedInteger,
    // and as a double if it is real. They throw "type mismatch" for every other kind.
    operator long() const;
    operator unsigned long() const;
    operator double() const;
    // These functions return the number of any of the four integer kinds. They throw "type mismatch" for other kinds,
    // and if the result cannot hold the number.
    long long QueryInteger64() const;
    unsigned long long QueryUnsignedInteger64() const;
    // These functions return the pointer of a voidPtr, or the date-time of a dateTime. They throw "type mismatch" for
    // other kinds.
    void *QueryVoidPtr() const;
    TDateTime const *QueryDateTime() const; // null if the value owns none
    // Returns the owned text, or null. REQUIRES: IsString() or IsWideString() returns 1. This function tests only three
    // bits of the kind. It throws "type mismatch" for nil, time and the kinds above 10. For the remaining kinds, which
    // are not texts, it returns the value itself as an address.
    TString const *QueryString() const;
    // Does the same as QueryString().
    operator TString const *() const { return QueryString(); }

    // Writes the value as text. Writes "(nil)" and "(endOfArgs)" for values of these kinds, and "(null)" if a text or
    // date-time value owns no object. Throws "not implemented" for the kinds date and time.
    std::ostream &StreamOut(std::ostream &out) const;
    std::istream &StreamIn(std::istream &in); // always throws "not implemented"
    // Writes the name of the kind, for example "unsignedInteger". Writes "unknown(", the kind as a hexadecimal number
    // and ")" if the kind does not exist.
    std::ostream &PrintType(std::ostream &out) const;

    // Writes the kind and then the value (docs/formats.md). A void pointer that does not fit in 4 bytes sets the fail
    // bit and writes nothing.
    ToBinaryStream &WriteToBinaryStream(ToBinaryStream &out) const;
    // Reads a new value into this one. If the stream fails before the new value is complete, this value becomes nil. If
    // the kind in the stream does not exist, this value becomes nil, and "unknown type" is thrown.
    TiBinaryStream &ReadFromBinaryStream(TiBinaryStream &in);

    // These operators compute with numbers, and += also joins two texts. All operators from here on throw "unknown
    // type" for the kinds above 10.
    //
    // Arithmetic on integers wraps at 32 bits. A signed and an unsigned integer give a signed one. A real and any
    // number give a real, except that %= does not accept reals. Division and remainder of integers are computed
    // unsigned if one operand is unsigned.
    TagVar &operator+=(TagVar const &other);
    TagVar &operator-=(TagVar const &other);
    TagVar &operator*=(TagVar const &other);
    TagVar &operator/=(TagVar const &other);
    TagVar &operator%=(TagVar const &other);
    // These operators combine two integers bit by bit, or two texts byte by byte. An integer on the left keeps its
    // kind.
    TagVar &operator|=(TagVar const &other);
    TagVar &operator&=(TagVar const &other);
    TagVar &operator^=(TagVar const &other);
    // These operators truncate reals, and a real on the left becomes an integer. The number of bits is taken modulo 32.
    TagVar &operator<<=(TagVar const &other);
    TagVar &operator>>=(TagVar const &other);

    // These functions compare two values, and return 1 or 0. Numbers are compared as reals if one of them is a real. If
    // both are integers, IsEqual() compares their 32 bits, so -1 equals 4294967295. IsLessThan() compares without sign
    // only if both are unsigned. Two values of the kind nil are equal, and so are two of the kind endOfArgs. A text can
    // be compared with a text, and a date-time with a date-time.
    //
    // A text value may own no text. If such a value is the right operand of IsEqual(), it equals every text value that
    // owns a text. If such a value is the left operand, it equals nothing, not even itself. For IsLessThan(), such a
    // value is less than every text value that owns a text. Values of kind dateTime that own no date-time behave in the
    // same way.
    int IsEqual(TagVar const &other) const;
    int IsLessThan(TagVar const &other) const;
    // These functions take only numbers, and return 1 or 0. A number is true unless it is 0. A real counts as the
    // 32-bit integer that it becomes without its fraction: 0.5 is false.
    int LogicalAnd(TagVar const &other) const;
    int LogicalOr(TagVar const &other) const;

    // Returns 1 for a number that is not true, and for a text value that owns no text. Takes only numbers and texts.
    int operator!() const;
    TagVar operator~() const; // only of integers and unsigned integers
    TagVar operator-() const; // only of integers and reals
    TagVar operator+() const; // a copy, only of numbers
    // These operators add or subtract 1, or one second in the case of a date-time. They take only numbers and
    // date-times.
    TagVar &operator++();
    TagVar &operator--();
    TagVar operator++(int);
    TagVar operator--(int);

private:
    friend struct TagVarAccess;
    friend class TTextMessage;
    friend class TTracePoint;
    struct TOperators;

    // The arguments of messages and trace points may have these kinds. Other values never have them, and no program
    // sees them. In a value of kind `kept` or `keptWide`, the cell points to the buffer of a text, because a TString
    // object would need an allocation. For a null text, the cell is 0. A value of the other kinds borrows its text: the
    // cell of `lentChars` is a char const *, and the cell of `lentString` or `lentWide` is a TString const *. A copy of
    // a borrowed text is of kind `kept` or `keptWide`.
    enum TInner : std::uint32_t {
        innerKinds = 0x70000000, // a kind with one of these bits is an inner kind
        kept = 0x10000000 | string,
        keptWide = 0x10000000 | wideString,
        lentString = 0x20000000 | string,
        lentWide = 0x20000000 | wideString,
        lentChars = 0x40000000 | string
    };

    static bool Exists(Type type) noexcept {
        return type <= voidPtr || type == integer64 || type == unsignedInteger64 || type == unshown;
    }
    template <typename T>
    static TagVar From(T const &value);
    static TString Utf8(char const *text, std::size_t length);
    static TString Failure(int number, char const *category, char const *text);
    // These functions take a number of units of time. A unit has numerator / denominator seconds.
    static TString Duration(long long count, long long numerator, long long denominator);
    static TString Duration(double count, long long numerator, long long denominator);
    static TString Moment(long long count, long long numerator, long long denominator);
    static TString Moment(double count, long long numerator, long long denominator);

    std::uint32_t Word() const noexcept { return static_cast<std::uint32_t>(fCell); }
    double Real() const noexcept;
    template <typename T>
    T *Object() const noexcept {
        return reinterpret_cast<T *>(static_cast<std::uintptr_t>(fCell));
    }
    void SetWord(Type type, std::uint32_t word) noexcept;
    void SetReal(double value) noexcept;
    void SetObject(Type type, void const *object) noexcept;
    void CopyOwned(TagVar const &other);
    static TagVar Keep(TString const &text) noexcept; // of kind `kept` or `keptWide`
    static TagVar Keep(char const *text);
    static TagVar Keep(TagVar const &value); // a copy; of kind `kept` or `keptWide` if the value owns a text
    static TagVar Lend(TString const &text) noexcept {
        TagVar value(static_cast<Type>(text.IsUnicode() ? lentWide : lentString));
        value.fCell = reinterpret_cast<std::uintptr_t>(&text);
        return value;
    }
    static TagVar Lend(char const *text) noexcept {
        TagVar value(static_cast<Type>(lentChars));
        value.fCell = reinterpret_cast<std::uintptr_t>(text);
        return value;
    }
    void Own(); // turns an inner kind into string or wideString, with a TString object; throws if there is no memory
    bool IsInner() const noexcept {
        std::uint32_t const type = fType;
        return __builtin_expect(type > 0xFFFF, 0) &&
               (type == kept || type == keptWide || type == lentString || type == lentWide || type == lentChars);
    }
    ToBinaryStream &WriteLong(ToBinaryStream &out) const;
    void ReadLong(TiBinaryStream &in);
    void CleanUp() noexcept;

    Type fType;
    std::uint64_t fCell; // the number or the pointer in the first bytes; the other bytes are 0
};
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

template <typename T>
TagVar TagVar::From(T const &value) {
    using namespace tuzutil;
    if constexpr (hasToTagVar<T>) {
        return ToTagVar(value);
    } else if constexpr (becomesTagVar<T>) {
        return value.operator TagVar();
    } else if constexpr (isStandardText<T, char> || isStandardText<T, char16_t>) {
        return TagVar(TString(value));
    } else if constexpr (isUtf8Text<T>) {
        return TagVar(Utf8(reinterpret_cast<char const *>(value.data()), value.size()));
    } else if constexpr (isUtf8Pointer<T>) {
        auto const *const text = reinterpret_cast<char const *>(value);
        return text ? TagVar(Utf8(text, TString::lengthOf(text))) : TagVar(text);
    } else if constexpr (isScopedEnum<T>) {
        return TagVar(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (isAddress<T>) {
        return TagVar(TagVarVoidPtr(const_cast<void *>(static_cast<void const *>(value))));
    } else if constexpr (isPath<T>) {
        auto const &name = value.native();
        if constexpr (sizeof name[0] == 1)
            return TagVar(TString(name));
        else
            return TagVar(TString(std::u16string(name.begin(), name.end())));
    } else if constexpr (isError<T>) {
        return TagVar(Failure(value.value(), value.category().name(), value.message().c_str()));
    } else if constexpr (isDuration<T> || isMoment<T>) {
        using Period = typename T::period;
        using Count = std::conditional_t<std::is_floating_point_v<typename T::rep>, double, long long>;
        if constexpr (isDuration<T>)
            return TagVar(Duration(static_cast<Count>(value.count()), Period::num, Period::den));
        else if constexpr (isCalendar<typename T::clock>)
            return TagVar(Moment(static_cast<Count>(value.time_since_epoch().count()), Period::num, Period::den));
        else
            return From(value.time_since_epoch());
    } else {
        return TagVar(static_cast<double>(value));
    }
}

#endif
