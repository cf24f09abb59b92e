#ifndef TUZUTIL_UTF8
#define TUZUTIL_UTF8

// Reads and writes UTF-8 and 16-bit text, one character at a time. In UTF-8, overlong forms, surrogates and numbers
// above U+10FFFF are malformed, as the Unicode standard says. If the bytes are malformed, one call reads as many bytes
// as form the beginning of some character, for example the first two bytes of a character of three bytes. If no
// character begins with the first byte, the call reads this byte only. One replacement character stands for all bytes
// that such a call reads, as the standard recommends.

#include "utility/kernel/utf16.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace utf8 {

constexpr std::uint32_t malformed = 0xFFFFFFFF;
constexpr std::uint32_t replacement = 0xFFFD;

// True if narrow text is UTF-8, whatever the locale says. TUnicode::SetUtf8Mode() sets it.
extern std::atomic<bool> isMode;

// Reads the character at `at` and returns it. If the bytes are not a character, returns `malformed`. Moves `at` past
// the bytes that were read. REQUIRES: at is not end.
inline std::uint32_t Read(char const *&at, char const *end) noexcept {
    auto const lead = static_cast<unsigned char>(*at++);
    if (lead < 0x80)
        return lead;
    if (lead < 0xC2 || lead > 0xF4)
        return malformed;
    // After some lead bytes, the bounds of the next byte are narrower.
    unsigned int lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned int highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    int const more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    std::uint32_t code = lead & (0x3Fu >> more);
    for (int i = 0; i < more; ++i) {
        auto const byte = at == end ? 0u : static_cast<unsigned char>(*at);
        if (byte < lowest || byte > highest)
            return malformed;
        code = code << 6 | (byte & 0x3F);
        ++at;
        lowest = 0x80;
        highest = 0xBF;
    }
    return code;
}

// Does the same as Read() for 16-bit text, in which an unpaired surrogate is malformed. REQUIRES: at is not end.
template <typename Unit>
std::uint32_t ReadUnits(Unit const *&at, Unit const *end) noexcept {
    std::uint32_t const code = *at++;
    if (!utf16::IsHigh(code) && !utf16::IsLow(code))
        return code;
    if (at == end || !utf16::IsPair(code, *at))
        return malformed;
    return utf16::Character(code, *at++);
}

// Writes a character in at most four bytes, and returns their number. REQUIRES: `code` is a Unicode character.
inline std::size_t Write(std::uint32_t code, char *to) noexcept {
    if (code < 0x80) {
        *to = static_cast<char>(code);
        return 1;
    }
    int const more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    *to = static_cast<char>((0xFF00 >> (more + 1) & 0xFF) | code >> (6 * more));
    for (int i = 1; i <= more; ++i)
        to[i] = static_cast<char>(0x80 | (code >> (6 * (more - i)) & 0x3F));
    return static_cast<std::size_t>(more) + 1;
}

// Writes a character in at most two units, and returns their number. REQUIRES: `code` is a Unicode character.
template <typename Unit>
std::size_t WriteUnits(std::uint32_t code, Unit *to) noexcept {
    if (!utf16::NeedsPair(code)) {
        to[0] = static_cast<Unit>(code);
        return 1;
    }
    to[0] = utf16::High(code);
    to[1] = utf16::Low(code);
    return 2;
}

} // namespace utf8

#endif
