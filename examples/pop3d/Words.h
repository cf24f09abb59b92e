#ifndef POP3D_WORDS_H
#define POP3D_WORDS_H

// Words: how a command line is taken apart, and made unreadable afterwards.

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace pop3d {

// Overwrites a secret in a way that the optimizer keeps: the writes are volatile.
inline void WipeBytes(char *text, std::size_t count) {
    for (char volatile *at = text; count > 0; --count)
        *at++ = 0;
}

// Cuts the next word off; "" if there is none.
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

// A number of any length, digits only. Those beyond 32 bits become the largest of these, on every system.
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
