#ifndef TUZUTIL_PLAIN_PRINT
#define TUZUTIL_PLAIN_PRINT

// PrintPlain(): prints the beginning of a narrow format as long as it consists of literal text and the most frequent
// directives. The general printer in message_print.cpp continues where PrintPlain() stops. The functions write bytes
// after the end of what they print, because copying a few bytes too many is faster than copying the exact number.

#include "utility/kernel/byte_search.h"
#include "utility/kernel/two_digits.h"
#include "utility/kernel/value_access.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace plain_print {

// The functions below write at most so many bytes after the end of what they print.
constexpr std::ptrdiff_t slack = 16;

// Copies a text. Reads no byte outside the text, and writes none outside its copy. Returns the end of the copy.
inline char *CopyText(char *to, char const *text, std::size_t count) noexcept {
    // Copies the first and the last `size` bytes, which overlap if there are fewer than 2 * size bytes.
    auto const copyEnds = [=](auto word) noexcept {
        std::memcpy(&word, text, sizeof word);
        auto last = word;
        std::memcpy(&last, text + count - sizeof word, sizeof word);
        std::memcpy(to, &word, sizeof word);
        std::memcpy(to + count - sizeof word, &last, sizeof word);
    };
    if (count > 32) {
        std::memcpy(to, text, count);
    } else if (count >= 16) {
        struct TBlock {
            std::uint64_t words[2];
        };
        copyEnds(TBlock{});
    } else if (count >= 8) {
        copyEnds(std::uint64_t{});
    } else if (count >= 4) {
        copyEnds(std::uint32_t{});
    } else {
        for (std::size_t i = 0; i < count; ++i)
            to[i] = text[i];
    }
    return to + count;
}

inline constexpr std::uint32_t powers[] = {0,       10,        100,        1'000,       10'000,
                                           100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

// Returns the number of decimal digits of a number.
inline unsigned int DecimalDigits(std::uint32_t number) noexcept {
    auto const bits = static_cast<unsigned int>(32 - __builtin_clz(number | 1));
    unsigned int const digits = bits * 1233 >> 12; // the number of digits, or one less
    return digits + (number >= powers[digits] ? 1 : 0);
}

// Writes a number with decimal digits, and returns the end of the digits.
inline char *PutDecimal(char *to, std::uint32_t number) noexcept {
    char *const end = to + DecimalDigits(number);
    char *at = end;
    for (; number >= 100; number /= 100)
        std::memcpy(at -= 2, two_digits::Of(number % 100), 2);
    if (number >= 10)
        std::memcpy(at - 2, two_digits::Of(number), 2);
    else
        at[-1] = static_cast<char>('0' + number);
    return end;
}

// Writes a number with hexadecimal digits, and returns the end of the digits.
inline char *PutHexadecimal(char *to, std::uint32_t number, char const *alphabet) noexcept {
    char *const end = to + (35 - __builtin_clz(number | 1)) / 4;
    char *at = end;
    do
        *--at = alphabet[number & 15];
    while (number >>= 4);
    return end;
}

constexpr std::uint64_t ones = 0x0101010101010101;

// Returns a word in which the lowest bit that is set is bit 7 of the lowest byte of `bytes` that is 0. Returns 0 if no
// byte is 0.
inline std::uint64_t Zeros(std::uint64_t bytes) noexcept {
    return (bytes - ones) & ~bytes & ones * 0x80;
}

// Returns a word in which the lowest bit that is set is bit 7 of the lowest percent sign or zero of `bytes`. Returns 0
// if there is neither.
inline std::uint64_t Specials(std::uint64_t bytes) noexcept {
    return Zeros(bytes) | Zeros(bytes ^ ones * '%');
}

// The state of a walk along a format.
struct TWalk {
    char const *format; // what is not printed yet
    char *out;
    std::uint32_t running; // the number of the argument that the next directive without an argument number takes
};

// Copies literal text. Stops before a percent sign or zero, at the end of the format, or when fewer than `slack` bytes
// are left in [walk.out, outEnd).
inline void CopyLiteral(TWalk &walk, char const *begin, char const *end, char const *outEnd) noexcept {
    char const *from = walk.format;
    char *to = walk.out;
    auto const found = [&](int before) noexcept { walk = {from + before, to + before, walk.running}; };
#if defined(__SSE2__)
    __m128i const percent = _mm_set1_epi8('%');
    for (; end - from >= 16 && outEnd - to >= slack; from += 16, to += 16) {
        __m128i const bytes = byte_search::Load(from);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(to), bytes);
        __m128i const special =
            _mm_or_si128(_mm_cmpeq_epi8(bytes, percent), _mm_cmpeq_epi8(bytes, _mm_setzero_si128()));
        if (unsigned int const hits = byte_search::Mask(special))
            return found(__builtin_ctz(hits));
    }
#endif
    for (; end - from >= 8 && outEnd - to >= slack; from += 8, to += 8) {
        std::uint64_t bytes;
        std::memcpy(&bytes, from, sizeof bytes);
        std::memcpy(to, &bytes, sizeof bytes);
        if (std::uint64_t const special = Specials(bytes))
            return found(__builtin_ctzll(special) / 8);
    }
    if (outEnd - to >= slack && from != end) {
        if (end - begin >= 8) {
            // The last bytes of the format are moved to the beginning of the word. Zeros follow them.
            std::uint64_t bytes;
            std::memcpy(&bytes, end - 8, sizeof bytes);
            bytes >>= 64 - 8 * (end - from);
            std::memcpy(to, &bytes, sizeof bytes);
            return found(__builtin_ctzll(Specials(bytes)) / 8);
        }
        for (; from != end && *from != '%' && *from != 0; ++from)
            *to++ = *from;
    }
    found(0);
}

// Prints the directive at `at`, which is the place after the percent sign: a %d, %u, %x, %X or %s with an argument that
// fits, with or without the number of the argument. Returns false, and does nothing, for any other directive, or if
// there may not be enough room.
inline bool PrintDirective(TWalk &walk, char const *at, char const *end, TagVar const *values, std::uint32_t count,
                           char const *outEnd) noexcept {
    std::uint32_t argument = walk.running;
    std::uint32_t next = argument + 1;
    if (end - at >= 3 && at[1] == '$' && at[0] >= '1' && at[0] <= '9') {
        next = argument;
        argument = static_cast<std::uint32_t>(at[0] - '0');
        at += 2;
    }
    if (at == end || argument - 1 >= count || outEnd - walk.out < 2 * slack)
        return false;
    TagVar const &value = values[argument - 1];
    char *out = walk.out;
    if (*at == 's') {
        if (TagVarAccess::Kind(value) != TagVar::string)
            return false;
        std::string_view text = TagVarAccess::Text(value);
        if (!text.data() || static_cast<std::size_t>(outEnd - out) < text.size() + slack)
            return false;
        if (!TagVarAccess::EndsAtZero(value)) {
            if (char const *const zero = byte_search::FindByte(text.data(), text.data() + text.size(), '\0'))
                text = {text.data(), static_cast<std::size_t>(zero - text.data())};
        }
        out = CopyText(out, text.data(), text.size());
    } else {
        bool const isSigned = TagVarAccess::Kind(value) == TagVar::integer;
        if (!isSigned && TagVarAccess::Kind(value) != TagVar::unsignedInteger)
            return false;
        std::uint32_t word = TagVarAccess::Word(value);
        switch (*at) {
        case 'd':
            if (static_cast<std::int32_t>(word) < 0) {
                *out++ = '-';
                word = 0u - word;
            }
            out = PutDecimal(out, word);
            break;
        case 'u': out = PutDecimal(out, word); break;
        case 'x': out = PutHexadecimal(out, word, "0123456789abcdef"); break;
        case 'X': out = PutHexadecimal(out, word, "0123456789ABCDEF"); break;
        default: return false;
        }
    }
    walk = {at + 1, out, next};
    return true;
}

// Prints the format as far as it can into [out, outEnd). The rest, which begins at the result's `format`, is empty or
// begins with a zero, a percent sign, or literal text for which there may not be enough room.
inline TWalk PrintPlain(std::string_view format, TagVar const *values, std::uint32_t count, char *out,
                        char const *outEnd) noexcept {
    char const *const begin = format.data();
    char const *const end = begin + format.size();
    TWalk walk{begin, out, 1};
    do
        CopyLiteral(walk, begin, end, outEnd);
    while (walk.format != end && *walk.format == '%' &&
           PrintDirective(walk, walk.format + 1, end, values, count, outEnd));
    return walk;
}

} // namespace plain_print

#endif
