// Searches of 32 bytes at a time. Each function has a body for AVX2, and uses it if the processor has AVX2. At the end
// of such a body, the compiler puts the instruction after which narrower vector instructions run at full speed again.

#include "utility/kernel/wide_search.h"

#include "utility/kernel/ascii_case.h"
#include "utility/kernel/byte_search.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)

#include <immintrin.h>

#define TUZUTIL_AVX2 __attribute__((target("avx2")))

namespace {

constexpr std::ptrdiff_t fsWidth = 32;
constexpr std::size_t fsSmallSet = 8; // the most bytes of a set to compare one by one; else the caller searches
constexpr std::ptrdiff_t fsLong = 4 * fsWidth; // a shorter range is left to the functions of byte_search.h

bool HasAvx2() noexcept {
    return __builtin_cpu_supports("avx2") != 0;
}

TUZUTIL_AVX2 inline __m256i Load32(char const *at) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<__m256i const *>(at));
}

TUZUTIL_AVX2 inline unsigned int Mask32(__m256i equal) noexcept {
    return static_cast<unsigned int>(_mm256_movemask_epi8(equal));
}

// Each of the next four functions searches whole blocks, and moves `from` or `end` past them. If the function returns
// null, the caller must search the rest between `from` and `end`.

TUZUTIL_AVX2 char const *ByteInBlocks(char const *&from, char const *end, char c) noexcept {
    __m256i const wanted = _mm256_set1_epi8(c);
    for (; end - from >= 4 * fsWidth; from += 4 * fsWidth) {
        __m256i const first = _mm256_cmpeq_epi8(Load32(from), wanted);
        __m256i const second = _mm256_cmpeq_epi8(Load32(from + 32), wanted);
        __m256i const third = _mm256_cmpeq_epi8(Load32(from + 64), wanted);
        __m256i const fourth = _mm256_cmpeq_epi8(Load32(from + 96), wanted);
        if (Mask32(_mm256_or_si256(_mm256_or_si256(first, second), _mm256_or_si256(third, fourth))) != 0)
            break;
    }
    for (; end - from >= fsWidth; from += fsWidth) {
        if (unsigned int const hits = Mask32(_mm256_cmpeq_epi8(Load32(from), wanted)))
            return from + __builtin_ctz(hits);
    }
    return nullptr;
}

TUZUTIL_AVX2 char const *LastByteInBlocks(char const *from, char const *&end, char c) noexcept {
    __m256i const wanted = _mm256_set1_epi8(c);
    for (; end - from >= 4 * fsWidth; end -= 4 * fsWidth) {
        __m256i const first = _mm256_cmpeq_epi8(Load32(end - 128), wanted);
        __m256i const second = _mm256_cmpeq_epi8(Load32(end - 96), wanted);
        __m256i const third = _mm256_cmpeq_epi8(Load32(end - 64), wanted);
        __m256i const fourth = _mm256_cmpeq_epi8(Load32(end - 32), wanted);
        if (Mask32(_mm256_or_si256(_mm256_or_si256(first, second), _mm256_or_si256(third, fourth))) != 0)
            break;
    }
    for (; end - from >= fsWidth; end -= fsWidth) {
        if (unsigned int const hits = Mask32(_mm256_cmpeq_epi8(Load32(end - fsWidth), wanted)))
            return end - 1 - __builtin_clz(hits);
    }
    return nullptr;
}

TUZUTIL_AVX2 char const *PairInBlocks(char const *&from, char const *end, char a, char b) noexcept {
    __m256i const wantedA = _mm256_set1_epi8(a);
    __m256i const wantedB = _mm256_set1_epi8(b);
    for (; end - from > 2 * fsWidth; from += 2 * fsWidth) {
        __m256i const low =
            _mm256_and_si256(_mm256_cmpeq_epi8(Load32(from), wantedA), _mm256_cmpeq_epi8(Load32(from + 1), wantedB));
        __m256i const high = _mm256_and_si256(_mm256_cmpeq_epi8(Load32(from + 32), wantedA),
                                              _mm256_cmpeq_epi8(Load32(from + 33), wantedB));
        if (Mask32(_mm256_or_si256(low, high)) == 0)
            continue;
        unsigned int const hits = Mask32(low);
        return hits ? from + __builtin_ctz(hits) : from + 32 + __builtin_ctz(Mask32(high));
    }
    return nullptr;
}

// Compares the first and the last byte of the text at each place. If both match, compares the rest of the text.
TUZUTIL_AVX2 char const *TextInBlocks(char const *&from, char const *end, char const *text,
                                      std::size_t count) noexcept {
    char const *const last = end - count; // the last place at which the text can begin
    __m256i const first = _mm256_set1_epi8(text[0]);
    __m256i const final = _mm256_set1_epi8(text[count - 1]);
    for (; last - from >= 2 * fsWidth - 1; from += 2 * fsWidth) {
        char const *const ends = from + count - 1;
        __m256i const low =
            _mm256_and_si256(_mm256_cmpeq_epi8(Load32(from), first), _mm256_cmpeq_epi8(Load32(ends), final));
        __m256i const high =
            _mm256_and_si256(_mm256_cmpeq_epi8(Load32(from + 32), first), _mm256_cmpeq_epi8(Load32(ends + 32), final));
        if (Mask32(_mm256_or_si256(low, high)) == 0)
            continue;
        std::uint64_t hits = Mask32(low) | std::uint64_t{Mask32(high)} << 32;
        for (; hits; hits &= hits - 1) {
            char const *const candidate = from + __builtin_ctzll(hits);
            if (std::memcmp(candidate + 1, text + 1, count - 2) == 0)
                return candidate;
        }
    }
    return nullptr;
}

TUZUTIL_AVX2 char const *SkipWide(char const *from, char const *end, char const *set, std::size_t size,
                                  bool wanted) noexcept {
    unsigned int const flip = wanted ? 0 : ~0u;
    for (; end - from >= fsWidth; from += fsWidth) {
        __m256i const bytes = Load32(from);
        __m256i found = _mm256_setzero_si256();
        for (std::size_t i = 0; i < size; ++i)
            found = _mm256_or_si256(found, _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(set[i])));
        if (unsigned int const hits = Mask32(found) ^ flip)
            return from + __builtin_ctz(hits);
    }
    return from;
}

// A set of ASCII characters, as a row of sixteen bytes. The lower four bits of a character are the index of a byte of
// the row, and the upper four bits are the number of a bit in this byte. The bit is set if the character is in the set.
struct TAsciiSet {
    TAsciiSet(char const *set, std::size_t size) noexcept {
        for (std::size_t i = 0; i < size; ++i) {
            auto const c = static_cast<unsigned char>(set[i]);
            isAscii = isAscii && c < 0x80;
            row[c % 16] = static_cast<unsigned char>(row[c % 16] | 1u << (c / 16 % 8));
        }
    }

    alignas(16) unsigned char row[16] = {};
    bool isAscii = true;
};

// Looks up 32 characters at a time. A byte that is not ASCII gives 0 in the first look-up, so it is in no set. Returns
// `end` if no byte is found. REQUIRES: the range has at least 64 bytes.
TUZUTIL_AVX2 char const *SkipAscii(char const *from, char const *end, TAsciiSet const &set, bool wanted) noexcept {
    __m256i const rows = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<__m128i const *>(set.row)));
    __m256i const bits = _mm256_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 4, 8, 16, 32, 64,
                                          -128, 0, 0, 0, 0, 0, 0, 0, 0);
    __m256i const low = _mm256_set1_epi8(0x0F);
    auto const absent = [&](char const *at) TUZUTIL_AVX2 {
        __m256i const bytes = Load32(at);
        __m256i const upper = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), low);
        __m256i const found = _mm256_and_si256(_mm256_shuffle_epi8(rows, bytes), _mm256_shuffle_epi8(bits, upper));
        return _mm256_cmpeq_epi8(found, _mm256_setzero_si256());
    };
    // Skips the blocks without a wanted byte, and then finds the first wanted byte. The last blocks overlap those
    // before them, so no rest is left.
    unsigned int const flip = wanted ? ~0u : 0;
    for (;; from += 2 * fsWidth) {
        if (end - from < 2 * fsWidth) {
            if (from == end)
                return end;
            from = end - 2 * fsWidth;
        }
        __m256i const first = absent(from);
        __m256i const second = absent(from + fsWidth);
        if (wanted ? Mask32(_mm256_and_si256(first, second)) == ~0u : Mask32(_mm256_or_si256(first, second)) == 0)
            continue;
        unsigned int const hits = Mask32(first) ^ flip;
        return hits ? from + __builtin_ctz(hits) : from + fsWidth + __builtin_ctz(Mask32(second) ^ flip);
    }
}

// Folds whole blocks of 64 bytes, up to the first one that has a zero byte or a byte that is not ASCII. Calls no
// function, because the compiler would have to reload the constants after a call.
TUZUTIL_AVX2 char *FoldAscii(char *from, char *end, char first) noexcept {
    __m256i const caseBit = _mm256_set1_epi8(ascii_case::fsCaseBit);
    __m256i const shift = _mm256_set1_epi8(static_cast<char>(-128 - first));
    __m256i const bound = _mm256_set1_epi8(-128 + 26);
    auto const fold = [&](char *at, __m256i bytes) TUZUTIL_AVX2 {
        __m256i const letters = _mm256_cmpgt_epi8(bound, _mm256_add_epi8(bytes, shift));
        __m256i const folded = _mm256_xor_si256(bytes, _mm256_and_si256(letters, caseBit));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(at), folded);
    };
    for (; end - from >= 2 * fsWidth; from += 2 * fsWidth) {
        __m256i const low = Load32(from);
        __m256i const high = Load32(from + fsWidth);
        __m256i const least = _mm256_min_epi8(low, high);
        if (Mask32(_mm256_cmpgt_epi8(least, _mm256_setzero_si256())) != ~0u)
            break;
        fold(from, low);
        fold(from + fsWidth, high);
    }
    return from;
}

char *FoldWide(char *from, char *end, char first, int (*fold)(int)) {
    for (;;) {
        from = FoldAscii(from, end, first);
        if (end - from < 2 * fsWidth || std::memchr(from, 0, 2 * fsWidth))
            return from;
        for (char *const next = from + 2 * fsWidth; from != next; ++from)
            *from = static_cast<char>(fold(static_cast<unsigned char>(*from)));
    }
}

} // namespace

char const *wide_search::FindByte(char const *from, char const *end, char c) noexcept {
    if (end - from >= fsLong && HasAvx2()) {
        if (char const *const found = ByteInBlocks(from, end, c))
            return found;
    }
    return byte_search::FindByte(from, end, c);
}

char const *wide_search::FindLastByte(char const *from, char const *end, char c) noexcept {
    if (end - from >= fsLong && HasAvx2()) {
        if (char const *const found = LastByteInBlocks(from, end, c))
            return found;
    }
    return byte_search::FindLastByte(from, end, c);
}

char const *wide_search::FindPair(char const *from, char const *end, char a, char b) noexcept {
    if (end - from >= fsLong && HasAvx2()) {
        if (char const *const found = PairInBlocks(from, end, a, b))
            return found;
    }
    return byte_search::FindPair(from, end, a, b);
}

char const *wide_search::FindText(char const *from, char const *end, char const *text, std::size_t count) noexcept {
    if (count > 1 && end - from >= fsLong && static_cast<std::size_t>(end - from) >= count && HasAvx2()) {
        if (char const *const found = TextInBlocks(from, end, text, count))
            return found;
    }
    return byte_search::FindText(from, end, text, count);
}

char const *wide_search::SkipBlocks(char const *from, char const *end, char const *set, std::size_t size,
                                    bool wanted) noexcept {
    if (end - from >= fsLong && HasAvx2()) {
        TAsciiSet const ascii(set, size);
        return ascii.isAscii        ? SkipAscii(from, end, ascii, wanted)
               : size <= fsSmallSet ? SkipWide(from, end, set, size, wanted)
                                    : from;
    }
    if (size > fsSmallSet)
        return from;
    for (; end - from >= 16; from += 16) {
        __m128i const bytes = byte_search::Load(from);
        __m128i found = _mm_setzero_si128();
        for (std::size_t i = 0; i < size; ++i)
            found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(set[i])));
        if (unsigned int const hits = byte_search::Mask(found) ^ (wanted ? 0 : 0xFFFFu))
            return from + __builtin_ctz(hits);
    }
    return from;
}

char *wide_search::Fold(char *from, char *end, char first, int (*fold)(int)) {
    if (end - from >= fsLong && HasAvx2())
        from = FoldWide(from, end, first, fold);
    return ascii_case::Fold(from, end, first, fold);
}

#else

char const *wide_search::FindByte(char const *from, char const *end, char c) noexcept {
    return byte_search::FindByte(from, end, c);
}

char const *wide_search::FindLastByte(char const *from, char const *end, char c) noexcept {
    return byte_search::FindLastByte(from, end, c);
}

char const *wide_search::FindPair(char const *from, char const *end, char a, char b) noexcept {
    return byte_search::FindPair(from, end, a, b);
}

char const *wide_search::FindText(char const *from, char const *end, char const *text, std::size_t count) noexcept {
    return byte_search::FindText(from, end, text, count);
}

char const *wide_search::SkipBlocks(char const *from, char const *, char const *, std::size_t, bool) noexcept {
    return from;
}

char *wide_search::Fold(char *from, char *end, char first, int (*fold)(int)) {
    return ascii_case::Fold(from, end, first, fold);
}

#endif
