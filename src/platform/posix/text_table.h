#ifndef TUZUTIL_PLATFORM_POSIX_TEXT_TABLE
#define TUZUTIL_PLATFORM_POSIX_TEXT_TABLE

// TTextTable: the texts of a language library on systems whose libraries have no string resources. The language library
// exports one symbol of this type. The tool tools/tuzutil_messages.py writes the definition of the symbol. If the
// layout changes, this tool and fsVersion must change too.

#include <cstdint>

namespace platform {

struct TTextTable {
    struct TEntry {
        std::uint32_t number;
        std::uint32_t first; // index into `characters`
        std::uint32_t length;
    };

    static constexpr char fsSymbol[] = "tuzutil_string_table";
    static constexpr std::uint32_t fsVersion = 1;

    std::uint32_t version;
    std::uint32_t count;
    TEntry const *entries;           // sorted by number
    std::uint16_t const *characters; // UTF-16
};

} // namespace platform

#endif
