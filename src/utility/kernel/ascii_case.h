#ifndef TUZUTIL_ASCII_CASE
#define TUZUTIL_ASCII_CASE

// Functions for the letter case and the digits of ASCII, in blocks of sixteen bytes. The case of other bytes depends on
// the locale, and so does the case of I and i in some locales. Only the callers know the locale.

#include "utility/kernel/byte_search.h"

#include <cstddef>

namespace ascii_case {

constexpr char fsCaseBit = 0x20; // the difference between a capital and a small letter

#if defined(__SSE2__)
// Replaces each byte from `first` to `first` + 25 by a byte of ones, and each other byte by 0. If `first` is 'A' or
// 'a', the bytes of ones stand for the letters of one case.
inline __m128i Letters(__m128i bytes, char first) noexcept {
    // After this addition, the letters are the 26 least values of a signed byte.
    __m128i const shifted = _mm_add_epi8(bytes, _mm_set1_epi8(static_cast<char>(-128 - first)));
    return _mm_cmplt_epi8(shifted, _mm_set1_epi8(-128 + 26));
}
#endif

// Changes the case of the 26 letters from `first` on. `first` is 'A' or 'a'. If a block has bytes that are not ASCII,
// calls `fold` for each of its bytes. Stops at a block with a zero byte. Returns the beginning of the bytes that are
// left to the caller. REQUIRES: `fold` treats the ASCII letters as ASCII does.
inline char *Fold(char *from, [[maybe_unused]] char *end, [[maybe_unused]] char first,
                  [[maybe_unused]] int (*fold)(int)) {
#if defined(__SSE2__)
    __m128i const caseBit = _mm_set1_epi8(fsCaseBit);
    for (; end - from >= 16; from += 16) {
        __m128i const bytes = byte_search::Load(from);
        if (byte_search::Mask(_mm_cmpgt_epi8(bytes, _mm_setzero_si128())) == 0xFFFFu) {
            __m128i const folded = _mm_xor_si128(bytes, _mm_and_si128(Letters(bytes, first), caseBit));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(from), folded);
            continue;
        }
        if (byte_search::Mask(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())) != 0)
            break;
        for (int i = 0; i < 16; ++i)
            from[i] = static_cast<char>(fold(static_cast<unsigned char>(from[i])));
    }
#endif
    return from;
}

// Returns whether two different bytes are the capital and the small form of one ASCII letter. If `isPlain` is false, I
// and i do not count as one letter.
constexpr bool IsSameLetter(char a, char b, bool isPlain) noexcept {
    char const small = static_cast<char>(a | fsCaseBit);
    return (a ^ b) == fsCaseBit && small >= 'a' && small <= 'z' && (isPlain || small != 'i');
}

#if defined(__SSE2__)
// Compares two texts in blocks, without regard to the case of ASCII letters. If `isPlain` is false, I and i do not
// count as one letter.
class TCaselessBlocks {
public:
    explicit TCaselessBlocks(bool isPlain) noexcept : fExcluded(_mm_set1_epi8(isPlain ? 0 : 'i')) {}

    void Add(char const *a, char const *b) noexcept {
        __m128i const caseBit = _mm_set1_epi8(fsCaseBit);
        __m128i const left = byte_search::Load(a);
        __m128i const differ = _mm_xor_si128(left, byte_search::Load(b));
        // Two bytes match if they differ only in the case bit of a letter.
        __m128i const small = _mm_or_si128(left, caseBit);
        __m128i const foldable = _mm_andnot_si128(_mm_cmpeq_epi8(small, fExcluded), Letters(small, 'a'));
        __m128i const open = _mm_andnot_si128(_mm_and_si128(foldable, caseBit), differ);
        __m128i const equal = _mm_cmpeq_epi8(open, _mm_setzero_si128());
        fLeast = _mm_min_epu8(fLeast, _mm_min_epu8(left, equal)); // 0 at a difference, and at a zero byte of the text
    }
    // Returns whether the blocks added so far have neither a difference nor a zero byte.
    bool AreSame() const noexcept { return byte_search::Mask(_mm_cmpeq_epi8(fLeast, _mm_setzero_si128())) == 0; }

private:
    __m128i fExcluded;
    __m128i fLeast = _mm_set1_epi8(-1);
};
#endif

// Returns whether two texts of 16 to 32 bytes are the same without regard to the case of ASCII letters, and have no
// zero byte. Without SSE2, always returns false.
inline bool IsSameShort([[maybe_unused]] char const *a, [[maybe_unused]] char const *b,
                        [[maybe_unused]] std::size_t count) noexcept {
#if defined(__SSE2__)
    __m128i const caseBit = _mm_set1_epi8(fsCaseBit);
    auto const open = [caseBit](__m128i left, char const *right) {
        __m128i const foldable = _mm_and_si128(Letters(_mm_or_si128(left, caseBit), 'a'), caseBit);
        return _mm_andnot_si128(foldable, _mm_xor_si128(left, byte_search::Load(right)));
    };
    __m128i const first = byte_search::Load(a);
    __m128i const last = byte_search::Load(a + count - 16);
    __m128i const equal = _mm_cmpeq_epi8(_mm_or_si128(open(first, b), open(last, b + count - 16)), _mm_setzero_si128());
    __m128i const least = _mm_min_epu8(_mm_min_epu8(first, last), equal); // 0 at a difference, and at a zero byte
    return byte_search::Mask(_mm_cmpeq_epi8(least, _mm_setzero_si128())) == 0;
#else
    return false;
#endif
}

// Compares `a` and `b` in blocks, over at most `count` bytes, without regard to the case of ASCII letters. Returns the
// number of bytes before the block that ends the comparison, or `count` if no block ends it. A block ends the
// comparison if it has a difference or a zero byte. If `isPlain` is false, a block also ends the comparison if one text
// has I and the other has i at the same place. The last block may overlap the block before it. So all bytes are in
// blocks if there are at least sixteen. If there are fewer, or without SSE2, there are no blocks and the result is 0.
inline std::size_t SameUpTo([[maybe_unused]] char const *a, [[maybe_unused]] char const *b,
                            [[maybe_unused]] std::size_t count, [[maybe_unused]] bool isPlain) noexcept {
    std::size_t same = 0;
#if defined(__SSE2__)
    TCaselessBlocks blocks(isPlain);
    for (; count - same >= 16; same += 16) {
        blocks.Add(a + same, b + same);
        if (!blocks.AreSame())
            return same;
    }
    if (same != 0 && same != count) {
        blocks.Add(a + count - 16, b + count - 16);
        if (blocks.AreSame())
            same = count;
    }
#endif
    return same;
}

// Returns the end of the whole blocks of ASCII digits with which [from, end) begins.
inline char const *SkipDigits(char const *from, [[maybe_unused]] char const *end) noexcept {
#if defined(__SSE2__)
    __m128i const shift = _mm_set1_epi8(static_cast<char>(-128 - '0'));
    __m128i const bound = _mm_set1_epi8(-128 + 10);
    while (end - from >= 16 &&
           byte_search::Mask(_mm_cmplt_epi8(_mm_add_epi8(byte_search::Load(from), shift), bound)) == 0xFFFFu)
        from += 16;
#endif
    return from;
}

} // namespace ascii_case

#endif
