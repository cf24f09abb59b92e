#ifndef TUZUTIL_PLATFORM_POSIX_TEXT_TABLE
#define TUZUTIL_PLATFORM_POSIX_TEXT_TABLE

// The texts of a language library on systems whose libraries have no string resources: one symbol with this layout.
// tools/tuzutil_messages.py writes this layout. If the layout changes, the tool and the version must change too.

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
