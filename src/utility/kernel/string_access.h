#ifndef TUZUTIL_STRING_ACCESS
#define TUZUTIL_STRING_ACCESS

// What the library's own builders of text may do, and callers may not: fill a fresh buffer in place, shorten it without
// moving it, share one that somebody else keeps.

#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <string_view>

struct TStringAccess {
    // A string of `length` bytes that are not written yet; the terminator is. Throws TOutOfMemory.
    static TString Uninitialized(std::uint64_t length, std::uint32_t flags = 0) {
        return TString(TString::AllocateBuffer(length, 0, flags));
    }

    // A string of the bytes of a view. Throws TOutOfMemory.
    static TString From(std::string_view text) {
        return TString(text.data(), static_cast<unsigned int>(text.size()), ' ');
    }

    // One more holder of a buffer that somebody else keeps.
    static TString Shared(TStringBuffer &buffer) noexcept { return TString(&buffer); }

    // Cuts an unshared string to `length` bytes, at most its present length, without moving it.
    static void Truncate(TString &text, unsigned int length) noexcept { text.SetLength(length); }

    // Lengthens or shortens a string, keeping its bytes; new bytes are unwritten. The string is unshared afterwards.
    static void Resize(TString &text, std::uint64_t length) { text.MakeUnique(TString::CheckedLength(length)); }
};

#endif
