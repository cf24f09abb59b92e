#ifndef TUZUTIL_ASCII_NAMES
#define TUZUTIL_ASCII_NAMES

// Compares names without regard to the case of ASCII letters. The locale has no influence. Keywords and the names of
// categories and factories are compared in this way.

#include "tuzutil/TSTRING.h"

#include <algorithm>
#include <string_view>

namespace ascii_names {

inline char Fold(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool IsEqual(char const *a, char const *b) noexcept {
    while (*a && Fold(*a) == Fold(*b))
        ++a, ++b;
    return Fold(*a) == Fold(*b);
}

// Returns whether two names are equal. A null string and an empty one are equal.
inline bool IsEqual(TString const &a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Fold(x) == Fold(y); });
}
inline bool IsEqual(TString const &a, TString const &b) noexcept {
    return IsEqual(a, b.view());
}

// Returns a negative value if `a` is less than `b`, 0 if they are equal, and otherwise a positive value. Compares the
// bytes of the names in lower case. If the longer name begins with the shorter one, the shorter name is less.
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
