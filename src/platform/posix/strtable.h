#ifndef TUZUTIL_PLATFORM_POSIX_STRTABLE_H
#define TUZUTIL_PLATFORM_POSIX_STRTABLE_H

// The texts of a language library on systems whose libraries have no string resources: one symbol, with this layout,
// which tools/tuzutil_messages.py writes.

#include <cstdint>

namespace platform {

struct TStringTable {
    struct TEntry {
        std::uint32_t number;
        std::uint32_t first; // of `characters`
        std::uint32_t length;
    };

    static constexpr char fsSymbol[] = "tuzutil_string_table";
    static constexpr std::uint32_t fsVersion = 1;

    std::uint32_t version;
    std::uint32_t count;
    TEntry const *entries;           // in the order of their numbers
    std::uint16_t const *characters; // UTF-16
};

} // namespace platform

#endif
