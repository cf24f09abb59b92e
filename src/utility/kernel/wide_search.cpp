// Searches of 32 bytes at a time. Each function has a body for AVX2, and uses it if the processor has AVX2. Narrower
// vector instructions would run slowly after such a body, so the compiler puts the instruction "vzeroupper" at the end
// of the body.

#include "utility/kernel/wide_search.h"

#include "utility/kernel/ascii_case.h"
#include "utility/kernel/byte_search.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#if defined(__SSE2__)

#include <immintrin.h>

#define TUZUTIL_AVX2 __attribute__((target("avx2")))

namespace {

constexpr std::ptrdiff_t fsWidth = 32;
constexpr std::size_t fsSmallSet = 8;          // a set of more bytes is not compared byte by byte
constexpr std::ptrdiff_t fsLong = 4 * fsWidth; // a shorter range is left to the functions of byte_search.h

bool HasAvx2() noexcept {
    // No test gets here: the machines on which coverage is measured have AVX2.
    return __builtin_cpu_supports("avx2") != 0;
}

TUZUTIL_AVX2 inline __m256i Load32(char const *at) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<__m256i const *>(at));
}

// Returns the last place up to `at` whose address is a multiple of 32. A block of 32 bytes there lies in one line of
// the cache.
template <typename Char>
Char *Aligned(Char *at) noexcept {
    return at - reinterpret_cast<std::uintptr_t>(at) % fsWidth;
}

TUZUTIL_AVX2 inline unsigned int Mask32(__m256i equal) noexcept {
    return static_cast<unsigned int>(_mm256_movemask_epi8(equal));
}

// Each of the next two functions searches whole blocks, and moves `from` or `end` past them. If the function returns
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
    if (unsigned int const hits = Mask32(_mm256_cmpeq_epi8(Load32(end - fsWidth), wanted)))
        return end - 1 - __builtin_clz(hits);
    end = Aligned(end); // the bytes after it have been searched
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

// Returns the first `a` in the range whose next byte is `b`, or null. The last block may overlap the block before it,
// so no bytes are left to the caller. REQUIRES: the range has more than 32 bytes.
TUZUTIL_AVX2 char const *PairWide(char const *from, char const *end, char a, char b) noexcept {
    __m256i const wantedA = _mm256_set1_epi8(a);
    __m256i const wantedB = _mm256_set1_epi8(b);
    auto const pairs = [&](char const *at) TUZUTIL_AVX2 {
        return _mm256_and_si256(_mm256_cmpeq_epi8(Load32(at), wantedA), _mm256_cmpeq_epi8(Load32(at + 1), wantedB));
    };
    char const *const tail = end - fsWidth - 1; // the last block whose next byte is in the range
    for (auto blocks = (tail - from) / (4 * fsWidth); blocks > 0; --blocks, from += 4 * fsWidth) {
        __m256i const low = _mm256_or_si256(pairs(from), pairs(from + fsWidth));
        __m256i const high = _mm256_or_si256(pairs(from + 2 * fsWidth), pairs(from + 3 * fsWidth));
        if (Mask32(_mm256_or_si256(low, high)) != 0)
            break;
    }
    for (; from < tail; from += fsWidth) {
        if (unsigned int const hits = Mask32(pairs(from)))
            return from + __builtin_ctz(hits);
    }
    unsigned int const hits = Mask32(pairs(tail));
    return hits ? tail + __builtin_ctz(hits) : nullptr;
}

TUZUTIL_AVX2 inline void Store32(char *at, __m256i bytes) noexcept {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(at), bytes);
}

// Works like byte_search::CopyDoubled(), but leaves up to 32 bytes to the caller. Moves `from` past the copied bytes,
// and returns the end of their copy. A block may be copied before a `b` in it is found. The bytes after this `b` are
// then copied again, one place further on.
TUZUTIL_AVX2 char *CopyDoubledInBlocks(char const *&from, char const *end, char a, char b, char *to) noexcept {
    __m256i const wantedA = _mm256_set1_epi8(a);
    __m256i const wantedB = _mm256_set1_epi8(b);
    auto const pairs = [&](__m256i bytes, char const *next) TUZUTIL_AVX2 {
        return _mm256_and_si256(_mm256_cmpeq_epi8(bytes, wantedA), _mm256_cmpeq_epi8(Load32(next), wantedB));
    };
    while (end - from > fsWidth) {
        for (; end - from > 4 * fsWidth; from += 4 * fsWidth, to += 4 * fsWidth) {
            __m256i const one = Load32(from);
            __m256i const two = Load32(from + fsWidth);
            __m256i const three = Load32(from + 2 * fsWidth);
            __m256i const four = Load32(from + 3 * fsWidth);
            __m256i const low = _mm256_or_si256(pairs(one, from + 1), pairs(two, from + fsWidth + 1));
            __m256i const high =
                _mm256_or_si256(pairs(three, from + 2 * fsWidth + 1), pairs(four, from + 3 * fsWidth + 1));
            Store32(to, one);
            Store32(to + fsWidth, two);
            Store32(to + 2 * fsWidth, three);
            Store32(to + 3 * fsWidth, four);
            if (Mask32(_mm256_or_si256(low, high)) != 0)
                break;
        }
        for (unsigned int hits = 0; end - from > fsWidth && hits == 0;) {
            __m256i const bytes = Load32(from);
            Store32(to, bytes);
            hits = Mask32(pairs(bytes, from + 1));
            auto const count = hits ? __builtin_ctz(hits) + 1 : fsWidth;
            from += count;
            to += count;
            if (hits)
                *to++ = b;
        }
    }
    return to;
}

// A block of at most 64 bytes.
struct THits {
    char const *at;
    char const *next;     // the end of the block
    std::uint64_t places; // one bit for each place at which the text may begin
};

// Compares the first and the last byte of the text at each place from `from` to `last`. Returns the first block in
// which both match somewhere, or a block without places. The first blocks and the last ones may overlap. Calls no
// function, because the compiler would have to reload the constants after a call. REQUIRES: the 31 bytes before `last`
// can be read.
TUZUTIL_AVX2 THits NextHits(char const *from, char const *last, char const *text, std::size_t count) noexcept {
    __m256i const first = _mm256_set1_epi8(text[0]);
    __m256i const final = _mm256_set1_epi8(text[count - 1]);
    auto const hits = [&](char const *at) TUZUTIL_AVX2 {
        return _mm256_and_si256(_mm256_cmpeq_epi8(Load32(at), first), _mm256_cmpeq_epi8(Load32(at + count - 1), final));
    };
    char const *const tail = last - (fsWidth - 1);
    if (from < tail) {
        if (unsigned int const places = Mask32(hits(from)))
            return {from, from + fsWidth, places};
        from = Aligned(from + fsWidth);
    }
    for (; last - from >= 4 * fsWidth - 1; from += 4 * fsWidth) {
        __m256i const one = hits(from);
        __m256i const two = hits(from + fsWidth);
        __m256i const three = hits(from + 2 * fsWidth);
        __m256i const four = hits(from + 3 * fsWidth);
        __m256i const low = _mm256_or_si256(one, two);
        if (Mask32(_mm256_or_si256(low, _mm256_or_si256(three, four))) == 0)
            continue;
        if (Mask32(low) != 0)
            return {from, from + 2 * fsWidth, Mask32(one) | std::uint64_t{Mask32(two)} << 32};
        return {from + 2 * fsWidth, from + 4 * fsWidth, Mask32(three) | std::uint64_t{Mask32(four)} << 32};
    }
    for (; from < tail; from += fsWidth) {
        if (unsigned int const places = Mask32(hits(from)))
            return {from, from + fsWidth, places};
    }
    return {tail, tail + fsWidth, Mask32(hits(tail))};
}

// For each byte, how common it is in mail. The order is only a guess, and a wrong one costs only time.
constexpr std::array<unsigned char, 256> fsCommonness = [] {
    std::array<unsigned char, 256> table{};
    unsigned char commonness = 0;
    for (char const c :
         std::string_view("?:;/QZXJKVWYUGPFMBHLDRCNSIOAET=_-.,\r\n9876543210zqxjkvbygpwfmucldrhsnioate "))
        table[static_cast<unsigned char>(c)] = ++commonness;
    return table;
}();

constexpr std::ptrdiff_t fsGroup = 4 * fsWidth; // the bytes that SkipWithout() tests at once

// Skips groups of places from `from` to `last`, as long as no byte of the group that is `offset` bytes further on is
// `c`. Returns the first place that it did not skip. REQUIRES: `offset` bytes after `last` can be read.
TUZUTIL_AVX2 char const *SkipWithout(char const *from, char const *last, std::size_t offset, char c) noexcept {
    __m256i const wanted = _mm256_set1_epi8(c);
    auto const found = [&](char const *at) TUZUTIL_AVX2 { return _mm256_cmpeq_epi8(Load32(at + offset), wanted); };
    if (last - from < fsGroup - 1 || Mask32(found(from)) != 0)
        return from;
    for (from = Aligned(from + offset + fsWidth) - offset; last - from >= fsGroup - 1; from += fsGroup) {
        __m256i const half = _mm256_or_si256(found(from), found(from + fsWidth));
        if (Mask32(_mm256_or_si256(half, _mm256_or_si256(found(from + 2 * fsWidth), found(from + 3 * fsWidth)))) != 0)
            break;
    }
    return from;
}

// Returns the first occurrence of the text in the range, or null. REQUIRES: the text can begin at 32 places at least.
//
// The search for one byte of the text is more than twice as fast as that for two. So places without the rarer one of
// the first and the last byte are skipped first. This does not pay if the byte is common in the range. Therefore
// the byte may stop the skipping twice, and once more for each 2 KiB. If it does so more often, both bytes are compared
// at every place.
char const *FindWide(char const *from, char const *end, char const *text, std::size_t count) noexcept {
    char const *const last = end - count; // the last place at which the text can begin
    auto const commonness = [=](std::size_t at) { return fsCommonness[static_cast<unsigned char>(text[at])]; };
    std::size_t const rarer = commonness(0) < commonness(count - 1) ? 0 : count - 1;
    char const *const begin = from;
    for (std::ptrdiff_t stops = 0; from <= last; ++stops) {
        bool const skips = stops <= 2 + (from - begin) / 2048;
        if (skips)
            from = SkipWithout(from, last, rarer, text[rarer]);
        THits hits = NextHits(from, skips ? std::min(last, from + fsGroup - 1) : last, text, count);
        from = hits.next;
        for (; hits.places; hits.places &= hits.places - 1) {
            char const *const candidate = hits.at + __builtin_ctzll(hits.places);
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
struct TBitRow {
    TBitRow(char const *set, std::size_t size) noexcept {
        for (std::size_t i = 0; i < size; ++i) {
            auto const c = static_cast<unsigned char>(set[i]);
            isWhole = isWhole && c < 0x80;
            row[c % 16] = static_cast<unsigned char>(row[c % 16] | 1u << (c / 16 % 8));
        }
    }

    alignas(16) unsigned char row[16] = {};
    bool isWhole = true; // whether the row contains the whole set
};

// A set of ASCII characters, of which at most one shares its lower four bits with another. All others are in a row of
// sixteen bytes. The lower four bits of a character are the index at which the row holds this character. Where the row
// holds no character of the set, it holds a byte that belongs to another index and therefore equals no byte that is
// looked up.
struct TCharacterRow {
    // REQUIRES: `size` is at least 1.
    TCharacterRow(char const *set, std::size_t size) noexcept {
        auto const first = static_cast<unsigned char>(*set);
        unsigned int extra = first;
        bool isPossible = true;
        for (std::size_t i = 0; i < size && isPossible; ++i) {
            unsigned int const c = static_cast<unsigned char>(set[i]);
            unsigned int const entry = row[c % 16];
            if (entry % 16 != c % 16)
                row[c % 16] = static_cast<unsigned char>(c);
            else if (entry != c)
                isPossible = extra == c || std::exchange(extra, c) == first;
            isPossible = isPossible && c < 0x80;
        }
        other = static_cast<unsigned char>(extra);
        isWhole = isPossible;
    }

    alignas(16) unsigned char row[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    unsigned char other; // a character that has no place in the row; if all have one, the first character
    bool isWhole;        // whether the row and the other character are the whole set
};

TUZUTIL_AVX2 inline __m256i LoadRow(unsigned char const *row) noexcept {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<__m128i const *>(row)));
}

// An object of the next two classes is called with 32 bytes and returns 32 results. A result is 0 if its byte is not in
// the set. A byte that is not ASCII is in no set, because its result is always 0.

class TLookUpBits {
public:
    TUZUTIL_AVX2 explicit TLookUpBits(TBitRow const &set) noexcept : fRow(LoadRow(set.row)) {}

    TUZUTIL_AVX2 __m256i operator()(__m256i bytes) const noexcept {
        __m256i const bits = _mm256_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 4, 8, 16, 32,
                                              64, -128, 0, 0, 0, 0, 0, 0, 0, 0);
        __m256i const upper = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
        return _mm256_and_si256(_mm256_shuffle_epi8(fRow, bytes), _mm256_shuffle_epi8(bits, upper));
    }

private:
    __m256i fRow;
};

class TLookUpCharacters {
public:
    TUZUTIL_AVX2 explicit TLookUpCharacters(TCharacterRow const &set) noexcept
        : fRow(LoadRow(set.row)), fOther(_mm256_set1_epi8(static_cast<char>(set.other))) {}

    TUZUTIL_AVX2 __m256i operator()(__m256i bytes) const noexcept {
        return _mm256_or_si256(_mm256_cmpeq_epi8(_mm256_shuffle_epi8(fRow, bytes), bytes),
                               _mm256_cmpeq_epi8(fOther, bytes));
    }

private:
    __m256i fRow;
    __m256i fOther;
};

// Combines two blocks of look-up results. The search wants a result that is not 0 or, if `wanted` is false, a result of
// 0. If `a` or `b` has a wanted result, the returned block has one at the same place.
template <bool wanted>
TUZUTIL_AVX2 inline __m256i Both(__m256i a, __m256i b) noexcept {
    return wanted ? _mm256_or_si256(a, b) : _mm256_min_epu8(a, b);
}

// Returns the first byte that is in the set or, if `wanted` is false, not in the set. Returns `end` if there is none.
// The first blocks and the last ones may overlap, so no bytes are left to the caller. REQUIRES: the range has at least
// 32 bytes.
template <bool wanted, typename LookUp, typename Set>
TUZUTIL_AVX2 char const *SkipAscii(char const *from, char const *end, Set const &set) noexcept {
    LookUp const find(set);
    auto const look = [&](char const *at) TUZUTIL_AVX2 { return find(Load32(at)); };
    auto const lookFour = [&](char const *at) TUZUTIL_AVX2 {
        __m256i const half = Both<wanted>(look(at), look(at + fsWidth));
        return Both<wanted>(half, Both<wanted>(look(at + 2 * fsWidth), look(at + 3 * fsWidth)));
    };
    auto const hits = [&](__m256i found) TUZUTIL_AVX2 {
        return Mask32(_mm256_cmpeq_epi8(found, _mm256_setzero_si256())) ^ (wanted ? ~0u : 0);
    };
    if (unsigned int const places = hits(look(from)))
        return from + __builtin_ctz(places);
    from = Aligned(from + fsWidth);
    for (auto blocks = (end - from) / (8 * fsWidth); blocks > 0; --blocks, from += 8 * fsWidth) {
        __m256i const found = Both<wanted>(lookFour(from), lookFour(from + 4 * fsWidth));
        if (wanted ? _mm256_testz_si256(found, found) == 0 : hits(found) != 0)
            break;
    }
    for (; end - from >= fsWidth; from += fsWidth) {
        if (unsigned int const places = hits(look(from)))
            return from + __builtin_ctz(places);
    }
    unsigned int const places = hits(look(end - fsWidth));
    return places ? end - fsWidth + __builtin_ctz(places) : end;
}

template <typename LookUp, typename Set>
char const *SkipAscii(char const *from, char const *end, Set const &set, bool wanted) noexcept {
    return wanted ? SkipAscii<true, LookUp>(from, end, set) : SkipAscii<false, LookUp>(from, end, set);
}

// Folds blocks, up to the first one that has a zero byte or a byte that is not ASCII. The first blocks and the last
// ones may overlap, because folding a byte twice does the same as folding it once. Calls no function, because the
// compiler would have to reload the constants after a call. REQUIRES: the range has at least 32 bytes.
TUZUTIL_AVX2 char *FoldAscii(char *from, char *end, char first) noexcept {
    __m256i const caseBit = _mm256_set1_epi8(ascii_case::fsCaseBit);
    __m256i const shift = _mm256_set1_epi8(static_cast<char>(-128 - first));
    __m256i const bound = _mm256_set1_epi8(-128 + 26);
    auto const isText = [&](__m256i bytes)
                            TUZUTIL_AVX2 { return Mask32(_mm256_cmpgt_epi8(bytes, _mm256_setzero_si256())) == ~0u; };
    auto const fold = [&](char *at, __m256i bytes) TUZUTIL_AVX2 {
        __m256i const letters = _mm256_cmpgt_epi8(bound, _mm256_add_epi8(bytes, shift));
        __m256i const folded = _mm256_xor_si256(bytes, _mm256_and_si256(letters, caseBit));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(at), folded);
    };
    auto const leastOfFour = [&](char const *at) TUZUTIL_AVX2 {
        __m256i const half = _mm256_min_epi8(Load32(at), Load32(at + fsWidth));
        return _mm256_min_epi8(half, _mm256_min_epi8(Load32(at + 2 * fsWidth), Load32(at + 3 * fsWidth)));
    };
    auto const foldFour = [&](char *at) TUZUTIL_AVX2 {
        fold(at, Load32(at));
        fold(at + fsWidth, Load32(at + fsWidth));
        fold(at + 2 * fsWidth, Load32(at + 2 * fsWidth));
        fold(at + 3 * fsWidth, Load32(at + 3 * fsWidth));
    };
    __m256i const head = Load32(from);
    if (!isText(head))
        return from;
    __m256i const tail = Load32(end - fsWidth); // loaded before it may be folded by the loop
    fold(from, head);
    from = Aligned(from + fsWidth);
    for (auto blocks = (end - from) / (8 * fsWidth); blocks > 0; --blocks, from += 8 * fsWidth) {
        if (!isText(_mm256_min_epi8(leastOfFour(from), leastOfFour(from + 4 * fsWidth))))
            break;
        foldFour(from);
        foldFour(from + 4 * fsWidth);
    }
    if (end - from >= 4 * fsWidth && isText(leastOfFour(from))) {
        foldFour(from);
        from += 4 * fsWidth;
    }
    for (; end - from >= fsWidth; from += fsWidth) {
        __m256i const bytes = Load32(from);
        if (!isText(bytes))
            return from;
        fold(from, bytes);
    }
    if (!isText(tail))
        return from;
    fold(end - fsWidth, tail);
    return end;
}

char *FoldWide(char *from, char *end, char first, int (*fold)(int)) {
    for (;;) {
        if (end - from >= fsWidth)
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
    return end - from >= fsLong && HasAvx2() ? PairWide(from, end, a, b) : byte_search::FindPair(from, end, a, b);
}

char *wide_search::CopyDoubled(char const *from, char const *end, char a, char b, char *to) noexcept {
    if (end - from >= fsLong && HasAvx2())
        to = CopyDoubledInBlocks(from, end, a, b, to);
    return byte_search::CopyDoubled(from, end, a, b, to);
}

char const *wide_search::FindText(char const *from, char const *end, char const *text, std::size_t count) noexcept {
    if (count > 1 && static_cast<std::size_t>(end - from) >= fsLong + count && HasAvx2())
        return FindWide(from, end, text, count);
    return byte_search::FindText(from, end, text, count);
}

char const *wide_search::SkipBlocks(char const *from, char const *end, char const *set, std::size_t size,
                                    bool wanted) noexcept {
    if (end - from >= fsLong && HasAvx2()) {
        if (size != 0) {
            TCharacterRow const characters(set, size);
            if (characters.isWhole)
                return SkipAscii<TLookUpCharacters>(from, end, characters, wanted);
        }
        TBitRow const bits(set, size);
        if (bits.isWhole)
            return SkipAscii<TLookUpBits>(from, end, bits, wanted);
        return size <= fsSmallSet ? SkipWide(from, end, set, size, wanted) : from;
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

char *wide_search::CopyDoubled(char const *from, char const *end, char a, char b, char *to) noexcept {
    return byte_search::CopyDoubled(from, end, a, b, to);
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
