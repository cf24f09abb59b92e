#ifndef TUZUTIL_TAGVAR_H
#define TUZUTIL_TAGVAR_H

// TagVar: a value together with its kind: a number, a text, a point in time or a pointer; the argument of a message.
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
// Ownership:  text, date, time and date-time are owned and copied with the value; the characters of a text are shared
//             with the TString that it was made from. A void pointer is borrowed.
// Threads:    one thread at a time, together with the strings that it shares.
// Failures:   TInvalidRequest "type mismatch" (ID 2, recoverable), "not implemented" (ID 1, unrecoverable), "unknown
//             type" (ID 3, unrecoverable). After one of them the left operand of a compound operator is unchanged.
//             Division of integers by zero is the processor's fault, not an exception.
// Surprises:  which kinds go together depends on the operator and on the side. QueryString() looks at three bits of
//             the kind and not at the kind: test IsString() or IsWideString() first, or a number becomes a pointer.
//             A value of a text kind may own no text: on the right of IsEqual() it then equals every text that
//             exists, on the left none, and not itself. A void pointer is never for data from others: written to a
//             stream, it is an address.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TDATETIM.h"
#include "tuzutil/TSTRING.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>

class TiBinaryStream;
class ToBinaryStream;

// TagVarVoidPtr: says that a pointer is meant as an untyped one.
class TUZUTIL_API TagVarVoidPtr {
public:
    TagVarVoidPtr() noexcept = default; // null
    explicit TagVarVoidPtr(void *pointer) noexcept : fPointer(pointer) {}

    void *QueryVoidPtr() const noexcept { return fPointer; }

private:
    void *fPointer = nullptr;
};

class TUZUTIL_API TagVar {
public:
    // The numbers are part of the binary form.
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

    TagVar() noexcept : TagVar(nil) {}
    TagVar(Type type) noexcept : fType(type), fCell(0) {} // a kind that owns something owns nothing yet

    TagVar(short value) noexcept : TagVar(static_cast<int>(value)) {}
    TagVar(int value) noexcept : fType(integer), fCell(static_cast<std::uint32_t>(value)) {}
    TagVar(unsigned short value) noexcept : TagVar(static_cast<unsigned int>(value)) {}
    TagVar(unsigned int value) noexcept : fType(unsignedInteger), fCell(value) {}
    // "type mismatch" for a value that does not fit in 32 bits.
    TagVar(long value);
    TagVar(unsigned long value);
    TagVar(long long value);
    TagVar(unsigned long long value);
    TagVar(double value) noexcept;
    TagVar(TString const &text); // a wide string where the text's Unicode flag is set
    TagVar(char const *text);    // owns a null string for a null pointer
    TagVar(unsigned char const *text);
    TagVar(unsigned short const *text); // a wide string
    TagVar(char16_t const *text);
    TagVar(std::nullptr_t) : TagVar(static_cast<char const *>(nullptr)) {}
    TagVar(TDate value); // the content of a date or a time is not kept
    TagVar(TTime value);
    TagVar(TDateTime const &value);
    TagVar(TagVarVoidPtr const &value) noexcept;

    // Copies what is owned. A kind that does not exist is "unknown type", the left side then has it already.
    TagVar(TagVar const &other);
    TagVar(TagVar &&other) noexcept; // leaves the other nil
    TagVar &operator=(TagVar const &other);
    TagVar &operator=(TagVar &&other);
    ~TagVar() { CleanUp(); }

    int IsType(Type type) const noexcept { return fType == type; }
    int IsNil() const noexcept { return IsType(nil); }
    int IsEndOfArgs() const noexcept { return IsType(endOfArgs); }
    int IsInteger() const noexcept { return IsType(integer); }
    int IsUnsignedInteger() const noexcept { return IsType(unsignedInteger); }
    int IsReal() const noexcept { return IsType(real); }
    int IsString() const noexcept { return IsType(string); }
    int IsWideString() const noexcept { return IsType(wideString); }
    int IsDate() const noexcept { return IsType(date); }
    int IsTime() const noexcept { return IsType(time); }
    int IsDateTime() const noexcept { return IsType(dateTime); }

    // The value of exactly this kind; otherwise "type mismatch".
    operator long() const;
    operator unsigned long() const;
    operator double() const;
    void *QueryVoidPtr() const;
    TDateTime const *QueryDateTime() const; // null where none is owned
    // The owned text, null where there is none. REQUIRES: IsString() or IsWideString(); of the other kinds only nil
    // and time are refused, the rest give their value as an address.
    TString const *QueryString() const;
    operator TString const *() const { return QueryString(); }

    // The value as text: "(nil)", "(endOfArgs)"; "(null)" for a text or date-time that owns none. "not implemented" for
    // date and time.
    std::ostream &StreamOut(std::ostream &out) const;
    std::istream &StreamIn(std::istream &in); // always "not implemented"
    std::ostream &PrintType(std::ostream &out) const;

    // The kind, then the value. A void pointer that 4 bytes cannot hold sets the fail bit and writes nothing.
    ToBinaryStream &WriteToBinaryStream(ToBinaryStream &out) const;
    // Nil where the stream fails before the value is complete, and before "unknown type" is reported.
    TiBinaryStream &ReadFromBinaryStream(TiBinaryStream &in);

    // Arithmetic wraps at 32 bits. Integer with unsigned gives integer, anything with a real gives a real, two texts
    // are concatenated by +=. Division and remainder are unsigned as soon as one side is.
    TagVar &operator+=(TagVar const &other);
    TagVar &operator-=(TagVar const &other);
    TagVar &operator*=(TagVar const &other);
    TagVar &operator/=(TagVar const &other);
    TagVar &operator%=(TagVar const &other);
    // Integers, the left keeps its kind; texts byte by byte.
    TagVar &operator|=(TagVar const &other);
    TagVar &operator&=(TagVar const &other);
    TagVar &operator^=(TagVar const &other);
    // Reals are truncated, a real on the left becomes an integer; the count is taken modulo 32.
    TagVar &operator<<=(TagVar const &other);
    TagVar &operator>>=(TagVar const &other);

    // A text or date-time that is missing on the right makes IsEqual() 1 exactly where the left has one.
    int IsEqual(TagVar const &other) const;
    int IsLessThan(TagVar const &other) const;
    int LogicalAnd(TagVar const &other) const;
    int LogicalOr(TagVar const &other) const;

    int operator!() const;
    TagVar operator~() const;
    TagVar operator-() const;
    TagVar operator+() const;
    TagVar &operator++();
    TagVar &operator--();
    TagVar operator++(int);
    TagVar operator--(int);

private:
    friend struct TagVarAccess;
    struct TOperators;

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
    void CleanUp() noexcept;

    Type fType;
    std::uint64_t fCell; // the number or the pointer, in its first bytes; the others are 0
};

#endif
