#ifndef TUZUTIL_STRING_ACCESS
#define TUZUTIL_STRING_ACCESS

// TStringAccess: operations on strings that only the library itself may use.

#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <string_view>

struct TStringAccess {
    // Returns a string of `length` bytes. Only the zero bytes after the data are written. Throws TOutOfMemory.
    static TString Uninitialized(std::uint64_t length, std::uint32_t flags = 0) {
        return TString(TString::AllocateBuffer(length, 0, flags));
    }

    // Returns a string with the bytes of a view. Throws TOutOfMemory.
    static TString From(std::string_view text) {
        return TString(text.data(), static_cast<unsigned int>(text.size()), ' ');
    }

    // Returns a string that shares a buffer. The count of the buffer grows by 1.
    static TString Shared(TStringBuffer &buffer) noexcept { return TString(&buffer); }

    // Shortens a string to `length` bytes without moving it. REQUIRES: the string is not shared, and has at least as
    // many bytes.
    static void Truncate(TString &text, unsigned int length) noexcept { text.SetLength(length); }

    // Lengthens or shortens a string, which gets a buffer of its own. Its bytes are kept up to the new length.
    // Additional bytes are not written.
    static void Resize(TString &text, std::uint64_t length) { text.MakeUnique(TString::CheckedLength(length)); }
};

#endif
