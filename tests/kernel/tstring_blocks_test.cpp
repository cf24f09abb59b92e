// Functions of strings that work in blocks of bytes, at every length and with every byte at every place, beside loops
// over single bytes.

#include "tuzutil/TSTRING.h"
#include "utility/kernel/ascii_case.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string>

namespace {

// Texts of letters in which one byte after the other is replaced by each value.
template <typename Check>
void ForEachText(Check check) {
    std::mt19937 random(4711);
    for (std::size_t length = 1; length <= 300; length += length < 70 ? 1 : length % 32 < 2 ? 1 : 15) {
        std::string text(length, 0);
        for (char &c : text)
            c = "aAiIzZmM"[random() % 8];
        for (int value = 0; value < 256; ++value) {
            std::string changed(text);
            changed[random() % length] = static_cast<char>(value);
            check(changed);
        }
    }
}

std::string Folded(std::string text, int fold(int)) {
    for (char &c : text) {
        if (c == 0)
            break;
        c = static_cast<char>(fold(static_cast<unsigned char>(c)));
    }
    return text;
}

} // namespace

TEST(StringBlocks, CaseIsFoldedUpToAZeroByte) {
    ForEachText([](std::string const &text) {
        EXPECT_EQ(TString(text).lowerCase().view(), Folded(text, [](int c) { return std::tolower(c); }));
        EXPECT_EQ(TString(text).upperCase().view(), Folded(text, [](int c) { return std::toupper(c); }));
    });
}

TEST(StringBlocks, ComparisonsIgnoreTheCaseOnly) {
    std::mt19937 random(4712);
    ForEachText([&](std::string const &text) {
        std::string other(text);
        char &c = other[random() % other.size()];
        c = static_cast<char>(random() % 2 ? c ^ 0x20 : c + static_cast<char>(random() % 3));
        std::string const a = Folded(text, [](int character) { return std::tolower(character); });
        std::string const b = Folded(other, [](int character) { return std::tolower(character); });
        bool const isSame = a.substr(0, a.find('\0')) == b.substr(0, b.find('\0'));
        EXPECT_EQ(TStringIcmp(TString(text)).IsEqual(TStringIcmp(TString(other))), isSame) << text << " " << other;
    });
}

// In some locales, I and i are not one letter. Every pair of bytes is compared here, in each place of two blocks.
TEST(StringBlocks, IAndItsSmallFormDifferIfTheLocaleSaysSo) {
    auto const isSameLetter = [](char a, char b, bool isPlain) {
        bool const isSmall = a >= 'a' && a <= 'z';
        bool const isCapital = a >= 'A' && a <= 'Z';
        return ((isSmall && b == a - 'a' + 'A') || (isCapital && b == a - 'A' + 'a')) &&
               (isPlain || (a != 'i' && a != 'I'));
    };
    for (bool const isPlain : {true, false}) {
        for (int i = 1; i < 256; ++i) {
            for (int j = 1; j < 256; ++j) {
                auto const a = static_cast<char>(i);
                auto const b = static_cast<char>(j);
                bool const isSame = isSameLetter(a, b, isPlain);
                if (i != j) {
                    ASSERT_EQ(ascii_case::IsSameLetter(a, b, isPlain), isSame) << i << ' ' << j;
                }
                std::size_t const at = static_cast<std::size_t>(i + j) % 32;
                std::string left(32, 'x');
                std::string right(left);
                left[at] = a;
                right[at] = b;
#if defined(__SSE2__)
                std::size_t const expected = i == j || isSame ? 32 : at / 16 * 16;
#else
                std::size_t const expected = 0;
#endif
                ASSERT_EQ(ascii_case::SameUpTo(left.data(), right.data(), 32, isPlain), expected) << i << ' ' << j;
            }
        }
    }
}

TEST(StringBlocks, TheFirstOccurrenceIsFound) {
    ForEachText([](std::string const &text) {
        for (std::size_t start = 1; start <= text.size(); start += 7) {
            for (char const c : {'I', 'q', '\0'}) {
                std::size_t const found = text.find(c, start - 1);
                EXPECT_EQ(TString(text).indexOf(c, static_cast<unsigned int>(start)),
                          found == text.npos ? 0u : found + 1);
            }
        }
    });
}

TEST(StringBlocks, TheLastOccurrenceIsFound) {
    ForEachText([](std::string const &text) {
        for (std::size_t start = 1; start <= text.size(); start += 7) {
            std::size_t const found = text.rfind('I', start - 1);
            EXPECT_EQ(TString(text).lastIndexOf('I', static_cast<unsigned int>(start)),
                      found == text.npos ? 0u : found + 1);
        }
    });
}

TEST(StringBlocks, TextsAreFoundAtEveryPlace) {
    for (std::size_t length : {10u, 40u, 127u, 128u, 129u, 200u, 300u}) {
        for (std::size_t size = 1; size <= 5; ++size) {
            std::string const pattern(std::string("abaab").substr(0, size));
            for (std::size_t at = 0; at + size <= length; ++at) {
                std::string text(length, 'a'); // every place has the first letter
                text.replace(at, size, pattern);
                for (std::size_t start : {std::size_t{1}, at, at + 1, at + 2}) {
                    std::size_t const first = std::max<std::size_t>(start, 1);
                    std::size_t const found = text.find(pattern, first - 1);
                    ASSERT_EQ(TString(text).indexOf(pattern.c_str(), static_cast<unsigned int>(first)),
                              found == text.npos ? 0u : found + 1);
                }
            }
        }
    }
}

TEST(StringBlocks, SetsOfAnySizeAreFound) {
    char const *const sets[] = {"",         "z", "zZ", "aAiIzZmM", "aAiIzZmMx", "aAiIzZm", "\xE4z", "aAiIzZmMx\xFF",
                                "\x09\x89p"};
    ForEachText([&](std::string const &text) {
        for (char const *const set : sets) {
            for (unsigned int start : {1u, 5u}) {
                std::size_t const any = text.find_first_of(set, start - 1);
                std::size_t const but = text.find_first_not_of(set, start - 1);
                EXPECT_EQ(TString(text).indexOfAnyOf(set, start), any == text.npos ? 0u : any + 1) << set;
                EXPECT_EQ(TString(text).indexOfAnyBut(set, start), but == text.npos ? 0u : but + 1) << set;
            }
        }
    });
}

TEST(StringBlocks, DigitsAreDigitsAtEveryPlace) {
    for (std::size_t length = 1; length <= 50; ++length) {
        std::string digits(length, '0');
        for (std::size_t i = 0; i < length; ++i)
            digits[i] = static_cast<char>('0' + i % 10);
        EXPECT_TRUE(TString(digits).isDigits());
        for (std::size_t i = 0; i < length; ++i) {
            for (int const value : {0, '0' - 1, '9' + 1, int{'a'}, 0x80 + '0', 0xFF}) {
                std::string changed(digits);
                changed[i] = static_cast<char>(value);
                EXPECT_FALSE(TString(changed).isDigits()) << length << " " << i << " " << value;
            }
        }
    }
}
