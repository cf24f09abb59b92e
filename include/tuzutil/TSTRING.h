#ifndef TUZUTIL_TSTRING_H
#define TUZUTIL_TSTRING_H

// TString: the library's one text type, a handle to a shared, counted buffer of narrow or 16-bit text.
//
// Example:
//     TString line("RETR 17");
//     unsigned int blank = line.indexOf(' ');         // 5: positions are 1-based, 0 means "not found"
//     TString verb = blank ? line.left(blank - 1) : line;       // "RETR"
//     TString number = blank ? line.mid(blank + 1) : TString(); // "17"
//     if (verb == "RETR" && number.isDigits())
//         std::cout << number.asInt() << '\n';        // 17
//     for (TString const &word : line.split(' '))
//         std::cout << word.view().size() << '\n';    // 4, 2
//     std::string const copy(line);                   // all bytes; TString(copy) takes them all
//
// Ownership:  Copies share one buffer; the last of them deallocates it. Pointers and views of the data are valid until
//             the string from which they come changes, or until the buffer is deallocated.
// Threads:    Several threads may read and copy a string that nobody changes. Any other string belongs to one thread at
//             a time. Strings of different threads may share a buffer, if nobody writes into this buffer.
// Failures:   TInvalidRequest (ID 1, recoverable) for an invalid position or count. TOutOfMemory if memory is lacking,
//             or if a text would have 0xFFFFFFF0 bytes or more. Other misuse gives 0, a null string or no change.
// Surprises:
// - A null string has no buffer, a nil string an empty one: nil.isEqual(null) is true, but null.isEqual(nil) is false.
// - Writing in bounds by operator[], a pointer or Wipe() changes all strings that share the buffer: see MakeUnique().
// - Lengths and positions count bytes. Only lengthOf() of 16-bit text, and indexOf() of a 16-bit character, do not.
// - TString(0) and TString(n + 1) do not compile if n is an int: 0 could mean a null string. Use TString::Number().
// - A null string gives an empty view and an empty standard string; a string made from an empty view is nil.
class TString;

#include "tuzutil/EXPORT.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#if __cplusplus >= 202002L
#include <version>
#endif
#if defined(__cpp_lib_three_way_comparison)
#include <compare>
#endif
#if defined(__cpp_lib_format)
#include <format>
#endif

namespace tuzutil {

// Points to a byte. While the byte is not 0, the process certainly has only one thread, and strings change the counts
// in buffers without atomic instructions. While the byte is 0, there may be several threads.
TUZUTIL_API extern char const *const singleThreaded;

// The data of all null strings. The array is inline and so has one address. Therefore begin() and end() of a null
// string point into the same array.
inline constexpr char noText[] = "";

// isStandardText is true if T is a standard string or string view whose characters are of type Char.
template <typename T, typename Char>
inline constexpr bool isStandardText = false;
template <typename Char, typename Traits>
inline constexpr bool isStandardText<std::basic_string_view<Char, Traits>, Char> = true;
template <typename Char, typename Traits, typename Allocator>
inline constexpr bool isStandardText<std::basic_string<Char, Traits, Allocator>, Char> = true;

template <typename T>
using IfNarrow = std::enable_if_t<isStandardText<T, char>, bool>;
template <typename T>
using IfWide = std::enable_if_t<isStandardText<T, char16_t>, bool>;

template <typename T>
std::string_view View(T const &text) noexcept {
    return {text.data(), text.size()};
}

// isText is true if T is a type of text that a comparison with a TString converts to a TString. The types are listed
// one by one. For a type of text that is not listed, the compiler could convert the TString to a pointer instead, and
// compare addresses.
template <typename T>
inline constexpr bool isText =
    std::is_same_v<T, char const *> || std::is_same_v<T, char *> || std::is_same_v<T, unsigned char const *> ||
    std::is_same_v<T, unsigned char *> || std::is_same_v<T, unsigned short const *> ||
    std::is_same_v<T, unsigned short *> || std::is_same_v<T, char16_t const *> || std::is_same_v<T, char16_t *> ||
    std::is_same_v<T, std::nullptr_t> || isStandardText<T, char16_t>;

template <typename T>
using IfText = std::enable_if_t<isText<std::decay_t<T>>, bool>;

// isNumber is true if T is an integer type, but not bool or a character type. isSmallNumber is true if isNumber is true
// and TString has no constructor for exactly this type.
template <typename T>
inline constexpr bool isSmallNumber =
    std::is_same_v<T, signed char> || std::is_same_v<T, unsigned char> || std::is_same_v<T, short> ||
    std::is_same_v<T, unsigned short> || std::is_same_v<T, unsigned int>;
template <typename T>
inline constexpr bool isNumber =
    isSmallNumber<T> || std::is_same_v<T, int> || std::is_same_v<T, long> || std::is_same_v<T, unsigned long> ||
    std::is_same_v<T, long long> || std::is_same_v<T, unsigned long long>;

} // namespace tuzutil

// The layout of a buffer. It is one allocation, and the data follow the header:
//
//   | count | flags | length | capacity | data: length bytes | 0 0 (0) |
//     4       4       4        4
//
// At least two zero bytes always follow the data, and three if the length is odd. Therefore the data also end with a
// zero if they are read as 16-bit characters.
struct TStringBuffer {
    std::uint32_t count;    // handles that share the buffer
    std::uint32_t flags;    // wipeOnDelete, unicode
    std::uint32_t length;   // bytes of data
    std::uint32_t capacity; // bytes of data for which there is room

    enum Flag : std::uint32_t { wipeOnDelete = 1, unicode = 2 };

    char *Data() noexcept { return reinterpret_cast<char *>(this + 1); }

    // Zeroes the two or three bytes after the data, for which there is always room.
    void Terminate() noexcept {
        char *const end = Data() + length;
        end[0] = 0;
        end[1] = 0;
        if (length & 1)
            end[2] = 0;
    }

    void AddHolder() noexcept {
        if (*tuzutil::singleThreaded)
            ++count;
        else
            __atomic_fetch_add(&count, 1, __ATOMIC_RELAXED);
    }
    // Removes one holder, and returns whether nobody holds the buffer any more. If the caller is the only holder, the
    // count may stay as it is, because nobody else sees it.
    bool DropHolder() noexcept {
        if (*tuzutil::singleThreaded)
            return --count == 0;
        return !IsShared() || __atomic_sub_fetch(&count, 1, __ATOMIC_ACQ_REL) == 0;
    }
    // If this function returns false, everything that former holders did with the buffer has happened before the call.
    bool IsShared() const noexcept { return __atomic_load_n(&count, __ATOMIC_ACQUIRE) != 1; }
};

// Defines an operator between a string and another form of text. The operator is a friend, so the compiler considers it
// only if one of the operands is a string. The operator never competes with operators for the texts of other libraries.
#define TUZUTIL_COMPARE_WITH_TEXT(Class, If, op)                                                                       \
    template <typename T>                                                                                              \
    friend tuzutil::If<T> operator op(Class const &a, T const &b) {                                                    \
        return a op Class(b);                                                                                          \
    }                                                                                                                  \
    template <typename T>                                                                                              \
    friend tuzutil::If<T> operator op(T const &a, Class const &b) {                                                    \
        return Class(a) op b;                                                                                          \
    }

// Defines an operator between a string and a standard narrow text. The operator does not make a string of that text.
// IsSame() and IsLess() take a view of the text.
#define TUZUTIL_COMPARE_IN_PLACE(op, result)                                                                           \
    template <typename T>                                                                                              \
    friend tuzutil::IfNarrow<T> operator op(TString const &left, T const &right) noexcept {                            \
        TString const &a = left;                                                                                       \
        std::string_view const b = tuzutil::View(right);                                                               \
        return result;                                                                                                 \
    }                                                                                                                  \
    template <typename T>                                                                                              \
    friend tuzutil::IfNarrow<T> operator op(T const &left, TString const &right) noexcept {                            \
        std::string_view const a = tuzutil::View(left);                                                                \
        TString const &b = right;                                                                                      \
        return result;                                                                                                 \
    }

class TUZUTIL_API TString {
    template <typename I>
    using IfPosition = std::enable_if_t<std::is_integral_v<I> || (std::is_enum_v<I> && std::is_convertible_v<I, int>)>;
    template <typename Char>
    using IfChar8 = std::enable_if_t<std::is_integral_v<Char> && sizeof(Char) == 1 && !std::is_volatile_v<Char> &&
                                     !std::is_same_v<Char, bool> && !std::is_same_v<Char, char> &&
                                     !std::is_same_v<Char, signed char> && !std::is_same_v<Char, unsigned char>>;

public:
    static constexpr unsigned int fsToEnd = ~0u; // as a count: all; as the start of lastIndexOf: from the end

    TString() noexcept : fBuffer(nullptr) {}               // null
    TString(std::nullptr_t) noexcept : fBuffer(nullptr) {} // null
    TString(char const *text);                             // null for a null pointer, nil for ""
    TString(unsigned char const *text);                    // as char const *
    TString(unsigned short const *text); // 16-bit text up to the first zero character; sets the Unicode flag
    TString(char16_t const *text);       // as unsigned short const *
    // Takes UTF-8 text of type char8_t, if the compiler has this type.
    template <typename Char, typename = IfChar8<Char>>
    TString(Char const *text) : TString(reinterpret_cast<char const *>(text)) {}
    // Makes a string of exactly `count` bytes. The bytes are copied from `bytes`, zero bytes included. If `bytes` is
    // null, the string consists of `count` times `fill`. In this case, a count of more than 1 GiB throws "Bad count for
    // this String" before memory is allocated. Such a count comes from an error, for example indexOf() - 1 if nothing
    // was found.
    TString(void const *bytes, unsigned int count, char fill);
    // Copies the bytes of a standard string or view, zero bytes included. The result is never null.
    template <typename Text, tuzutil::IfNarrow<Text> = true>
    TString(Text const &text)
        : TString(text.empty() ? static_cast<void const *>("") : text.data(), CheckedLength(text.size()), ' ') {}
    // Copies standard 16-bit text, zero characters included, and sets the Unicode flag. The result is never null.
    template <typename Text, tuzutil::IfWide<Text> = true>
    TString(Text const &text)
        : TString(text.empty() ? static_cast<void const *>("") : text.data(),
                  CheckedLength(std::uint64_t{text.size()} * 2), ' ') {
        SetUnicode(1);
    }
    // These constructors write the number as decimal text, independent of the locale.
    TString(long number);
    TString(unsigned long number);
    TString(long long number);
    TString(unsigned long long number);
    template <typename I, std::enable_if_t<tuzutil::isSmallNumber<I>, bool> = true>
    TString(I number) : TString(std::conditional_t<std::is_signed_v<I>, long, unsigned long>{number}) {}
    // Takes only a variable of type int. A literal or another value of type int does not compile, because TString(0)
    // could mean a null string as well as "0".
    TString(int const &number) : TString(long{number}) {}
    TString(int &&number) = delete;
    // Returns the decimal text of a value of any integer type.
    template <typename I, std::enable_if_t<tuzutil::isNumber<I>, bool> = true>
    static TString Number(I number) {
        return TString(std::conditional_t<std::is_signed_v<I>, long long, unsigned long long>{number});
    }

    TString(TString const &other) noexcept : fBuffer(other.fBuffer) { Share(); }
    TString(TString &&other) noexcept : fBuffer(other.fBuffer) { other.fBuffer = nullptr; } // leaves `other` null
    ~TString() { Release(); }
    TString &operator=(TString const &other) noexcept;
    TString &operator=(TString &&other) noexcept;

    // These functions return the number of characters before the first zero character, or 0 for a null pointer.
    static unsigned int lengthOf(char const *text);
    static unsigned int lengthOf(unsigned char const *text);
    static unsigned int lengthOf(unsigned short const *text);
    static unsigned int lengthOf(char16_t const *text);

    unsigned int length() const noexcept { return fBuffer ? fBuffer->length : 0; } // bytes; 0 for a null string
    unsigned int size() const noexcept { return length(); }                        // the same as length()

    bool empty() const noexcept { return length() == 0; } // also for a null string

    // These functions return the data, never null. A zero follows the data. A null string counts as empty.
    char const *data() const noexcept { return fBuffer ? fBuffer->Data() : tuzutil::noText; }
    char const *c_str() const noexcept { return data(); }
    char const *begin() const noexcept { return data(); }
    char const *end() const noexcept { return data() + length(); }
    std::string_view view() const noexcept { return {data(), length()}; }
    // Returns the data as 16-bit characters, whatever the Unicode flag says. An odd last byte is left out.
    std::u16string_view u16view() const noexcept {
        return {fBuffer ? reinterpret_cast<char16_t const *>(fBuffer->Data()) : u"", length() / 2};
    }
    explicit operator std::string() const { return std::string(view()); } // all bytes, with zero bytes
    explicit operator std::u16string() const { return std::u16string(u16view()); }

    // These operators return the data, or null for a null string. Writing through the pointer changes every string that
    // shares the buffer.
    operator char *() const noexcept { return fBuffer ? fBuffer->Data() : nullptr; }
    operator unsigned char *() const noexcept { return reinterpret_cast<unsigned char *>(static_cast<char *>(*this)); }
    operator unsigned short *() const noexcept {
        return reinterpret_cast<unsigned short *>(static_cast<char *>(*this));
    }
    operator void const *() const noexcept { return static_cast<char *>(*this); }

    explicit operator bool() const noexcept { return fBuffer != nullptr; }        // false for a null string
    bool operator!() const noexcept { return IsNull(); }                          // true for a null string
    bool IsNull() const noexcept { return fBuffer == nullptr; }                   // true for a string without a buffer
    bool IsNilString() const noexcept { return fBuffer && fBuffer->length == 0; } // true for an empty buffer

    // These functions are about the flags of the buffer. Setting a flag changes all strings that share the buffer. A
    // null string has no flags, and setting one does nothing.
    bool IsUnicode() const noexcept { return HasFlag(TStringBuffer::unicode); }
    void SetUnicode(int on) noexcept { SetFlag(TStringBuffer::unicode, on); }
    bool IsWipeOnDelete() const noexcept { return HasFlag(TStringBuffer::wipeOnDelete); }
    void SetWipeOnDelete(int on) noexcept { SetFlag(TStringBuffer::wipeOnDelete, on); }

    std::ostream &Print(std::ostream &out) const; // writes raw bytes, unformatted; "<NULL>" for a null string

    // Returns the byte at a position from 1 to length(). Throws "Bad index value for this String" for any other
    // position.
    char operator[](unsigned int position) const;
    // Returns the byte at a position for writing. A shared buffer is not copied, so all strings that share it change.
    // If the position is beyond the end, this string first gets a buffer of its own, in which zero bytes are appended
    // up to the position. Position 0, and a position over 1 GiB beyond the end, throw "Bad index value for this
    // String".
    char &operator[](unsigned int position);
    // These overloads take all other integer and enumeration types. A negative position throws "Bad index value for
    // this String".
    template <typename I, typename = IfPosition<I>>
    char operator[](I position) const {
        return (*this)[CheckedPosition(position)];
    }
    template <typename I, typename = IfPosition<I>>
    char &operator[](I position) {
        return (*this)[CheckedPosition(position)];
    }

    // These operators concatenate. A null char const * counts as empty text. The result of `+ char const *` has no
    // flags. The result of `+ TString` has the flags of the left operand, or of the right one if the left one is null.
    // If `+= TString` is applied to a null string, this string gets the flags of the other.
    TString operator+(TString const &other) const;
    TString operator+(char const *text) const;
    // This operator is a template. If a program has an operator of its own for these operands that is not a template,
    // the compiler prefers that one.
    template <typename Char, std::enable_if_t<std::is_same_v<Char, char>, bool> = true>
    friend TString operator+(Char const *left, TString const &right) {
        return TString(left) + right;
    }
    template <typename Text, tuzutil::IfNarrow<Text> = true>
    friend TString operator+(Text const &left, TString const &right) {
        return TString(left) + right;
    }
    TUZUTIL_INLINE TString &operator+=(char const *text) {
        return text && AppendInPlace(text, std::strlen(text)) ? *this : AppendText(text);
    }
    TString &operator+=(TString const &other);
    template <typename Text, tuzutil::IfNarrow<Text> = true>
    TString &operator+=(Text const &text) {
        return IsNull() ? *this = TString(text) : Append(text.data(), CheckedLength(text.size()));
    }
    // Appends a character. Only a char counts as a character: an integer of another type is appended as decimal text.
    template <typename Char, std::enable_if_t<std::is_same_v<Char, char>, bool> = true>
    TString &operator+=(Char c) {
        return IsNull() ? *this = TString(&c, 1, ' ') : Append(&c, 1);
    }

    // These operators combine the bytes at equal positions, up to the end of the shorter string. If one of the strings
    // is null, nothing changes.
    TString &operator^=(TString const &other);
    TString &operator|=(TString const &other);
    TString &operator&=(TString const &other);

    // These functions return at most `count` bytes: left() the first ones, right() the last ones, and mid() those from
    // `start` on. If the string has fewer bytes, the result is shorter. The result is null only if this string is null.
    // A start of 0 throws "Bad value to truncate this String".
    TString left(unsigned int count) const;
    TString right(unsigned int count) const;
    TString mid(unsigned int start, unsigned int count = fsToEnd) const;
    // Returns the pieces between the separators. There is one more piece than there are separators, and pieces may be
    // empty. A nil string gives one nil piece, and a null string gives none.
    std::vector<TString> split(char separator) const;
    // Returns the text from `start` to the end, or null if `start` is beyond the end. A start of 0 throws "Bad value to
    // truncate this String".
    TString subString(unsigned int start) const;
    // Returns exactly `count` bytes from `start` on, padded with `fill`. A start of 0 throws "Bad value to truncate
    // this String", and so does a count above length() plus 1 GiB.
    TString subString(unsigned int start, unsigned int count, char fill = ' ') const;
    // Keeps only the bytes before `start`. A start beyond the end changes nothing. A start of 0 throws "Bad value to
    // truncate this String".
    TString &remove(unsigned int start);
    // Removes `count` bytes from `start` on, or all bytes from `start` on if there are fewer. A start of 0 throws "Bad
    // value to truncate this String".
    TString &remove(unsigned int start, unsigned int count);
    // These functions replace up to `count` occurrences of `pattern` at or after `start`. If anything was replaced,
    // this string then has no flags. An empty pattern inserts the replacement at `start`, once for each byte from there
    // on. A start of 0 throws "Bad value for the starting position", unless `count` is 0.
    TString &change(char const *pattern, TString const &replacement, unsigned int start = 1,
                    unsigned int count = fsToEnd);
    TString &change(char const *pattern, char const *replacement, unsigned int start = 1, unsigned int count = fsToEnd);
    // These functions change the letter case by the rules of the current locale, up to the first zero byte.
    TString &lowerCase();
    TString &upperCase();

    // These searches return a 1-based position, or 0 for "not found".
    unsigned int indexOf(char c, unsigned int start = 1) const; // start 0 counts as 1
    // Returns a position in 16-bit characters, counted from 1, or 0 for "not found". A start of 0 finds nothing.
    unsigned int indexOf(unsigned short c, unsigned int start = 1) const;
    unsigned int indexOf(char16_t c, unsigned int start = 1) const {
        return indexOf(static_cast<unsigned short>(c), start);
    }
    // These searches return a 1-based position, or 0 for "not found". A start of 0 throws "Bad value for the starting
    // position". indexOf() finds an empty text at `start`, if `start` is not beyond the end.
    unsigned int indexOf(char const *text, unsigned int start = 1) const;
    unsigned int indexOfAnyOf(char const *set, unsigned int start = 1) const;
    unsigned int indexOfAnyBut(char const *set, unsigned int start = 1) const;
    // Searches backwards from `start`, and returns a 1-based position, or 0 for "not found". Finds nothing if `start`
    // is beyond the end, unless `start` is fsToEnd. A start of 0 throws "Bad value for the starting position".
    unsigned int lastIndexOf(char c, unsigned int start = fsToEnd) const;

    bool isEqual(TString const &other) const noexcept;                           // for null and nil see Surprises
    bool IsEqual(TString const &other) const noexcept { return isEqual(other); } // the same as isEqual()
    // Compares unsigned bytes. Null is less than every other string, and a text is less than a longer one that begins
    // with it.
    bool isLessThan(TString const &other) const noexcept;
    // These operators compare two strings. a == b and a != b call a.isEqual(b), so the order of the operands matters if
    // one is null and the other nil. The other operators call isLessThan().
    friend bool operator==(TString const &a, TString const &b) noexcept { return a.isEqual(b); }
    friend bool operator!=(TString const &a, TString const &b) noexcept { return !a.isEqual(b); }
    friend bool operator<(TString const &a, TString const &b) noexcept { return a.isLessThan(b); }
    friend bool operator>(TString const &a, TString const &b) noexcept { return b.isLessThan(a); }
    friend bool operator<=(TString const &a, TString const &b) noexcept { return !b.isLessThan(a); }
    friend bool operator>=(TString const &a, TString const &b) noexcept { return !a.isLessThan(b); }
    // These operators compare a string with other forms of text. A standard text counts as the string that is made from
    // it, which is never null.
    TUZUTIL_COMPARE_WITH_TEXT(TString, IfText, ==)
    TUZUTIL_COMPARE_WITH_TEXT(TString, IfText, !=)
    TUZUTIL_COMPARE_WITH_TEXT(TString, IfText, <)
    TUZUTIL_COMPARE_WITH_TEXT(TString, IfText, >)
    TUZUTIL_COMPARE_WITH_TEXT(TString, IfText, <=)
    TUZUTIL_COMPARE_WITH_TEXT(TString, IfText, >=)
    TUZUTIL_COMPARE_IN_PLACE(==, TString::IsSame(a, b))
    TUZUTIL_COMPARE_IN_PLACE(!=, !TString::IsSame(a, b))
    TUZUTIL_COMPARE_IN_PLACE(<, TString::IsLess(a, b))
    TUZUTIL_COMPARE_IN_PLACE(>, TString::IsLess(b, a))
    TUZUTIL_COMPARE_IN_PLACE(<=, !TString::IsLess(b, a))
    TUZUTIL_COMPARE_IN_PLACE(>=, !TString::IsLess(a, b))
#if defined(__cpp_lib_three_way_comparison)
    // Follows the order of isLessThan(). Null is less than nil, although nil == null is true.
    friend std::strong_ordering operator<=>(TString const &a, TString const &b) noexcept {
        return a < b ? std::strong_ordering::less : b < a ? std::strong_ordering::greater : std::strong_ordering::equal;
    }
    template <typename T, tuzutil::IfText<T> = true>
    friend std::strong_ordering operator<=>(TString const &a, T const &b) {
        return a <=> TString(b);
    }
    template <typename T, tuzutil::IfNarrow<T> = true>
    friend std::strong_ordering operator<=>(TString const &a, T const &b) noexcept {
        return a < b ? std::strong_ordering::less : b < a ? std::strong_ordering::greater : std::strong_ordering::equal;
    }
#endif
    // These functions return true if `full` begins with this string and `minimum` is at most length().
    bool isAbbreviationFor(TString const &full, unsigned int minimum) const noexcept;
    bool isAbbreviationFor(char const *full, unsigned int minimum) const noexcept;

    // These functions tell whether the string consists of digits. They return false for a null string, and true for a
    // nil string. Binary digits are 0 and 1.
    bool isDigits() const noexcept;
    bool isBinaryDigits() const noexcept;

    // These functions return the number that strtol() or strtoul() would read at the start of the text with a 32-bit
    // long. A number out of range gives the nearest value.
    int asInt() const noexcept;
    unsigned int asUnsigned() const noexcept;

    double asDouble() const noexcept; // the number that strtod() reads, with the decimal point of the current locale

    void MakeUnique(); // gives this string a buffer of its own if the present one is shared
    // Returns the same text, with its flags, in a new buffer that is not shared. Writing into this string then does not
    // change the copy. The copy of a null string is null.
    TString Copy() const;

private:
    friend struct TStringAccess;

    explicit TString(TStringBuffer *buffer) noexcept : fBuffer(buffer) {
        Share();
    } // adds one to the buffer's count

    TString Part(unsigned int offset, unsigned int count) const;
    static TStringBuffer *AllocateBuffer(std::uint64_t length, std::uint32_t count, std::uint32_t flags);
    static unsigned int CheckedLength(std::uint64_t length);
    static unsigned int BadIndex();
    template <typename I>
    static unsigned int CheckedPosition(I position) {
        if constexpr (std::is_enum_v<I> || std::is_signed_v<I>) {
            if (static_cast<std::int64_t>(position) < 0)
                return BadIndex();
        }
        auto const value = static_cast<std::uint64_t>(position);
        return value > 0xFFFFFFFFu ? BadIndex() : static_cast<unsigned int>(value);
    }

    static bool IsSame(TString const &a, std::string_view b) noexcept {
        return !a.IsNull() && a.view() == b;
    }
    static bool IsSame(std::string_view a, TString const &b) noexcept {
        return a == b.view();
    }
    static bool IsLess(TString const &a, std::string_view b) noexcept {
        return a.IsNull() || a.view() < b;
    }
    static bool IsLess(std::string_view a, TString const &b) noexcept {
        return a < b.view();
    }
    bool HasFlag(std::uint32_t flag) const noexcept {
        return fBuffer && (fBuffer->flags & flag);
    }
    void SetFlag(std::uint32_t flag, int on) noexcept;
    void Share() noexcept {
        if (fBuffer)
            fBuffer->AddHolder();
    }
    void Release() noexcept {
        if (fBuffer)
            DecrementAndFree();
    }
    void DecrementAndFree() noexcept;
    void MakeUnique(unsigned int newLength);
    void TakeBuffer(TStringBuffer *buffer) noexcept;
    void SetLength(unsigned int length) noexcept;
    // Appends bytes without a call if the buffer is not shared and has room. Otherwise does nothing and returns false.
    bool AppendInPlace(char const *bytes, std::size_t count) noexcept {
        if (!fBuffer || count > fBuffer->capacity - fBuffer->length || fBuffer->IsShared())
            return false;
        std::memmove(fBuffer->Data() + fBuffer->length, bytes, count);
        fBuffer->length += static_cast<std::uint32_t>(count);
        fBuffer->Terminate();
        return true;
    }
    TString &AppendText(char const *text);
    TString &Append(char const *bytes, unsigned int count);
    TString &Change(char const *pattern, char const *replacement, unsigned int replacementLength, unsigned int start,
                    unsigned int count);
    unsigned int Find(char const *text, unsigned int textLength, unsigned int start) const noexcept;
    template <typename Combine>
    TString &CombineBytes(TString const &other, Combine combine);
    TString &FoldCase(char first, int (*fold)(int));

    TStringBuffer *fBuffer; // null for a null string
};

inline std::vector<TString> TString::split(char separator) const {
    std::vector<TString> pieces;
    unsigned int begin = 1;
    while (!IsNull()) {
        unsigned int const end = indexOf(separator, begin);
        if (end == 0) {
            pieces.push_back(mid(begin));
            break;
        }
        pieces.push_back(mid(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

// Strings that are equal have the same hash. A null and a nil string have the same hash, too.
template <>
struct std::hash<TString> {
    std::size_t operator()(TString const &text) const noexcept { return std::hash<std::string_view>()(text.view()); }
};

#if defined(__cpp_lib_format)
// std::format() formats a string, and an object of a class that derives from TString, as a string view of its bytes.
template <typename Text>
requires std::is_base_of_v<TString, Text>
struct std::formatter<Text, char> : std::formatter<std::string_view, char> {
    template <typename Context>
    auto format(TString const &text, Context &context) const {
        return std::formatter<std::string_view, char>::format(text.view(), context);
    }
};
#endif

// The library {fmt} finds this function from its version 10 on, whatever is included first.
inline std::string_view format_as(TString const &text) noexcept {
    return text.view();
}
#if defined(FMT_VERSION) && FMT_VERSION < 100000
// Before its version 10, {fmt} finds this class, if the header of {fmt} is included before this one.
template <>
struct fmt::formatter<TString> : fmt::formatter<std::string_view> {
    template <typename Context>
    auto format(TString const &text, Context &context) const {
        return fmt::formatter<std::string_view>::format(text.view(), context);
    }
};
#endif

// Extracting into a string does not compile, because it would write to the string's characters without knowing where
// these end.
std::istream &operator>>(std::istream &in, TString const &text) = delete;

// These declarations repeat the friends above outside of the class. Therefore the operators also compare objects that
// are not strings but convert to strings.
bool operator==(TString const &a, TString const &b) noexcept;
bool operator!=(TString const &a, TString const &b) noexcept;
bool operator<(TString const &a, TString const &b) noexcept;
bool operator>(TString const &a, TString const &b) noexcept;
bool operator<=(TString const &a, TString const &b) noexcept;
bool operator>=(TString const &a, TString const &b) noexcept;

// Writes what TString::Print() writes. The width of the stream is ignored.
TUZUTIL_API std::ostream &operator<<(std::ostream &out, TString const &text);

// A TString whose equality ignores letter case, by the current locale and up to the first zero byte.
//
// Example:
//     TStringIcmp verb("retr");
//     bool same = verb.isEqual("RETR"); // true
class TUZUTIL_API TStringIcmp : public TString {
public:
    TStringIcmp() noexcept = default;
    // These constructors take the same texts as those of TString.
    TStringIcmp(char const *text) : TString(text) {}
    template <typename T, typename = tuzutil::IfText<T>>
    TStringIcmp(T const &text) : TString(text) {}
    template <typename T, tuzutil::IfNarrow<T> = true>
    TStringIcmp(T const &text) : TString(text) {}
    TStringIcmp(TString const &text) noexcept : TString(text) {}
    TStringIcmp(TStringIcmp const &other) noexcept = default;
    TStringIcmp &operator=(TStringIcmp const &other) noexcept = default;
    ~TStringIcmp() = default;

    bool IsEqual(TStringIcmp const &other) const noexcept; // two null strings are equal, null and nil are not

    // These functions do the same as IsEqual().
    bool isEqual(TStringIcmp const &other) const noexcept { return IsEqual(other); }
    bool isEqual(TString const &other) const noexcept { return IsEqual(TStringIcmp(other)); }
    bool isEqual(char const *other) const { return IsEqual(TStringIcmp(other)); }

    // These operators compare as IsEqual() does.
    friend bool operator==(TStringIcmp const &a, TStringIcmp const &b) noexcept { return a.IsEqual(b); }
    friend bool operator==(TStringIcmp const &a, TString const &b) noexcept { return a.isEqual(b); }
    friend bool operator==(TString const &a, TStringIcmp const &b) noexcept { return b.isEqual(a); }
    friend bool operator!=(TStringIcmp const &a, TStringIcmp const &b) noexcept { return !(a == b); }
    friend bool operator!=(TStringIcmp const &a, TString const &b) noexcept { return !(a == b); }
    friend bool operator!=(TString const &a, TStringIcmp const &b) noexcept { return !(a == b); }
    TUZUTIL_COMPARE_WITH_TEXT(TStringIcmp, IfText, ==)
    TUZUTIL_COMPARE_WITH_TEXT(TStringIcmp, IfText, !=)
    TUZUTIL_COMPARE_WITH_TEXT(TStringIcmp, IfNarrow, ==)
    TUZUTIL_COMPARE_WITH_TEXT(TStringIcmp, IfNarrow, !=)
};

#undef TUZUTIL_COMPARE_WITH_TEXT
#undef TUZUTIL_COMPARE_IN_PLACE

// A TString for secrets. The buffer of a secret is zeroed when the last string that shares the buffer
// releases it.
//
// Example:
//     TStringAndWipe secret(password);
//     Login(secret);
//     secret.Wipe(); // zero now, for every string that shares the buffer
//
// Surprises:
// - The flag belongs to the buffer: a TStringAndWipe made from a TString also sets the flag of that TString's buffer.
// - A default-constructed TStringAndWipe is null and cannot have the flag. If a TString without the flag is assigned to
//   a TStringAndWipe, their buffer does not get the flag.
// - The results of `+ char const *` and change() do not have the flag. Standard strings made from the secret are not
//   wiped.
class TUZUTIL_API TStringAndWipe : public TString {
public:
    TStringAndWipe() noexcept = default;
    // These constructors set the flag of the buffer. A null text has no buffer, and so no flag.
    TStringAndWipe(TString const &text) noexcept : TString(text) { SetWipeOnDelete(1); }
    TStringAndWipe(char const *text) : TString(text) { SetWipeOnDelete(1); }
    template <typename T, tuzutil::IfNarrow<T> = true>
    TStringAndWipe(T const &text) : TStringAndWipe(TString(text)) {}
    TStringAndWipe(TStringAndWipe const &other) noexcept = default;
    TStringAndWipe &operator=(TStringAndWipe const &other) noexcept = default;
    // Shares the buffer of the other string, and does not change its flag.
    TStringAndWipe &operator=(TString const &other) noexcept {
        TString::operator=(other);
        return *this;
    }

    TStringAndWipe &operator=(char const *text) { return *this = TStringAndWipe(text); } // has the flag
    // Copies the text into a buffer that has the flag.
    template <typename T, tuzutil::IfNarrow<T> = true>
    TStringAndWipe &operator=(T const &text) {
        return *this = TStringAndWipe(text);
    }
    TStringAndWipe &operator=(std::nullptr_t) noexcept { return *this = TString(); } // null, without the flag
    ~TStringAndWipe() = default;

    void Wipe() noexcept; // zeroes the data of the buffer, even if it is shared; keeps the length
};

#if defined(FMT_VERSION) && FMT_VERSION < 100000
template <>
struct fmt::formatter<TStringIcmp> : fmt::formatter<TString> {};
template <>
struct fmt::formatter<TStringAndWipe> : fmt::formatter<TString> {};
#endif

#endif
