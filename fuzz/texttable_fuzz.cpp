// Takes the input for the texts of a language library, and asks for each text, narrow and 16-bit. The first byte of
// each text is its number. Two bytes with its length follow, and then its 16-bit characters. This program is its own
// language library.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TDLL.h"
#include "tuzutil/UNICODE.h"

#include "platform/posix/text_table.h"

#include "bounds.h"

#include <algorithm>
#include <dlfcn.h>
#include <map>
#include <string>
#include <string_view>
#include <vector>

using platform::TTextTable;

extern "C" {
__attribute__((visibility("default"))) TTextTable tuzutil_string_table = {TTextTable::fsVersion, 0, nullptr, nullptr};
}

namespace {

constexpr std::size_t fsLongest = 256; // characters, or bytes of a narrow text

char16_t Character(std::string_view bytes, std::size_t at) noexcept {
    return static_cast<char16_t>(static_cast<unsigned char>(bytes[at]) << 8 |
                                 static_cast<unsigned char>(bytes[at + 1]));
}

std::map<unsigned int, std::u16string> Texts(std::string_view bytes) {
    std::map<unsigned int, std::u16string> texts;
    while (bytes.size() >= 3) {
        auto const number = static_cast<unsigned char>(bytes[0]);
        std::size_t const length = Character(bytes, 1) % 1024;
        bytes.remove_prefix(3);
        std::string_view const text = bytes.substr(0, 2 * length);
        bytes.remove_prefix(text.size());
        std::u16string &wide = texts[number];
        wide.clear();
        for (std::size_t i = 0; i + 1 < text.size(); i += 2)
            wide += Character(text, i);
    }
    return texts;
}

// Returns the text as UTF-8, with question marks for the characters that are not whole.
std::string Narrow(std::u16string const &text) {
    std::string narrow;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t code = text[i];
        if (code >= 0xD800 && code < 0xE000) {
            bool const isPair = code < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
            code = isPair ? 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00u) : '?';
        }
        std::string one;
        if (code < 0x80)
            one = {static_cast<char>(code)};
        else if (code < 0x800)
            one = {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
        else if (code < 0x10000)
            one = {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                   static_cast<char>(0x80 | (code & 0x3F))};
        else
            one = {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | (code >> 12 & 0x3F)),
                   static_cast<char>(0x80 | (code >> 6 & 0x3F)), static_cast<char>(0x80 | (code & 0x3F))};
        if (narrow.size() + one.size() > fsLongest)
            break;
        narrow += one;
    }
    return narrow;
}

// Returns the text with that number; an empty one if the library has none.
std::string Loaded(TDll const &library, unsigned long number, int wide) {
    try {
        TString const text = library.loadMessage(number, wide);
        return std::string(text.view());
    } catch (TAccessError const &) {
        return "";
    }
}

std::string Bytes(std::u16string const &text) {
    return std::string(reinterpret_cast<char const *>(text.data()), 2 * text.size());
}

} // namespace

// The texts of a table and their copies.
TBounds const fsBounds{64 << 10, 16, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    auto const texts = Texts({reinterpret_cast<char const *>(data), size});
    std::vector<TTextTable::TEntry> entries;
    std::vector<std::uint16_t> characters;
    for (auto const &[number, text] : texts) {
        entries.push_back(
            {number, static_cast<std::uint32_t>(characters.size()), static_cast<std::uint32_t>(text.size())});
        characters.insert(characters.end(), text.begin(), text.end());
    }
    tuzutil_string_table = {TTextTable::fsVersion, static_cast<std::uint32_t>(entries.size()), entries.data(),
                            characters.data()};
    static TDll const library(::dlopen(nullptr, RTLD_NOW));
    for (auto const &[number, text] : texts) {
        Require(Loaded(library, number, 1) == Bytes(text.substr(0, fsLongest)));
        Require(Loaded(library, number, 0) == Narrow(text));
        Require(texts.count(number + 1) || Loaded(library, number + 1, 1).empty());
    }
    tuzutil_string_table = {TTextTable::fsVersion, 0, nullptr, nullptr};
    return 0;
}
