#ifndef TUZUTIL_MD5_STEPS
#define TUZUTIL_MD5_STEPS

// The steps of MD5. Each step waits for the result of the step before it. A processor can do the steps of a second
// digest in that time. Therefore Compress() takes any number of digests at once.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace md5 {

inline std::uint32_t LoadWord(char const *from) noexcept {
    std::uint32_t word;
    std::memcpy(&word, from, sizeof word);
    if constexpr (std::endian::native == std::endian::big)
        word = __builtin_bswap32(word);
    return word;
}

inline void StoreWord(char *to, std::uint32_t word) noexcept {
    if constexpr (std::endian::native == std::endian::big)
        word = __builtin_bswap32(word);
    std::memcpy(to, &word, sizeof word);
}

// The step functions. G is the sum of two terms that have no bit in common. The word `b` was computed last. The term
// without `b` is added first, because this addition need not wait for `b`.
struct F {
    static void Add(std::uint32_t &a, std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept {
        a += d ^ (b & (c ^ d));
    }
};
struct G {
    static void Add(std::uint32_t &a, std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept {
        a += c & ~d;
        a += b & d;
    }
};
struct H {
    static void Add(std::uint32_t &a, std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept { a += (c ^ d) ^ b; }
};
struct I {
    static void Add(std::uint32_t &a, std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept { a += c ^ (b | ~d); }
};

template <typename Function>
[[gnu::always_inline]] inline void Step(std::uint32_t &a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                                        std::uint32_t word, std::uint32_t sine, int turn) noexcept {
    a += word + sine;
    Function::Add(a, b, c, d);
    a = std::rotl(a, turn) + b;
}

struct State {
    std::uint32_t a = 0x67452301, b = 0xEFCDAB89, c = 0x98BADCFE, d = 0x10325476;
};

// A digest that is being computed: its state, and the 64 bytes that are added to it next.
struct Lane {
    State s;
    char const *block;
};

// Does four steps for each digest. In these steps, each word of the state has each role once. `first` is the index of
// the word of the block that the first step uses. Each further step adds `stride` to the index, modulo 16.
template <typename Function, int turn1, int turn2, int turn3, int turn4, typename... Lanes>
[[gnu::always_inline]] inline void FourSteps(int first, int stride, std::uint32_t sine1, std::uint32_t sine2,
                                             std::uint32_t sine3, std::uint32_t sine4, Lanes &...lanes) noexcept {
    auto const word = [=](char const *block, int step) {
        return LoadWord(block + std::ptrdiff_t{(first + step * stride) % 16} * 4);
    };
    (Step<Function>(lanes.s.a, lanes.s.b, lanes.s.c, lanes.s.d, word(lanes.block, 0), sine1, turn1), ...);
    (Step<Function>(lanes.s.d, lanes.s.a, lanes.s.b, lanes.s.c, word(lanes.block, 1), sine2, turn2), ...);
    (Step<Function>(lanes.s.c, lanes.s.d, lanes.s.a, lanes.s.b, word(lanes.block, 2), sine3, turn3), ...);
    (Step<Function>(lanes.s.b, lanes.s.c, lanes.s.d, lanes.s.a, word(lanes.block, 3), sine4, turn4), ...);
}

// Adds one block to each digest. Reads the words directly from the blocks, so that no copy of the blocks remains in
// memory.
template <typename... Lanes>
[[gnu::always_inline]] inline void Compress(Lanes &...lanes) noexcept {
    State const before[] = {lanes.s...};

    FourSteps<F, 7, 12, 17, 22>(0, 1, 0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, lanes...);
    FourSteps<F, 7, 12, 17, 22>(4, 1, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501, lanes...);
    FourSteps<F, 7, 12, 17, 22>(8, 1, 0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, lanes...);
    FourSteps<F, 7, 12, 17, 22>(12, 1, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821, lanes...);

    FourSteps<G, 5, 9, 14, 20>(1, 5, 0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, lanes...);
    FourSteps<G, 5, 9, 14, 20>(5, 5, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8, lanes...);
    FourSteps<G, 5, 9, 14, 20>(9, 5, 0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, lanes...);
    FourSteps<G, 5, 9, 14, 20>(13, 5, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A, lanes...);

    FourSteps<H, 4, 11, 16, 23>(5, 3, 0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, lanes...);
    FourSteps<H, 4, 11, 16, 23>(1, 3, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70, lanes...);
    FourSteps<H, 4, 11, 16, 23>(13, 3, 0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, lanes...);
    FourSteps<H, 4, 11, 16, 23>(9, 3, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665, lanes...);

    FourSteps<I, 6, 10, 15, 21>(0, 7, 0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, lanes...);
    FourSteps<I, 6, 10, 15, 21>(12, 7, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1, lanes...);
    FourSteps<I, 6, 10, 15, 21>(8, 7, 0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, lanes...);
    FourSteps<I, 6, 10, 15, 21>(4, 7, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391, lanes...);

    State const *former = before;
    auto const add = [&](State &s) {
        s = {s.a + former->a, s.b + former->b, s.c + former->c, s.d + former->d};
        ++former;
    };
    (add(lanes.s), ...);
}

} // namespace md5

#endif
