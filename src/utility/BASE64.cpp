// TBase64: converts strings to and from Base64. The loops are in mail/base64_loops.h. This source chooses the loop that
// suits the processor. It takes no lock and keeps no state.

#include "tuzutil/BASE64.h"

#include "utility/kernel/byte_search.h"
#include "utility/kernel/string_access.h"
#include "utility/mail/base64_loops.h"

namespace {

char *EncodeBytes(base64::Byte const *from, std::size_t count, char *to) noexcept {
#if defined(TUZUTIL_BASE64_SHUFFLE)
    if (base64::HasShuffle())
        return base64::EncodeShuffle(from, count, to);
#endif
    return base64::EncodePortable(from, count, to);
}

base64::Byte *DecodeText(char const *from, char const *end, base64::Byte *to) noexcept {
#if defined(TUZUTIL_BASE64_SHUFFLE)
    if (base64::HasShuffle())
        return base64::DecodeShuffle(from, end, to);
#endif
    return base64::DecodePortable(from, end, to);
}

} // namespace

TString TBase64::Encode(TString const &bytes) {
    TString text = TStringAccess::Uninitialized(base64::EncodedLength(bytes.length()));
    EncodeBytes(bytes, bytes.length(), text);
    return text;
}

TString TBase64::Decode(TString const &text) {
    TString bytes = TStringAccess::Uninitialized(base64::DecodedRoom(text.length()));
    char const *const from = text;
    char const *const to = bytes;
    char const *end = reinterpret_cast<char const *>(DecodeText(from, from + text.length(), bytes));
    if (char const *const zero = byte_search::FindByte(to, end, '\0'))
        end = zero;
    TStringAccess::Truncate(bytes, static_cast<unsigned int>(end - to));
    return bytes;
}
