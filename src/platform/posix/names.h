#ifndef TUZUTIL_PLATFORM_POSIX_NAMES_H
#define TUZUTIL_PLATFORM_POSIX_NAMES_H

// A name of the library as the system takes it.

#include "platform/platform.h"

#include <climits>
#include <cstring>

namespace platform {

class TNativeName {
public:
    // A name that is too long for the system becomes one that every call refuses as too long.
    explicit TNativeName(char const *name) noexcept : TNativeName(name, ::strnlen(name, PATH_MAX)) {}
    TNativeName(char const *name, std::size_t length) noexcept {
        std::size_t const kept = length < PATH_MAX ? length : PATH_MAX;
        std::memcpy(fName, name, kept);
        fName[kept] = '\0';
        ToNativeName(fName, kept);
    }

    operator char const *() const noexcept { return fName; }

private:
    char fName[PATH_MAX + 1];
};

} // namespace platform

#endif
