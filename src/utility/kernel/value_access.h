#ifndef TUZUTIL_VALUE_ACCESS
#define TUZUTIL_VALUE_ACCESS

// The contents of tagged values, for readers in the library that have tested the kind. They are read without a call and
// without a report.

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
