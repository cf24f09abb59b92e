#ifndef TUZUTIL_VALUE_ACCESS
#define TUZUTIL_VALUE_ACCESS

// TagVarAccess: reads the content of a TagVar without a check of its kind. REQUIRES: the caller knows that the value is
// of the kind that the function is for.

#include "tuzutil/TAGVAR.h"

#include <bit>
#include <cstdint>

struct TagVarAccess {
    static TagVar::Type Kind(TagVar const &value) noexcept { return value.fType; }
    static std::uint32_t Word(TagVar const &value) noexcept { return value.Word(); }
    // Returns the number of an integer kind in 64 bits. A signed number of 32 bits is extended by its sign.
    static std::uint64_t Long(TagVar const &value) noexcept {
        return value.fType == TagVar::integer
                   ? static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(value.Word())})
                   : value.fCell;
    }
    static double Real(TagVar const &value) noexcept { return std::bit_cast<double>(value.fCell); }
    static void const *Pointer(TagVar const &value) noexcept { return value.Object<void const>(); }
    static TString const *Text(TagVar const &value) noexcept { return value.Object<TString const>(); }
};

#endif
