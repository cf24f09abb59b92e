#ifndef POP3D_WORDS_H
#define POP3D_WORDS_H

// Functions that split a command line into words, and that overwrite it after use.

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace pop3d {

// Overwrites a secret with zeros. The writes are volatile, so the optimizer does not remove them.
inline void WipeBytes(char *text, std::size_t count) {
    for (char volatile *at = text; count > 0; --count)
        *at++ = 0;
}

// Returns the next word, and moves `rest` to the text after this word. If there is no word, returns "".
inline char *NextWord(char *&rest) {
    while (*rest == ' ')
        ++rest;
    char *const word = rest;
    while (*rest && *rest != ' ')
        ++rest;
    if (*rest)
        *rest++ = 0;
    return word;
}

inline unsigned int CountWords(char const *text) {
    unsigned int count = 0;
    for (char before = ' '; *text; before = *text++)
        count += before == ' ' && *text != ' ';
    return count;
}

// Reads a number. If the text is empty or contains anything but digits, returns false. If the number does not fit into
// 32 bits, `number` becomes the largest number of 32 bits.
inline bool ParseNumber(char const *text, std::uint32_t &number) {
    if (!*text)
        return false;
    std::uint64_t value = 0;
    for (; *text; ++text) {
        if (*text < '0' || *text > '9')
            return false;
        value = std::min<std::uint64_t>(value * 10 + static_cast<unsigned int>(*text - '0'), UINT32_MAX);
    }
    number = static_cast<std::uint32_t>(value);
    return true;
}

} // namespace pop3d

#endif
