#ifndef TUZUTIL_VALUE_ACCESS
#define TUZUTIL_VALUE_ACCESS

// TagVarAccess: reads the content of a TagVar without a check of its kind. REQUIRES: the caller knows that the value is
// of the kind that the function is for.

#include "tuzutil/TAGVAR.h"

#include <bit>
#include <cstdint>
#include <string_view>

struct TagVarAccess {
    // Returns the kind that programs see. An inner kind, which only the library knows, counts as `string` or
    // `wideString`.
    static TagVar::Type Kind(TagVar const &value) noexcept {
        return value.IsInner() ? static_cast<TagVar::Type>(value.fType & ~TagVar::innerKinds) : value.fType;
    }
    static std::uint32_t Word(TagVar const &value) noexcept { return value.Word(); }
    // Returns the number of an integer kind in 64 bits. A signed number of 32 bits is extended by its sign.
    static std::uint64_t Long(TagVar const &value) noexcept {
        return value.fType == TagVar::integer
                   ? static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(value.Word())})
                   : value.fCell;
    }
    static double Real(TagVar const &value) noexcept { return std::bit_cast<double>(value.fCell); }
    static void const *Pointer(TagVar const &value) noexcept { return value.Object<void const>(); }
    // Returns the bytes of a text. If the value owns no text, or if its text is null, the data pointer is null.
    static std::string_view Text(TagVar const &value) noexcept {
        std::uint32_t const kind = value.fType;
        if (kind == TagVar::kept || kind == TagVar::keptWide) {
            auto *const buffer = value.Object<TStringBuffer>();
            return buffer ? std::string_view(buffer->Data(), buffer->length) : std::string_view();
        }
        if (kind == TagVar::lentChars) {
            auto const *const chars = value.Object<char const>();
            return chars ? std::string_view(chars) : std::string_view();
        }
        auto const *const text = value.Object<TString const>();
        return text && !text->IsNull() ? text->view() : std::string_view();
    }
    // Returns whether the text of a value ends at its first zero. This is so if the value holds only a pointer to the
    // characters of the text, and no length.
    static bool EndsAtZero(TagVar const &value) noexcept {
        std::uint32_t const kind = value.fType;
        return kind == TagVar::lentChars;
    }
    static void Own(TagVar &value) {
        if (value.IsInner())
            value.Own();
    }
};

#endif
