#ifndef TUZUTIL_WIDE_SEARCH
#define TUZUTIL_WIDE_SEARCH

// Searches in long ranges of bytes. If the processor has AVX2, the functions search 32 bytes at a time. Otherwise they
// search as the functions of byte_search.h do. For a short range, those functions are faster.

#include <cstddef>

namespace wide_search {

// These functions do the same as their namesakes in byte_search.h.
char const *FindByte(char const *from, char const *end, char c) noexcept;
char const *FindLastByte(char const *from, char const *end, char c) noexcept;
char const *FindPair(char const *from, char const *end, char a, char b) noexcept;
char const *FindText(char const *from, char const *end, char const *text, std::size_t count) noexcept;

char *CopyDoubled(char const *from, char const *end, char a, char b, char *to) noexcept;

// If `wanted` is true, returns the first byte in [from, end) that is one of the `size` bytes of `set`. Otherwise
// returns the first byte that is none of them. If the blocks that can be searched at once contain no such byte, returns
// the beginning of the rest.
char const *SkipBlocks(char const *from, char const *end, char const *set, std::size_t size, bool wanted) noexcept;

// Changes the case of the 26 ASCII letters from `first` on, in whole blocks. `first` is 'A' or 'a'. If a block has
// bytes that are not ASCII, calls `fold` for each of its bytes. Stops at a block with a zero byte. Returns the
// beginning of the rest.
char *Fold(char *from, char *end, char first, int (*fold)(int));

} // namespace wide_search

#endif
