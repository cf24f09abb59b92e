#ifndef TUZUTIL_ASCII_NAMES
#define TUZUTIL_ASCII_NAMES

// Names of the library's own vocabulary, compared without regard to letter case. Only ASCII letters are folded, so the
// locale has no part in it.

#include "tuzutil/TSTRING.h"

namespace ascii_names {

inline char Fold(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool IsEqual(char const *a, char const *b) noexcept {
    while (*a && Fold(*a) == Fold(*b))
        ++a, ++b;
    return Fold(*a) == Fold(*b);
}

// Null and nil count as the same.
inline bool IsEqual(TString const &a, TString const &b) noexcept {
    char const *const left = a;
    char const *const right = b;
    if (a.length() != b.length())
        return false;
    for (unsigned int i = 0; i < a.length(); ++i) {
        if (Fold(left[i]) != Fold(right[i]))
            return false;
    }
    return true;
}

// Below, at or above 0: by the bytes of the lower case, a shorter name before a longer one that begins with it.
inline int Compare(TString const &a, TString const &b) noexcept {
    char const *const left = a;
    char const *const right = b;
    for (unsigned int i = 0; i < a.length() && i < b.length(); ++i) {
        int const difference = static_cast<unsigned char>(Fold(left[i])) - static_cast<unsigned char>(Fold(right[i]));
        if (difference != 0)
            return difference;
    }
    return a.length() < b.length() ? -1 : a.length() > b.length();
}

} // namespace ascii_names

#endif
