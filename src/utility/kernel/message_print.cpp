// The formatter of messages: prints typed values into narrow or 16-bit text. The size of the format and its arguments
// limits the size of the text, because a short message must not use up the memory.

#include "platform/platform.h"
#include "utility/kernel/message_format.h"
#include "utility/kernel/plain_print.h"
#include "utility/kernel/string_access.h"
#include "utility/kernel/two_digits.h"
#include "utility/kernel/utf16.h"
#include "utility/kernel/utf8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <type_traits>

namespace {

using TWide = unsigned short;

constexpr std::size_t fsLongestField = 0x10000; // in characters; a larger width or precision is replaced by this number
constexpr std::size_t fsRealDigits = 330;       // more characters than sign, digits before the point, and exponent
constexpr int fsSignificantDigits = 1100;       // more digits than a real has before and after its point

// The size of a text has a limit. Otherwise a short message from another machine could make a huge text, by large
// widths and precisions, or by printing a long argument many times. The limit is the least of three numbers of bytes:
// - fsAlwaysRoom, plus fsRoomPerByte for each byte of the format and its arguments,
// - fsManyBytes or, if that is more, fsRoomPerByteOfMany for each byte of the format and its arguments,
// - fsMostBytes.
constexpr std::uint64_t fsAlwaysRoom = 0x40000;
constexpr std::uint64_t fsRoomPerByte = 16;
constexpr std::uint64_t fsManyBytes = 0x1000000;
constexpr std::uint64_t fsRoomPerByteOfMany = 4; // a character may need more bytes in another encoding
constexpr std::uint64_t fsArgumentBytes = 32;    // added for each argument, besides its text
constexpr std::uint64_t fsMostBytes = 0x3FFFFFFE;

// Returns the limit of a text in bytes.
std::size_t RoomForText(std::size_t formatBytes, TMessageArguments const &arguments) noexcept {
    std::uint64_t given = formatBytes;
    for (std::uint32_t i = 0; i < arguments.count; ++i) {
        given += fsArgumentBytes;
        if (IsText(&arguments.values[i]))
            given += TagVarAccess::Text(arguments.values[i]).size();
    }
    std::uint64_t const room = std::min(fsAlwaysRoom + given * fsRoomPerByte, //
                                        std::max(fsManyBytes, given * fsRoomPerByteOfMany));
    return static_cast<std::size_t>(std::min(room, fsMostBytes));
}

// Collects a text, first in an array on the stack, then on the heap. If a text would exceed its limit, the rest is
// dropped, and the text counts as full.
template <typename Char>
class TOutput {
public:
    TOutput(std::size_t formatBytes, TMessageArguments const &arguments) noexcept
        : fBegin(fLocal), fAt(fLocal), fEnd(fLocal + std::size(fLocal)), fArguments(&arguments),
          fFormatBytes(formatBytes) {}
    // Collects the text in memory of the caller. If the text needs more, it counts as full.
    TOutput(Char *begin, Char *end) noexcept : fBegin(begin), fAt(begin), fEnd(end) {}
    TOutput(TOutput const &) = delete;
    TOutput &operator=(TOutput const &) = delete;

    void Put(Char c) {
        if (Room(1))
            *fAt++ = c;
    }
    void Put(Char const *units, std::size_t count) {
        count = Room(count);
        std::copy_n(units, count, fAt);
        fAt += count;
    }
    // Does the same as Put(), but copies a few units without a loop. REQUIRES: at least fsSlack bytes can be read from
    // `units` on.
    static constexpr std::size_t fsSlack = 16;
    void PutFew(Char const *units, std::size_t count) {
        if (count > fsSlack || static_cast<std::size_t>(fEnd - fAt) < fsSlack)
            return Put(units, count);
        std::memcpy(fAt, units, fsSlack);
        fAt += count;
    }
    // Puts the bytes before the first percent sign or zero, and returns the place of that sign or zero. If there is no
    // percent sign and no zero, puts all bytes and returns `end`.
    Char const *PutLiteral(Char const *from, Char const *end) {
        while (end - from >= 8 && fEnd - fAt >= 8) {
            std::uint64_t bytes;
            std::memcpy(&bytes, from, sizeof bytes);
            std::memcpy(fAt, &bytes, sizeof bytes);
            std::uint64_t const special = plain_print::Specials(bytes);
            if (special != 0) {
                int const before = __builtin_ctzll(special) / 8;
                fAt += before;
                return from + before;
            }
            from += 8;
            fAt += 8;
        }
        if (fEnd - fAt >= 8) { // fewer than eight bytes are left to put
            for (; from != end && *from != '%' && *from != 0; ++from)
                *fAt++ = *from;
            return from;
        }
        for (; from != end && *from != '%' && *from != 0; ++from)
            Put(*from);
        return from;
    }
    // Puts ASCII characters, each as one unit of the text.
    template <typename Byte>
    void Widen(Byte const *bytes, std::size_t count) {
        count = Room(count);
        for (std::size_t i = 0; i < count; ++i)
            *fAt++ = static_cast<Char>(static_cast<std::make_unsigned_t<Byte>>(bytes[i]));
    }
    void Fill(char c, std::size_t count) {
        count = Room(count);
        std::fill_n(fAt, count, static_cast<Char>(c));
        fAt += count;
    }

    bool IsFull() const noexcept { return fIsFull; }
    std::size_t Used() const noexcept { return static_cast<std::size_t>(fAt - fBegin); }
    Char *At() const noexcept { return fAt; }
    void Truncate(std::size_t count) noexcept { fAt = fBegin + count; } // REQUIRES: count is at most Used()

    // Returns the text. If nothing was put, returns one zero character, because TTextMessage takes a text of length 0
    // for one that is not made yet.
    TString Take() {
        if (fAt == fBegin)
            Put(Char{0});
        std::size_t const bytes = Used() * sizeof(Char);
        if (fBegin == fLocal) {
            fHeap = TStringAccess::Uninitialized(bytes, Flags());
            std::memcpy(static_cast<char *>(fHeap), fLocal, bytes);
        } else {
            TStringAccess::Truncate(fHeap, static_cast<unsigned int>(bytes));
        }
        return fHeap;
    }

private:
    static constexpr std::uint32_t Flags() noexcept {
        return sizeof(Char) == 1 ? 0u : std::uint32_t{TStringBuffer::unicode};
    }

    // Makes room, and returns how many of `count` characters can be put.
    std::size_t Room(std::size_t count) {
        if (static_cast<std::size_t>(fEnd - fAt) < count) [[unlikely]]
            return Grow(count);
        return count;
    }

    // Makes room on the heap, unless the text is in memory of the caller. Returns how many of `count` characters can be
    // put. If this number is less than `count`, the text counts as full and takes no further characters, because these
    // would follow a gap.
    std::size_t Grow(std::size_t count) {
        if (fIsFull || !fArguments) {
            fIsFull = true;
            return 0;
        }
        std::size_t const most = RoomForText(fFormatBytes, *fArguments); // always more than the array on the stack
        std::size_t const used = Used();
        fIsFull = most / sizeof(Char) - used < count;
        if (fIsFull)
            count = most / sizeof(Char) - used;
        std::size_t const wanted = std::max(used + count, used * 2) * sizeof(Char);
        TString fresh = TStringAccess::Uninitialized(std::min(wanted, most), Flags());
        std::memcpy(static_cast<char *>(fresh), fBegin, used * sizeof(Char));
        fHeap = std::move(fresh);
        fBegin = reinterpret_cast<Char *>(static_cast<char *>(fHeap));
        fAt = fBegin + used;
        fEnd = fBegin + fHeap.length() / sizeof(Char);
        return count;
    }

    Char *fBegin;
    Char *fAt;
    Char *fEnd;
    TMessageArguments const *const fArguments = nullptr; // null if the text is in memory of the caller
    std::size_t const fFormatBytes = 0;
    bool fIsFull = false;
    TString fHeap;
    Char fLocal[512];
};

// Conversion between narrow and 16-bit text, by the current locale or, if the UTF-8 mode is on (UNICODE.h), as UTF-8. A
// character without a counterpart becomes "?".

// Reads one character of 16-bit text, moves `at` past it, writes its bytes and returns their number. REQUIRES: at least
// one unit is left.
std::size_t ToNarrow(TWide const *&at, TWide const *end, char *bytes) noexcept {
    std::uint32_t code = *at++;
    if (code < 0x80) {
        *bytes = static_cast<char>(code);
        return 1;
    }
    if (utf8::isMode.load(std::memory_order_relaxed)) {
        --at;
        code = utf8::ReadUnits(at, end);
        return utf8::Write(code == utf8::malformed ? '?' : code, bytes);
    }
    if constexpr (sizeof(wchar_t) > 2) {
        if (at != end && utf16::IsPair(code, *at))
            code = utf16::Character(code, *at++);
    }
    std::mbstate_t state = {};
    std::size_t const count = std::wcrtomb(bytes, static_cast<wchar_t>(code), &state);
    if (count != static_cast<std::size_t>(-1))
        return count;
    *bytes = '?';
    return 1;
}

// Reads one character of narrow text, moves `at` past it, writes its one or two units and returns their number.
// REQUIRES: at least one byte is left.
std::size_t ToWide(char const *&at, char const *end, TWide *units) noexcept {
    auto const byte = static_cast<unsigned char>(*at);
    if (byte < 0x80) {
        ++at;
        units[0] = byte;
        return 1;
    }
    if (utf8::isMode.load(std::memory_order_relaxed)) {
        std::uint32_t const code = utf8::Read(at, end);
        return utf8::WriteUnits(code == utf8::malformed ? '?' : code, units);
    }
    std::mbstate_t state = {};
    wchar_t character = 0;
    std::size_t const used = std::mbrtowc(&character, at, static_cast<std::size_t>(end - at), &state);
    // If the character is invalid or incomplete, the result is greater than any length. A result of 0 would be a zero
    // character; it counts as invalid here, because otherwise the text would never end.
    if (used - 1 >= static_cast<std::size_t>(end - at)) {
        ++at;
        units[0] = '?';
        return 1;
    }
    at += used;
    return utf8::WriteUnits(static_cast<std::uint32_t>(static_cast<std::wint_t>(character)), units);
}

template <typename From, typename To>
std::size_t Encode(From const *&at, From const *end, To *to) noexcept {
    if constexpr (sizeof(From) == sizeof(To)) {
        *to = *at++;
        return 1;
    } else if constexpr (sizeof(To) == 1) {
        return ToNarrow(at, end, to);
    } else {
        return ToWide(at, end, to);
    }
}

template <typename Char>
class TPrinter {
public:
    TPrinter(TString const &format, TMessageArguments const &arguments) noexcept
        : fArguments(arguments), fOut(format.length(), arguments),
          fSize(static_cast<std::int64_t>(format.length() / sizeof(Char))) {}
    TPrinter(Char *begin, Char *end, TMessageArguments const &arguments) noexcept
        : fArguments(arguments), fOut(begin, end), fSize(0) {}

    bool HasZero() const noexcept { return fHasZero; } // whether a character 0 was printed
    char const *PutLiteral(char const *from, char const *end) { return fOut.PutLiteral(from, end); }
    void Literal(Char const *from, Char const *to) { fOut.Put(from, static_cast<std::size_t>(to - from)); }
    void Percent() { fOut.Put('%'); }
    static constexpr bool convertsPlain = true;
    bool IsFull() const noexcept { return fOut.IsFull() || fArguments.faults.IsGivenUp(); }
    Char *At() const noexcept { return fOut.At(); }

    // Converts the most frequent directives: %d, %u, %x and %X with a 32-bit integer, and %s with a narrow text. The
    // directive may have the number of its argument, a width of at most 99, and the flag "-" or, for integers, "0".
    // `at` is the place after the percent sign, and is moved past the directive. `running` is the number of the next
    // argument, and is incremented if the directive has no argument number. Returns false, and does nothing, for any
    // other directive or argument.
    bool ConvertPlain(char const *&at, char const *end, std::uint32_t &running) {
        char const *next = at;
        auto const take = [&]() noexcept { return next == end ? '\0' : *next++; };
        auto const takeNumber = [&](char &c) noexcept { // of one or two digits; `c` is the first of them
            auto number = static_cast<std::uint32_t>(c - '0');
            c = take();
            if (c >= '0' && c <= '9') {
                number = number * 10 + static_cast<std::uint32_t>(c - '0');
                c = take();
            }
            return number;
        };
        char c = take();
        std::uint32_t argument = 0;
        TField field{0};
        if (c >= '1' && c <= '9') {
            std::uint32_t const number = takeNumber(c);
            if (c == '$') {
                argument = number;
                c = take();
            } else {
                field.width = number;
            }
        }
        if (field.width == 0) {
            if (c == '-' || c == '0') {
                field.flags = c == '-' ? TFlags::left : TFlags::zero;
                c = take();
            }
            if (c >= '1' && c <= '9')
                field.width = takeNumber(c);
        }
        TagVar const *const value = fArguments.Find(argument ? argument : running);
        if (c == 's') {
            if (!IsText(value) || IsWide(value) || field.Has(TFlags::zero))
                return false;
            std::string_view const text = TagVarAccess::Text(*value);
            if (!text.data())
                return false;
            PrintText(field, text.data(), text.size());
        } else if (c == 'd' || c == 'u' || c == 'x' || c == 'X') {
            if (!IsWord(value))
                return false;
            PrintPlainInteger(field, TagVarAccess::Word(*value), c);
        } else {
            return false;
        }
        running += argument == 0;
        at = next;
        return true;
    }

    void Convert(TDirective<Char> const &directive) {
        TField const field = Field(directive);
        TValue const resolved = ResolveValue(directive, fArguments);
        TagVar const *const value = resolved.argument;
        fSize += ValueSize<Char>(directive.conversion, value);
        if (resolved.isUnshown)
            return PadText(field, 1, [&] { fOut.Put('?'); });
        // No test gets here: each conversion that gets here has a case.
        switch (directive.conversion) {
        case TConversion::integer:
            if (value && TakesLong(directive, value))
                return PrintInteger(field, TagVarAccess::Long(*value), static_cast<char>(directive.character));
            return PrintInteger(field, value ? TagVarAccess::Word(*value) : 0, static_cast<char>(directive.character));
        case TConversion::text:
        case TConversion::otherText: return PrintText(field, value);
        case TConversion::real:
            return PrintReal(field, value ? TagVarAccess::Real(*value) : 0.0, static_cast<char>(directive.character));
        case TConversion::character:
            return PrintCharacter(field, value ? TagVarAccess::Word(*value) : 0, static_cast<char>(directive.modifier));
        case TConversion::pointer: return PrintPointer(field, value ? TagVarAccess::Pointer(*value) : nullptr);
        case TConversion::storesCount: PrintUnknown(field); return fOut.Put('?');
        case TConversion::unknown: return PrintUnknown(field); // WalkFormat() passes its character as literal text
        }
    }

    // Returns the text. If a 16-bit text has more characters than the number that ValidateArgsW() returns, only the
    // first character is left, or none if this number is 0. A narrow text is not cut here.
    TString Take() {
        auto const size = static_cast<std::size_t>(std::clamp<std::int64_t>(fSize, 0, 0xFFFFFFFF));
        if (sizeof(Char) != 1 && fOut.Used() > size)
            fOut.Truncate(size ? 1 : 0);
        return fOut.Take();
    }

private:
    using TFlags = TDirective<Char>;

    struct TFlagCharacter {
        unsigned flag;
        char character;
    };
    static constexpr TFlagCharacter fsFlagCharacters[] = {
        {TFlags::left, '-'}, {TFlags::plus, '+'}, {TFlags::blank, ' '}, {TFlags::alternate, '#'}, {TFlags::zero, '0'}};

    struct TField {
        bool Has(unsigned flag) const noexcept { return (flags & flag) != 0; }
        std::size_t Precision(std::size_t standard) const noexcept {
            return precision < 0 ? standard : static_cast<std::size_t>(precision);
        }
        std::size_t Missing(std::size_t count) const noexcept { return count < width ? width - count : 0; }

        unsigned flags;
        std::size_t width = 0;
        int precision = -1; // none
    };

    TField Field(TDirective<Char> const &directive) {
        TField field{directive.flags};
        if (directive.width.kind != TCountSource::absent) {
            TCount const width = ResolveCount(directive.width, fArguments, TMessageFaults::badWidth);
            std::int64_t const columns = width.Int();
            fSize += width.Size(true);
            if (columns < 0)
                field.flags |= TFlags::left;
            field.width = std::min(static_cast<std::size_t>(columns < 0 ? -columns : columns), fsLongestField);
        }
        if (directive.precision.kind != TCountSource::absent) {
            TCount const precision = ResolveCount(directive.precision, fArguments, TMessageFaults::badPrecision);
            field.precision = std::clamp(precision.Int(), -1, static_cast<int>(fsLongestField));
            fSize += precision.Size(false);
        }
        return field;
    }

    // Calls `print()`, which puts `count` characters, and fills the field up to its width. Puts `fill` before the
    // characters or, if the flag `left` is set, blanks after them.
    template <typename Print>
    void Pad(TField const &field, std::size_t count, Print print, char fill = ' ') {
        std::size_t const blanks = field.Missing(count);
        if (blanks && !field.Has(TFlags::left))
            fOut.Fill(fill, blanks);
        print();
        if (blanks && field.Has(TFlags::left))
            fOut.Fill(' ', blanks);
    }

    // Does the same as Pad() for texts and characters. If the flag `zero` is set, some runtimes put zeros instead of
    // blanks before texts and characters.
    template <typename Print>
    void PadText(TField const &field, std::size_t count, Print print) {
        Pad(field, count, print, platform::printfHabits.zerosBeforeText && field.Has(TFlags::zero) ? '0' : ' ');
    }

    // Does the same as PrintInteger() for the directives of ConvertPlain().
    void PrintPlainInteger(TField const &field, std::uint32_t word, char conversion) {
        constexpr std::size_t longest = 112; // more than the greatest width, which is 99
        char digits[longest + TOutput<char>::fsSlack];
        char *const end = digits + longest;
        char *first = end;
        bool const isNegative = conversion == 'd' && static_cast<std::int32_t>(word) < 0;
        std::uint32_t rest = isNegative ? 0u - word : word;
        if (conversion == 'd' || conversion == 'u') {
            for (; rest >= 100; rest /= 100)
                std::memcpy(first -= 2, two_digits::Of(rest % 100), 2);
            if (rest >= 10)
                std::memcpy(first -= 2, two_digits::Of(rest), 2);
            else
                *--first = static_cast<char>('0' + rest);
        } else {
            char const *const alphabet = conversion == 'x' ? "0123456789abcdef" : "0123456789ABCDEF";
            do
                *--first = alphabet[rest & 15];
            while (rest >>= 4);
        }
        if (field.Has(TFlags::zero)) {
            while (static_cast<std::size_t>(end - first) + isNegative < field.width)
                *--first = '0';
        }
        if (isNegative)
            *--first = '-';
        auto const count = static_cast<std::size_t>(end - first);
        if (count < field.width && !field.Has(TFlags::left))
            fOut.Fill(' ', field.width - count);
        fOut.PutFew(first, count);
        if (count < field.width && field.Has(TFlags::left))
            fOut.Fill(' ', field.width - count);
    }

    template <typename Word>
    void PrintInteger(TField const &field, Word word, char conversion) {
        bool const isSigned = conversion == 'd' || conversion == 'i';
        bool const isNegative = isSigned && static_cast<std::make_signed_t<Word>>(word) < 0;
        char digits[24];
        char *first = digits + sizeof digits;
        Word rest = isNegative ? Word{0} - word : word;
        switch (conversion) {
        case 'o':
            for (; rest; rest >>= 3)
                *--first = static_cast<char>('0' + (rest & 7));
            break;
        case 'x':
        case 'X':
            for (char const *const alphabet = conversion == 'x' ? "0123456789abcdef" : "0123456789ABCDEF"; rest;
                 rest >>= 4)
                *--first = alphabet[rest & 15];
            break;
        default:
            for (; rest >= 10; rest /= 100) { // two digits at a time
                auto const pair = static_cast<std::size_t>(rest % 100) * 2;
                *--first = two_digits::texts[pair + 1];
                *--first = two_digits::texts[pair];
            }
            if (rest)
                *--first = static_cast<char>('0' + rest);
        }
        auto const count = static_cast<std::size_t>(digits + sizeof digits - first);

        char prefix[16] = {}; // longer than any prefix, because the compiler copies whole blocks
        std::size_t prefixed = 0;
        if (isNegative)
            prefix[prefixed++] = '-';
        else if (isSigned && field.Has(TFlags::plus))
            prefix[prefixed++] = '+';
        else if (isSigned && field.Has(TFlags::blank))
            prefix[prefixed++] = ' ';
        if (field.Has(TFlags::alternate) && word != 0 && (conversion == 'x' || conversion == 'X')) {
            prefix[prefixed++] = '0';
            prefix[prefixed++] = conversion;
        }

        std::size_t const wanted = field.Precision(1);
        std::size_t zeros = wanted > count ? wanted - count : 0;
        if (field.Has(TFlags::alternate) && conversion == 'o' && zeros == 0)
            zeros = 1;
        if (field.Has(TFlags::zero) && !field.Has(TFlags::left) && field.precision < 0)
            zeros += field.Missing(prefixed + zeros + count);
        Pad(field, prefixed + zeros + count, [&] {
            fOut.Widen(prefix, prefixed);
            if (zeros)
                fOut.Fill('0', zeros);
            fOut.Widen(first, count);
        });
    }

    void PrintPointer(TField const &field, void const *pointer) {
        constexpr std::size_t count = sizeof pointer * 2;
        char digits[count];
        auto rest = reinterpret_cast<std::uintptr_t>(pointer);
        for (std::size_t i = count; i-- > 0; rest >>= 4)
            digits[i] = "0123456789ABCDEF"[rest & 15];
        Pad(field, count, [&] { fOut.Widen(digits, count); });
    }

    void PrintReal(TField const &field, double value, char conversion) {
        char format[16];
        char *at = format;
        *at++ = '%';
        for (TFlagCharacter const &flag : fsFlagCharacters) {
            if (field.Has(flag.flag))
                *at++ = flag.character;
        }
        *at++ = '*';
        *at++ = '.';
        *at++ = '*';
        *at++ = conversion == 'F' && !platform::printfHabits.knowsUpperF ? 'f' : conversion;
        *at = '\0';

        // Without the flag `alternate`, %g prints no zeros at the end. Therefore a precision above fsSignificantDigits
        // would only take time.
        bool const isShort = (conversion == 'g' || conversion == 'G') && !field.Has(TFlags::alternate);
        int const precision = isShort ? std::min(field.precision, fsSignificantDigits) : field.precision;

        char local[512];
        std::size_t const size = field.width + (precision < 0 ? 0 : static_cast<std::size_t>(precision)) + fsRealDigits;
        std::unique_ptr<char[]> const heap(size > sizeof local ? new (std::nothrow) char[size] : nullptr);
        char *const buffer = size > sizeof local ? heap.get() : local;
        // No test gets here: memory would have to be lacking for the digits of a number and not for its text.
        if (buffer)
            PutEncoded(buffer,
                       platform::FormatReal(buffer, size, format, static_cast<int>(field.width), precision, value));
    }

    // Puts text that the runtime has made. For a 16-bit text, the bytes are converted character by character, because a
    // decimal point may have several bytes.
    void PutEncoded(char const *text, std::size_t count) {
        if constexpr (sizeof(Char) == 1) {
            fOut.Put(text, count);
        } else {
            Char units[MB_LEN_MAX];
            for (char const *const end = text + count; text != end && !fOut.IsFull();) {
                std::size_t const more = Encode(text, end, units);
                fOut.Put(units, more);
            }
        }
    }

    void PrintCharacter(TField const &field, std::uint32_t word, char modifier) {
        constexpr bool isWide = sizeof(Char) != 1;
        if constexpr (isWide) {
            if (modifier == 'h')
                return PrintOne(field, static_cast<char>(word));
        } else if (modifier == 'l') {
            return PrintOne(field, static_cast<TWide>(word));
        }
        PrintOne(field, static_cast<Char>(word));
    }

    template <typename From>
    void PrintOne(TField const &field, From character) {
        Char units[MB_LEN_MAX];
        From const *at = &character;
        std::size_t const count = Encode(at, &character + 1, units);
        fHasZero |= units[0] == 0;
        PadText(field, count, [&] { fOut.Put(units, count); });
    }

    void PrintText(TField const &field, TagVar const *value) {
        std::string_view const text = value ? TagVarAccess::Text(*value) : std::string_view();
        if (!text.data())
            return PrintNullText(field);
        if (IsWide(value))
            PrintText(field, reinterpret_cast<TWide const *>(text.data()), text.size() / 2);
        else
            PrintText(field, text.data(), text.size());
    }

    // Prints a text up to its first zero, and at most as many characters as the precision allows.
    template <typename From>
    void PrintText(TField const &field, From const *text, std::size_t length) {
        std::size_t const most = field.Precision(SIZE_MAX);
        if constexpr (sizeof(From) == sizeof(Char)) {
            std::size_t const end = std::min(length, most);
            std::size_t count = end;
            if constexpr (sizeof(From) == 1) {
                if (char const *const zero = byte_search::FindByte(text, text + end, '\0'))
                    count = static_cast<std::size_t>(zero - text);
            } else {
                count = static_cast<std::size_t>(std::find(text, text + end, From{0}) - text);
            }
            return PadText(field, count, [&] { fOut.Put(reinterpret_cast<Char const *>(text), count); });
        }

        // The text is measured before it is put, because blanks may have to be put before it. If a character is
        // converted to several units, the precision never cuts between these units.
        Char units[MB_LEN_MAX];
        From const *end = text;
        std::size_t count = 0;
        while (end != text + length && *end) {
            From const *next = end;
            std::size_t const more = Encode(next, text + length, units);
            if (more > most - count)
                break;
            count += more;
            end = next;
        }
        PadText(field, count, [&] {
            for (From const *at = text; at != end && !fOut.IsFull();) {
                std::size_t const more = Encode(at, end, units);
                fOut.Put(units, more);
            }
        });
    }

    void PrintNullText(TField const &field) {
        constexpr std::size_t length = 6;
        std::size_t const most = field.Precision(length);
        std::size_t const count = most >= length ? length : platform::printfHabits.cutsNullText ? most : 0;
        PadText(field, count, [&] { fOut.Widen("(null)", count); });
    }

    // Prints an unknown conversion as the runtime does, up to its character. WalkFormat() passes the character as
    // literal text. Some runtimes print nothing before the character.
    void PrintUnknown(TField const &field) {
        if (!platform::printfHabits.keepsUnknown)
            return;
        fOut.Put('%');
        if (field.Has(TFlags::alternate))
            fOut.Put('#');
        if (field.Has(TFlags::plus) || field.Has(TFlags::blank))
            fOut.Put(field.Has(TFlags::plus) ? '+' : ' ');
        if (field.Has(TFlags::left) || field.Has(TFlags::zero))
            fOut.Put(field.Has(TFlags::left) ? '-' : '0');
        if (field.width)
            PrintDecimal(field.width);
        if (field.precision >= 0) {
            fOut.Put('.');
            PrintDecimal(static_cast<std::size_t>(field.precision));
        }
    }

    void PrintDecimal(std::size_t number) {
        char digits[24] = {};
        fOut.Widen(digits,
                   static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
    }

    TMessageArguments const &fArguments;
    TOutput<Char> fOut;
    bool fHasZero = false;
    std::int64_t fSize; // the size that ValidateArgs() and ValidateArgsW() return
};

template <typename Char>
TString Print(TString const &format, TMessageArguments const &arguments) {
    TPrinter<Char> printer(format, arguments);
    WalkFormat(TFormatText<Char>(format), arguments, printer);
    return printer.Take();
}

} // namespace

char *PrintInPlace(std::string_view format, TMessageArguments const &arguments, char *begin, char *end) {
    auto const walk = plain_print::PrintPlain(format, arguments.values, arguments.count, begin, end);
    char const *const formatEnd = format.data() + format.size();
    if (walk.format == formatEnd)
        return walk.out;
    TPrinter<char> printer(walk.out, end, arguments);
    std::string_view const rest(walk.format, static_cast<std::size_t>(formatEnd - walk.format));
    WalkFormat(TFormatText<char>(rest), arguments, printer, walk.running);
    return printer.IsFull() || printer.HasZero() ? nullptr : printer.At();
}

TString PrintMessage(TString const &format, TMessageArguments const &arguments) {
    return format.IsUnicode() ? Print<TWide>(format, arguments) : Print<char>(format, arguments);
}
