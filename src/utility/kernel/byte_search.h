#ifndef TUZUTIL_BYTE_SEARCH
#define TUZUTIL_BYTE_SEARCH

// Searches in ranges of bytes. With SSE2, the functions compare sixteen bytes at a time. They never read outside the
// range.

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace byte_search {

#if defined(__SSE2__)
inline __m128i Load(char const *at) noexcept {
    return _mm_loadu_si128(reinterpret_cast<__m128i const *>(at));
}
inline unsigned int Mask(__m128i equal) noexcept {
    return static_cast<unsigned int>(_mm_movemask_epi8(equal));
}
#endif

// Returns the first `c` in [from, end), or null.
inline char const *FindByte(char const *from, char const *end, char c) noexcept {
#if defined(__SSE2__)
    __m128i const wanted = _mm_set1_epi8(c);
    for (; end - from >= 16; from += 16) {
        if (unsigned int const hits = Mask(_mm_cmpeq_epi8(Load(from), wanted)))
            return from + __builtin_ctz(hits);
    }
#endif
    // The analyzer does not know that the loop above ends within the range.
    for (; from != end; ++from) {
        if (*from == c) // NOLINT(clang-analyzer-core.UndefinedBinaryOperatorResult)
            return from;
    }
    return nullptr;
}

// Returns the last `c` in [from, end), or null.
inline char const *FindLastByte(char const *from, char const *end, char c) noexcept {
#if defined(__SSE2__)
    __m128i const wanted = _mm_set1_epi8(c);
    for (; end - from >= 16; end -= 16) {
        if (unsigned int const hits = Mask(_mm_cmpeq_epi8(Load(end - 16), wanted)))
            return end - 1 - (__builtin_clz(hits) - 16);
    }
#endif
    while (end != from) {
        if (*--end == c)
            return end;
    }
    return nullptr;
}

// Returns the last byte in [from, end) that is `a` or `b`, or null.
inline char const *FindLastEither(char const *from, char const *end, char a, char b) noexcept {
#if defined(__SSE2__)
    __m128i const wantedA = _mm_set1_epi8(a);
    __m128i const wantedB = _mm_set1_epi8(b);
    for (; end - from >= 16; end -= 16) {
        __m128i const bytes = Load(end - 16);
        __m128i const either = _mm_or_si128(_mm_cmpeq_epi8(bytes, wantedA), _mm_cmpeq_epi8(bytes, wantedB));
        if (unsigned int const hits = Mask(either))
            return end - 1 - (__builtin_clz(hits) - 16);
    }
#endif
    while (end != from) {
        if (*--end == a || *end == b)
            return end;
    }
    return nullptr;
}

// Returns the number of bytes in [from, end) that are `c`.
inline std::size_t CountByte(char const *from, char const *end, char c) noexcept {
    std::size_t count = 0;
#if defined(__SSE2__)
    __m128i const wanted = _mm_set1_epi8(c);
    __m128i const zero = _mm_setzero_si128();
    while (end - from >= 16) {
        // Each of the 16 lanes counts to 255 at most.
        __m128i lanes = zero;
        for (int block = 0; block < 255 && end - from >= 16; ++block, from += 16)
            lanes = _mm_sub_epi8(lanes, _mm_cmpeq_epi8(Load(from), wanted));
        __m128i const sums = _mm_sad_epu8(lanes, zero);
        count += static_cast<unsigned int>(_mm_cvtsi128_si32(sums)) +
                 static_cast<unsigned int>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
    }
#endif
    // The analyzer does not know that the loop above ends within the range.
    for (; from != end; ++from)
        count += *from == c ? 1 : 0; // NOLINT(clang-analyzer-core.UndefinedBinaryOperatorResult)
    return count;
}

// Returns the first of these bytes in [from, end): an LF whose next byte in the range is a dot, an LF without a CR
// before it, a byte other than LF after a CR. Returns null if there is none. REQUIRES: from[-1] can be read.
inline char const *FindDottedOrBare(char const *from, char const *end) noexcept {
#if defined(__SSE2__)
    __m128i const lineFeed = _mm_set1_epi8('\n');
    __m128i const carriageReturn = _mm_set1_epi8('\r');
    __m128i const dot = _mm_set1_epi8('.');
    for (; end - from >= 17; from += 16) {
        __m128i const ends = _mm_cmpeq_epi8(Load(from), lineFeed);
        __m128i const dotted = _mm_and_si128(ends, _mm_cmpeq_epi8(Load(from + 1), dot));
        __m128i const bare = _mm_xor_si128(ends, _mm_cmpeq_epi8(Load(from - 1), carriageReturn));
        if (unsigned int const hits = Mask(_mm_or_si128(dotted, bare)))
            return from + __builtin_ctz(hits);
    }
#endif
    for (; from != end; ++from) {
        if ((*from == '\n') != (from[-1] == '\r') || (*from == '\n' && end - from > 1 && from[1] == '.'))
            return from;
    }
    return nullptr;
}

// Returns the first byte in [from, end) that is `a` or `b`, or null.
inline char const *FindEither(char const *from, char const *end, char a, char b) noexcept {
#if defined(__SSE2__)
    __m128i const wantedA = _mm_set1_epi8(a);
    __m128i const wantedB = _mm_set1_epi8(b);
    for (; end - from >= 16; from += 16) {
        __m128i const bytes = Load(from);
        __m128i const either = _mm_or_si128(_mm_cmpeq_epi8(bytes, wantedA), _mm_cmpeq_epi8(bytes, wantedB));
        if (unsigned int const hits = Mask(either))
            return from + __builtin_ctz(hits);
    }
#endif
    for (; from != end; ++from) {
        if (*from == a || *from == b)
            return from;
    }
    return nullptr;
}

// Copies [from, end) to `to` up to the first byte that is `a` or `b`. Copies and returns this byte, or returns null if
// there is none. The bytes of `to` behind the copied ones may be overwritten, up to to[end - from - 1]. For a line of
// text, this takes less time than a search and a call of memcpy().
inline char const *CopyToEither(char const *from, char const *end, char a, char b, char *to) noexcept {
    auto const size = static_cast<std::size_t>(end - from);
    std::size_t at = 0;
#if defined(__SSE2__)
    __m128i const wantedA = _mm_set1_epi8(a);
    __m128i const wantedB = _mm_set1_epi8(b);
    for (std::size_t const blocks = size / 16 * 16; at != blocks; at += 16) {
        __m128i const bytes = Load(from + at);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(to + at), bytes);
        __m128i const either = _mm_or_si128(_mm_cmpeq_epi8(bytes, wantedA), _mm_cmpeq_epi8(bytes, wantedB));
        if (unsigned int const hits = Mask(either))
            return from + at + __builtin_ctz(hits);
    }
#endif
    for (; at != size; ++at) {
        to[at] = from[at];
        if (from[at] == a || from[at] == b)
            return from + at;
    }
    return nullptr;
}

// Returns the first LF in [from, end), or null. If `hasBareReturn` is not null, looks at each CR before the result, or
// before `end` if there is no LF. If a byte of the range that is not LF follows such a CR, sets `*hasBareReturn` to
// true. A single search finds the end of a usual line, in which the first CR is the one before the LF.
inline char const *FindLineFeed(char const *from, char const *end, bool *hasBareReturn) noexcept {
    if (!hasBareReturn || *hasBareReturn)
        return FindByte(from, end, '\n');
    char const *const found = FindEither(from, end, '\r', '\n');
    if (!found || *found == '\n')
        return found;
    char const *const next = found + 1;
    if (next == end)
        return nullptr;
    if (*next == '\n')
        return next;
    *hasBareReturn = true;
    return FindByte(next, end, '\n');
}

// Returns the first `a` in [from, end) whose next byte, also in the range, is `b`. Returns null if there is none.
inline char const *FindPair(char const *from, char const *end, char a, char b) noexcept {
#if defined(__SSE2__)
    __m128i const wantedA = _mm_set1_epi8(a);
    __m128i const wantedB = _mm_set1_epi8(b);
    for (; end - from >= 17; from += 16) {
        __m128i const both =
            _mm_and_si128(_mm_cmpeq_epi8(Load(from), wantedA), _mm_cmpeq_epi8(Load(from + 1), wantedB));
        if (unsigned int const hits = Mask(both))
            return from + __builtin_ctz(hits);
    }
#endif
    for (; end - from >= 2; ++from) {
        if (from[0] == a && from[1] == b)
            return from;
    }
    return nullptr;
}

// Copies [from, end) to `to`, and writes each `b` that follows an `a` of the range twice. Returns the end of the copy.
// No byte behind the copy is written. REQUIRES: `to` has room for half as many bytes again as the range has.
inline char *CopyDoubled(char const *from, char const *end, char a, char b, char *to) noexcept {
#if defined(__SSE2__)
    __m128i const wantedA = _mm_set1_epi8(a);
    __m128i const wantedB = _mm_set1_epi8(b);
    while (end - from >= 17) {
        __m128i const bytes = Load(from);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(to), bytes);
        unsigned int const hits =
            Mask(_mm_and_si128(_mm_cmpeq_epi8(bytes, wantedA), _mm_cmpeq_epi8(Load(from + 1), wantedB)));
        auto const count = hits ? __builtin_ctz(hits) + 1 : 16;
        from += count;
        to += count;
        if (hits)
            *to++ = b;
    }
#endif
    for (; from != end; ++from) {
        *to++ = *from;
        if (*from == a && end - from >= 2 && from[1] == b)
            *to++ = b;
    }
    return to;
}

// Returns the first occurrence of the `count` bytes of `text` in [from, end), or null. REQUIRES: count is at least 1.
inline char const *FindText(char const *from, char const *end, char const *text, std::size_t count) noexcept {
    if (count == 1)
        return FindByte(from, end, *text);
    if (static_cast<std::size_t>(end - from) < count)
        return nullptr;
    char const *const last = end - count; // the last place at which the text can begin
#if defined(__SSE2__)
    __m128i const first = _mm_set1_epi8(text[0]);
    __m128i const final = _mm_set1_epi8(text[count - 1]);
    for (; last - from >= 15; from += 16) {
        unsigned int hits =
            Mask(_mm_and_si128(_mm_cmpeq_epi8(Load(from), first), _mm_cmpeq_epi8(Load(from + count - 1), final)));
        for (; hits; hits &= hits - 1) {
            char const *const candidate = from + __builtin_ctz(hits);
            if (std::memcmp(candidate + 1, text + 1, count - 2) == 0)
                return candidate;
        }
    }
#endif
    for (; from <= last; ++from) {
        if (*from == *text && std::memcmp(from, text, count) == 0)
            return from;
    }
    return nullptr;
}

} // namespace byte_search

#endif
