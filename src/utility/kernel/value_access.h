#ifndef TUZUTIL_VALUE_ACCESS
#define TUZUTIL_VALUE_ACCESS

// The values behind tagged values for the library's own readers, who have tested the kind: without a call, without a
// report.

#include "tuzutil/TAGVAR.h"

#include <bit>
#include <cstdint>

struct TagVarAccess {
    static TagVar::Type Kind(TagVar const &value) noexcept { return value.fType; }
    static std::uint32_t Word(TagVar const &value) noexcept { return value.Word(); }
    static double Real(TagVar const &value) noexcept { return std::bit_cast<double>(value.fCell); }
    static void const *Pointer(TagVar const &value) noexcept { return value.Object<void const>(); }
    static TString const *Text(TagVar const &value) noexcept { return value.Object<TString const>(); }
};

#endif
