// CalculateMD5: computes the digest of bytes that arrive in pieces. The bytes may be a secret key. So the destructor
// zeroes the state, and bytes are copied only if their block is not complete yet. No lock is taken and nothing is
// allocated.

#include "tuzutil/MD5.h"

#include "platform/platform.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr std::uint32_t fsBlock = 64;
constexpr std::uint32_t fsLengthAt = 56; // the place of the length in the final block

std::uint32_t LoadWord(char const *from) noexcept {
    std::uint32_t word;
    std::memcpy(&word, from, sizeof word);
    if constexpr (std::endian::native == std::endian::big)
        word = __builtin_bswap32(word);
    return word;
}

void StoreWord(char *to, std::uint32_t word) noexcept {
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
    std::uint32_t a, b, c, d;
};

// Does four steps, in which each word of the state has each role once. `first` is the index of the word of the block
// that the first step uses. Each further step adds `stride` to the index, modulo 16.
template <typename Function, int turn1, int turn2, int turn3, int turn4>
[[gnu::always_inline]] inline void FourSteps(State &s, char const *block, int first, int stride, std::uint32_t sine1,
                                             std::uint32_t sine2, std::uint32_t sine3, std::uint32_t sine4) noexcept {
    auto const word = [=](int step) { return LoadWord(block + std::ptrdiff_t{(first + step * stride) % 16} * 4); };
    Step<Function>(s.a, s.b, s.c, s.d, word(0), sine1, turn1);
    Step<Function>(s.d, s.a, s.b, s.c, word(1), sine2, turn2);
    Step<Function>(s.c, s.d, s.a, s.b, word(2), sine3, turn3);
    Step<Function>(s.b, s.c, s.d, s.a, word(3), sine4, turn4);
}

} // namespace

CalculateMD5::CalculateMD5() noexcept : fState{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476} {}

CalculateMD5::~CalculateMD5() {
    platform::SecureZero(fBlock, sizeof fBlock);
    // In a keyed digest, the state after the key must stay as secret as the key, because anybody who knows this state
    // can compute digests with the key.
    platform::SecureZero(fState, sizeof fState);
}

// Reads the words directly from the blocks, so that no copy of the blocks remains in memory.
void CalculateMD5::Compress(char const *blocks, std::uint32_t count) noexcept {
    State s = {fState[0], fState[1], fState[2], fState[3]};
    for (; count; --count, blocks += fsBlock) {
        State const before = s;

        FourSteps<F, 7, 12, 17, 22>(s, blocks, 0, 1, 0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE);
        FourSteps<F, 7, 12, 17, 22>(s, blocks, 4, 1, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501);
        FourSteps<F, 7, 12, 17, 22>(s, blocks, 8, 1, 0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE);
        FourSteps<F, 7, 12, 17, 22>(s, blocks, 12, 1, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821);

        FourSteps<G, 5, 9, 14, 20>(s, blocks, 1, 5, 0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA);
        FourSteps<G, 5, 9, 14, 20>(s, blocks, 5, 5, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8);
        FourSteps<G, 5, 9, 14, 20>(s, blocks, 9, 5, 0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED);
        FourSteps<G, 5, 9, 14, 20>(s, blocks, 13, 5, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A);

        FourSteps<H, 4, 11, 16, 23>(s, blocks, 5, 3, 0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C);
        FourSteps<H, 4, 11, 16, 23>(s, blocks, 1, 3, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70);
        FourSteps<H, 4, 11, 16, 23>(s, blocks, 13, 3, 0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05);
        FourSteps<H, 4, 11, 16, 23>(s, blocks, 9, 3, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665);

        FourSteps<I, 6, 10, 15, 21>(s, blocks, 0, 7, 0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039);
        FourSteps<I, 6, 10, 15, 21>(s, blocks, 12, 7, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1);
        FourSteps<I, 6, 10, 15, 21>(s, blocks, 8, 7, 0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1);
        FourSteps<I, 6, 10, 15, 21>(s, blocks, 4, 7, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391);

        s = {s.a + before.a, s.b + before.b, s.c + before.c, s.d + before.d};
    }
    fState[0] = s.a;
    fState[1] = s.b;
    fState[2] = s.c;
    fState[3] = s.d;
}

void CalculateMD5::Write(char const *bytes, unsigned long count) noexcept {
    if (fFinished || count == 0)
        return;
    fByteCount += static_cast<std::uint32_t>(count);
    if (fFill) {
        auto const taken = static_cast<std::uint32_t>(std::min<unsigned long>(count, fsBlock - fFill));
        std::memcpy(fBlock + fFill, bytes, taken);
        fFill += taken;
        bytes += taken;
        count -= taken;
        if (fFill < fsBlock)
            return;
        Compress(fBlock, 1);
    }
    // Compress() takes the number of blocks as 32 bits, so long data are passed in several calls.
    while (count >= fsBlock) {
        auto const blocks = static_cast<std::uint32_t>(std::min<unsigned long>(count / fsBlock, 0xFFFFFFu));
        Compress(bytes, blocks);
        bytes += std::size_t{blocks} * fsBlock;
        count -= static_cast<unsigned long>(blocks) * fsBlock;
    }
    fFill = static_cast<std::uint32_t>(count);
    if (fFill)
        std::memcpy(fBlock, bytes, fFill);
}

void CalculateMD5::Done(char *const digest) noexcept {
    if (!fFinished) {
        fBlock[fFill++] = static_cast<char>(0x80);
        if (fFill > fsLengthAt) { // the block has no room for the length
            std::memset(fBlock + fFill, 0, fsBlock - fFill);
            Compress(fBlock, 1);
            fFill = 0;
        }
        std::memset(fBlock + fFill, 0, fsLengthAt - fFill);
        fBitLength[0] = fByteCount * 8;
        StoreWord(fBlock + fsLengthAt, fBitLength[0]);
        StoreWord(fBlock + fsLengthAt + 4, fBitLength[1]);
        Compress(fBlock, 1);
        platform::SecureZero(fBlock, sizeof fBlock);
        fFill = 0;
        fFinished = 1;
    }
    for (int word = 0; word < 4; ++word)
        StoreWord(digest + std::ptrdiff_t{word} * 4, fState[word]);
}

void CalculateMD5::Calc(char const *text, char *const digest) noexcept {
    CalculateMD5 md5;
    if (text)
        md5.Write(text, static_cast<unsigned long>(std::strlen(text)));
    md5.Done(digest);
}
