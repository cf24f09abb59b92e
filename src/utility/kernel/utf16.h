#ifndef TUZUTIL_UTF16
#define TUZUTIL_UTF16

// Surrogate pairs: in 16-bit text, a character above 0xFFFF is written as a high unit followed by a low one. The
// functions recognise, join and split such pairs.

#include <cstdint>

namespace utf16 {

constexpr bool NeedsPair(std::uint32_t code) noexcept {
    return code >= 0x10000;
}
constexpr bool IsHigh(std::uint32_t unit) noexcept {
    return unit >> 10 == 0xD800 >> 10;
}
constexpr bool IsLow(std::uint32_t unit) noexcept {
    return unit >> 10 == 0xDC00 >> 10;
}
constexpr bool IsPair(std::uint32_t high, std::uint32_t low) noexcept {
    return IsHigh(high) && IsLow(low);
}

// REQUIRES: IsPair(high, low).
constexpr std::uint32_t Character(std::uint32_t high, std::uint32_t low) noexcept {
    return 0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF);
}

// REQUIRES, for High() and Low(): NeedsPair(code).
constexpr std::uint16_t High(std::uint32_t code) noexcept {
    return static_cast<std::uint16_t>(0xD7C0 + (code >> 10));
}
constexpr std::uint16_t Low(std::uint32_t code) noexcept {
    return static_cast<std::uint16_t>(0xDC00 + (code & 0x3FF));
}

} // namespace utf16

#endif
