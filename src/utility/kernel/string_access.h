#ifndef TUZUTIL_STRING_ACCESS
#define TUZUTIL_STRING_ACCESS

// TStringAccess: operations on strings that only the library itself may use.

#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

struct TStringAccess {
    // Returns a string of `length` bytes, which are not initialised. Only the zero bytes that end the text are written.
    // Throws TOutOfMemory.
    static TString Uninitialized(std::uint64_t length, std::uint32_t flags = 0) {
        return TString(TString::AllocateBuffer(length, 0, flags));
    }

    // Returns a string with the bytes of a view. Throws TOutOfMemory.
    static TString From(std::string_view text) {
        return TString(text.data(), static_cast<unsigned int>(text.size()), ' ');
    }

    // Assigns a text without flags. If no other string holds the buffer of the string, and the buffer has room and no
    // flags, the string keeps this buffer. REQUIRES: the bytes are not in this buffer. If there is no memory, throws
    // TOutOfMemory, and the string is unchanged.
    static void Assign(TString &text, std::string_view bytes) {
        TStringBuffer *const buffer = text.fBuffer;
        if (!buffer || buffer->flags != 0 || buffer->capacity < bytes.size() || buffer->IsShared()) {
            text = From(bytes);
            return;
        }
        std::memcpy(buffer->Data(), bytes.data(), bytes.size());
        text.SetLength(static_cast<unsigned int>(bytes.size()));
    }

    // Returns a string that shares a buffer. The reference count of the buffer grows by 1.
    static TString Shared(TStringBuffer &buffer) noexcept { return TString(&buffer); }

    // Does the same as the function above, but returns a null string if `buffer` is null.
    static TString Shared(TStringBuffer *buffer) noexcept { return TString(buffer); }

    // Takes the buffer out of a string. After that, the caller holds the buffer, and must pass it to Adopt() later. The
    // buffer of a null string is null.
    static TStringBuffer *Buffer(TString &&text) noexcept { return std::exchange(text.fBuffer, nullptr); }

    // Returns a string with a buffer that the caller holds. After that, the string holds the buffer instead of the
    // caller.
    static TString Adopt(TStringBuffer *buffer) noexcept {
        TString text;
        text.fBuffer = buffer;
        return text;
    }

    // Shortens a string to `length` bytes in place. REQUIRES: the string does not share its buffer, and has at least
    // `length` bytes.
    static void Truncate(TString &text, unsigned int length) noexcept { text.SetLength(length); }

    // Gives a string a new buffer of `length` bytes, and copies the bytes of the string up to this length. Any further
    // bytes of the buffer are not written. REQUIRES: the string is not null.
    static void Resize(TString &text, std::uint64_t length) { text.MakeUnique(TString::CheckedLength(length)); }
};

#endif
