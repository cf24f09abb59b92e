// The searches of many bytes at once, and Base64, on processors that have fewer instructions than this one. The sources
// are included here, and ask the tests what the processor has. Every result is compared with that of a plain loop.

#include <cstring>
#include <string_view>

namespace {

bool (*fsHas)(char const *) = nullptr;

bool Really(char const *name) noexcept {
    return std::string_view(name) == "avx2" ? __builtin_cpu_supports("avx2") : __builtin_cpu_supports("ssse3");
}

} // namespace

#define __builtin_cpu_supports(name) (fsHas(name) && Really(name))

#include "utility/BASE64.cpp"
#include "utility/kernel/wide_search.cpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

namespace {

struct TProcessor {
    char const *name;
    bool (*has)(char const *);
};

TProcessor const fsProcessors[] = {
    {"Avx2", [](char const *) { return true; }},
    {"Ssse3", [](char const *name) { return std::string_view(name) == "ssse3"; }},
    {"Plain", [](char const *) { return false; }},
};

class Processor : public testing::TestWithParam<TProcessor> {
protected:
    Processor() { fsHas = GetParam().has; }
    ~Processor() override { fsHas = nullptr; }
};

// Lengths below, at and above those at which a function changes from one loop to another.
std::vector<std::size_t> const fsLengths = {0,  1,   2,   15,  16,  17,  31,  32,  33,  47,  63,  64,  65,  95, 96,
                                            97, 127, 128, 129, 130, 159, 160, 161, 191, 192, 193, 260, 289, 330};

// Returns the position of a place in a text, or -1 for null.
std::ptrdiff_t At(std::string const &text, char const *place) {
    return place ? place - text.data() : -1;
}

std::ptrdiff_t At(std::size_t position) {
    return position == std::string::npos ? -1 : static_cast<std::ptrdiff_t>(position);
}

// Calls `check` with texts of all lengths that have `pattern` once, at each place at which it fits, and not at all.
template <typename Check>
void ForEveryPlace(std::string const &pattern, Check check) {
    for (std::size_t const length : fsLengths) {
        check(std::string(length, '-'));
        for (std::size_t place = 0; place + pattern.size() <= length; ++place)
            check(std::string(length, '-').replace(place, pattern.size(), pattern));
    }
}

TEST_P(Processor, FindsAByteAtEveryPlace) {
    ForEveryPlace("x", [](std::string const &text) {
        char const *const begin = text.data(), *const end = begin + text.size();
        ASSERT_EQ(At(text, wide_search::FindByte(begin, end, 'x')), At(text.find('x'))) << text;
        ASSERT_EQ(At(text, wide_search::FindLastByte(begin, end, 'x')), At(text.rfind('x'))) << text;
    });
    ForEveryPlace("x--x", [](std::string const &text) {
        char const *const begin = text.data(), *const end = begin + text.size();
        ASSERT_EQ(At(text, wide_search::FindByte(begin, end, 'x')), At(text.find('x'))) << text;
        ASSERT_EQ(At(text, wide_search::FindLastByte(begin, end, 'x')), At(text.rfind('x'))) << text;
    });
}

TEST_P(Processor, FindsAPairAtEveryPlaceAndNotItsHalves) {
    for (char const *const pattern : {"xy", "xx", "yx", "x-y", "xxy", "yxyy", "xyxy"}) {
        ForEveryPlace(pattern, [](std::string const &text) {
            char const *const begin = text.data(), *const end = begin + text.size();
            ASSERT_EQ(At(text, wide_search::FindPair(begin, end, 'x', 'y')), At(text.find("xy"))) << text;
        });
    }
}

// The room behind the copy must not change.
TEST_P(Processor, DoublesAByteAfterAnotherAtEveryPlace) {
    for (char const *const pattern : {"xy", "xx", "yx", "x-y", "xyy", "yxyy", "xyxy", "xy-xyxy--xy"}) {
        ForEveryPlace(pattern, [](std::string const &text) {
            std::string expected = text;
            for (std::size_t at = 0; (at = expected.find("xy", at)) != std::string::npos; at += 3)
                expected.insert(at + 1, 1, 'y');
            std::size_t const length = expected.size();
            expected.resize(text.size() * 3 / 2 + 40, '#');
            std::string copy(expected.size(), '#');
            char const *const end =
                wide_search::CopyDoubled(text.data(), text.data() + text.size(), 'x', 'y', copy.data());
            ASSERT_EQ(end - copy.data(), static_cast<std::ptrdiff_t>(length)) << text;
            ASSERT_EQ(copy, expected) << text;
        });
    }
}

TEST_P(Processor, FindsATextAtEveryPlaceAndNotASimilarOne) {
    for (std::size_t const size : {1u, 2u, 3u, 4u, 31u, 33u, 70u}) {
        std::string const wanted = "x" + std::string(size - 1, 'y');
        std::string similar = wanted; // with the same first and last byte
        similar[size / 2] = 'z';
        for (std::string const &pattern : {wanted, similar, similar + wanted, wanted + wanted}) {
            ForEveryPlace(pattern, [&](std::string const &text) {
                char const *const begin = text.data(), *const end = begin + text.size();
                ASSERT_EQ(At(text, wide_search::FindText(begin, end, wanted.data(), wanted.size())),
                          At(text.find(wanted)))
                    << text << ' ' << wanted;
            });
        }
    }
}

// Long texts in which the first or the last byte of the wanted text is common, rare, or common in one part only.
TEST_P(Processor, FindsATextWhoseBytesAreCommonOrRare) {
    for (char const *const wanted : {"ex", "xe", "exyz", "zyxe", "xez", "zz"}) {
        for (std::size_t const every : {1u, 2u, 50u, 200u, 700u, 3000u}) {
            std::string text(9000, '-');
            for (std::size_t at = 0; at < text.size(); at += every)
                text[at] = at < 4000 ? wanted[std::strlen(wanted) - 1] : *wanted;
            for (std::size_t at = 0; at <= text.size(); at += at < 400 || at > 8700 ? 1 : 97) {
                std::string const whole = text.substr(0, at) + wanted + text.substr(at);
                char const *const begin = whole.data();
                for (std::size_t const end : {whole.size(), at + std::strlen(wanted), at + std::strlen(wanted) - 1})
                    ASSERT_EQ(At(whole, wide_search::FindText(begin, begin + end, wanted, std::strlen(wanted))),
                              At(whole.substr(0, end).find(wanted)))
                        << wanted << ' ' << every << ' ' << at << ' ' << end;
            }
        }
    }
}

// SkipBlocks() may leave a rest, which the caller searches.
TEST_P(Processor, SkipsToABytesOfASetAtEveryPlace) {
    for (std::string const &set : {std::string("x"), std::string("xyz"), std::string("abcdefgx"),
                                   std::string("abcdefghijx"), std::string("\xE4\xF6x"), std::string("\xE4x1234567")}) {
        for (char const *const pattern : {"x", "x-x", "X", "\xF8", "h"}) {
            ForEveryPlace(pattern, [&](std::string const &text) {
                char const *const begin = text.data(), *const end = begin + text.size();
                char const *at = wide_search::SkipBlocks(begin, end, set.data(), set.size(), true);
                std::size_t const rest = text.find_first_of(set, static_cast<std::size_t>(at - begin));
                ASSERT_EQ(At(rest), At(text.find_first_of(set))) << text << ' ' << set;
            });
        }
        ForEveryPlace("!", [&](std::string text) {
            std::replace(text.begin(), text.end(), '-', 'x');
            char const *const begin = text.data(), *const end = begin + text.size();
            char const *at = wide_search::SkipBlocks(begin, end, set.data(), set.size(), false);
            std::size_t const rest = text.find_first_not_of(set, static_cast<std::size_t>(at - begin));
            ASSERT_EQ(At(rest), At(text.find_first_not_of(set))) << text << ' ' << set;
        });
    }
}

TEST_P(Processor, FindsEveryByteAmongAllOthers) {
    std::string all;
    for (int c = 1; c < 256; ++c)
        all += static_cast<char>(c);
    all = std::string(7, all[0]) + all + all; // each byte has several places in a block
    for (int c = 1; c < 256; ++c) {
        for (std::string const &set : {std::string(1, static_cast<char>(c)), std::string{static_cast<char>(c), '~'}}) {
            for (std::size_t begin = 0; begin < 270; begin += 3) {
                char const *const from = all.data() + begin, *const end = all.data() + all.size();
                for (bool const wanted : {true, false}) {
                    char const *const at = wide_search::SkipBlocks(from, end, set.data(), set.size(), wanted);
                    auto const rest = static_cast<std::size_t>(at - all.data());
                    ASSERT_EQ(wanted ? all.find_first_of(set, rest) : all.find_first_not_of(set, rest),
                              wanted ? all.find_first_of(set, begin) : all.find_first_not_of(set, begin))
                        << c << ' ' << begin << wanted;
                }
            }
        }
    }
}

int ToUpper(int c) {
    return c == 0xE4 ? 0xC4 : c >= 'a' && c <= 'z' ? c - 32 : c;
}

TEST_P(Processor, FoldsUpToTheFirstZero) {
    for (char const *const pattern : {"x", "aZz", "{`@[", "\xE4", "\xE4z\xE4"}) {
        ForEveryPlace(pattern, [](std::string const &text) {
            for (std::size_t const zero : {text.size(), text.size() / 2}) {
                std::string folded = text, expected = text;
                if (zero < text.size())
                    folded[zero] = expected[zero] = '\0';
                for (std::size_t i = 0; i < zero; ++i)
                    expected[i] = static_cast<char>(ToUpper(static_cast<unsigned char>(expected[i])));
                char *const end = folded.data() + folded.size();
                char *const rest = wide_search::Fold(folded.data(), end, 'a', ToUpper);
                ASSERT_LE(rest, end);
                for (char *at = rest; at != end && *at; ++at)
                    *at = static_cast<char>(ToUpper(static_cast<unsigned char>(*at)));
                ASSERT_EQ(folded, expected) << text;
            }
        });
    }
}

TEST_P(Processor, EncodesAndDecodesAsThePlainLoop) {
    std::string bytes;
    for (int i = 0; i < 400; ++i) {
        TString const own(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
        std::vector<char> expected(static_cast<std::size_t>(base64::EncodedLength(bytes.size())) + 1);
        base64::EncodePortable(reinterpret_cast<base64::Byte const *>(bytes.data()), bytes.size(), expected.data());
        std::string const plain(expected.data(), expected.size() - 1);
        TString const text = TBase64::Encode(own);
        ASSERT_EQ(std::string(text.data(), text.length()), plain) << i;
        TString const back = TBase64::DecodeBinary(text);
        ASSERT_EQ(std::string(back.data(), back.length()), bytes) << i;
        bytes += static_cast<char>(i * 37 + i / 7);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Processor, testing::ValuesIn(fsProcessors),
                         [](auto const &each) { return std::string(each.param.name); });

} // namespace
