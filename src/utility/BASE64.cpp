// TBase64: converts strings to and from Base64. The loops are in mail/base64_loops.h. EncodeBytes() and DecodeText()
// choose the loop that suits the processor. This source has no lock.

#include "tuzutil/BASE64.h"

#include "utility/kernel/string_access.h"
#include "utility/kernel/wide_search.h"
#include "utility/mail/base64_loops.h"

#include <cstdint>
#include <utility>

namespace {

char *EncodeBytes(base64::Byte const *from, std::size_t count, char *to) noexcept {
#if defined(TUZUTIL_BASE64_SHUFFLE)
    if (count >= base64::fsLine && base64::HasWide())
        return base64::EncodeWide(from, count, to);
    if (base64::HasShuffle())
        return base64::EncodeShuffle(from, count, to);
#endif
    return base64::EncodePortable(from, count, to);
}

// Sets `clean` to a place before which no decoded byte is 0.
base64::Byte *DecodeText(char const *from, char const *end, base64::Byte *to, base64::Byte *&clean) noexcept {
    clean = to;
#if defined(TUZUTIL_BASE64_SHUFFLE)
    if (base64::HasWide())
        return base64::DecodeWide(from, end, to, clean);
    if (base64::HasShuffle())
        return base64::DecodeShuffle(from, end, to);
#endif
    return base64::DecodePortable(from, end, to);
}

std::uint32_t WipeFlag(TString const &argument) noexcept {
    return argument.IsWipeOnDelete() ? std::uint32_t{TStringBuffer::wipeOnDelete} : 0;
}

// Returns all bytes that the text encodes. A zero byte does not end the result. Sets `clean` to a number of bytes at
// the beginning of the result of which none is 0.
TString DecodeAll(TString const &text, std::uint32_t flags, std::size_t &clean) {
    TString bytes = TStringAccess::Uninitialized(base64::DecodedRoom(text.length()), flags);
    char const *const from = text;
    base64::Byte *const to = bytes;
    base64::Byte *cleanEnd = to;
    base64::Byte const *const end = DecodeText(from, from + text.length(), to, cleanEnd);
    TStringAccess::Truncate(bytes, static_cast<unsigned int>(end - to));
    clean = static_cast<std::size_t>(cleanEnd - to);
    return bytes;
}

} // namespace

TString TBase64::Encode(TString const &bytes) {
    TString text = TStringAccess::Uninitialized(base64::EncodedLength(bytes.length()));
    EncodeBytes(bytes, bytes.length(), text);
    return text;
}

TString TBase64::EncodeLine(TString const &bytes) {
    TString text = TStringAccess::Uninitialized(base64::EncodedLineLength(bytes.length()), WipeFlag(bytes));
    base64::EncodeLine(bytes, bytes.length(), text);
    return text;
}

TString TBase64::Decode(TString const &text) {
    std::size_t clean = 0;
    TString bytes = DecodeAll(text, 0, clean);
    char const *const to = bytes;
    if (char const *const zero = wide_search::FindByte(to + clean, to + bytes.length(), '\0'))
        TStringAccess::Truncate(bytes, static_cast<unsigned int>(zero - to));
    return bytes;
}

TString TBase64::DecodeBinary(TString const &text) {
    std::size_t clean = 0;
    return DecodeAll(text, WipeFlag(text), clean);
}

bool TBase64::DecodeStrict(TString const &text, TString &bytes, unsigned int *fault, Foreign foreign) {
    TString decoded = TStringAccess::Uninitialized(base64::DecodedRoom(text.length()), WipeFlag(text));
    char const *const from = text;
    base64::Byte *const to = decoded;
    base64::Position at{from, to};
    bool const isValid = base64::DecodeStrict(at, from + text.length(), foreign == ignoreForeign);
    if (fault)
        *fault = isValid ? 0 : static_cast<unsigned int>(at.from - from) + 1;
    if (!isValid)
        return false;
    TStringAccess::Truncate(decoded, static_cast<unsigned int>(at.to - to));
    bytes = std::move(decoded);
    return true;
}
