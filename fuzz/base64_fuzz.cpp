// Decodes any bytes as Base64. All functions that decode must agree, and encoded bytes must decode to themselves.

#include "tuzutil/BASE64.h"
#include "utility/mail/base64_loops.h"

#include "bounds.h"

#include <cstdlib>
#include <string>
#include <vector>

// The input is encoded and decoded, and each result is compared as a string.
TBounds const fsBounds{16 << 10, 16, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    std::vector<char> const text(data, data + size); // on the heap, where a checker sees a read beyond its end
    std::vector<base64::Byte> plain(static_cast<std::size_t>(base64::DecodedRoom(size)));
    plain.resize(
        static_cast<std::size_t>(base64::DecodePortable(text.data(), text.data() + size, plain.data()) - plain.data()));
#if defined(TUZUTIL_BASE64_SHUFFLE)
    std::vector<base64::Byte> shuffled(static_cast<std::size_t>(base64::DecodedRoom(size)));
    shuffled.resize(static_cast<std::size_t>(base64::DecodeShuffle(text.data(), text.data() + size, shuffled.data()) -
                                             shuffled.data()));
    if (plain != shuffled)
        std::abort();
#endif
    TString const bytes(data, static_cast<unsigned int>(size), ' ');
    TString const upToZero(std::string(text.begin(), text.end()).c_str());
    if (TBase64::Decode(TBase64::Encode(bytes)) != upToZero)
        std::abort();
    TBase64::Decode(bytes);
    if (TBase64::DecodeBinary(TBase64::Encode(bytes)) != bytes)
        std::abort();
    // If a text is strictly valid, EncodeLine() makes the same text of its bytes.
    TString strict;
    unsigned int fault = 0;
    bool const isValid = TBase64::DecodeStrict(bytes, strict, &fault);
    if (isValid != (fault == 0) || (isValid && size != 0 && TBase64::EncodeLine(strict) != bytes))
        std::abort();
    if (isValid && TBase64::DecodeBinary(bytes) != strict)
        std::abort();
    TString lenient;
    if (!TBase64::DecodeStrict(TBase64::Encode(bytes), lenient, nullptr, TBase64::ignoreForeign) || lenient != bytes)
        std::abort();
    static_cast<void>(TBase64::DecodeStrict(bytes, lenient, &fault, TBase64::ignoreForeign));
    if (fault > size + 1)
        std::abort();
    return 0;
}
