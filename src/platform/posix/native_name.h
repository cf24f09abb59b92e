#ifndef TUZUTIL_PLATFORM_POSIX_NATIVE_NAME
#define TUZUTIL_PLATFORM_POSIX_NATIVE_NAME

// TNativeName: converts a file name from the library's form, which has backslashes between its parts, to the form that
// the system takes. The object itself holds the result. The class takes no locks and allocates nothing.

#include "platform/platform.h"

#include <climits>
#include <string.h>

namespace platform {

class TNativeName {
public:
    // A name that is too long for the system is cut to a length that every call of the system still refuses as too
    // long.
    explicit TNativeName(char const *name) noexcept : TNativeName(name, ::strnlen(name, PATH_MAX)) {}
    TNativeName(char const *name, std::size_t length) noexcept {
        std::size_t const kept = length < PATH_MAX ? length : PATH_MAX;
        ::memcpy(fName, name, kept);
        fName[kept] = '\0';
        ToNativeName(fName, kept);
    }

    operator char const *() const noexcept { return fName; }

private:
    char fName[PATH_MAX + 1];
};

} // namespace platform

#endif
