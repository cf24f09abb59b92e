#ifndef TUZUTIL_TWO_DIGITS
#define TUZUTIL_TWO_DIGITS

// The digits of the numbers from 00 to 99, one number after the other.

#include <array>
#include <cstddef>

namespace two_digits {

inline constexpr auto texts = [] {
    std::array<char, 200> digits{};
    for (std::size_t i = 0; i < 100; ++i) {
        digits[i * 2] = static_cast<char>('0' + i / 10);
        digits[i * 2 + 1] = static_cast<char>('0' + i % 10);
    }
    return digits;
}();

// Returns the address of the two digits of a number. REQUIRES: the number is less than 100.
inline char const *Of(std::size_t number) noexcept {
    return &texts[number * 2];
}

} // namespace two_digits

#endif
