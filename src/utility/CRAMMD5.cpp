// CalculateCramMD5: computes the answer to a challenge of CRAM-MD5. The answer is a keyed MD5 digest in hexadecimal
// digits. The answer is made from two nested digests. Each block that holds the key or the inner digest is zeroed
// before its memory is released. This source has no lock.

#include "tuzutil/CRAMMD5.h"

#include "platform/platform.h"
#include "tuzutil/MD5.h"
#include "utility/kernel/string_access.h"

#include <cstring>

namespace {

constexpr unsigned int fsKeySize = 64;
constexpr unsigned int fsDigestSize = 16;

// Bytes on the stack that hold a secret. They begin as zeros, and the destructor zeroes them again.
template <unsigned int size>
struct TSecretBytes {
    TSecretBytes() = default;
    TSecretBytes(TSecretBytes const &) = delete;
    TSecretBytes &operator=(TSecretBytes const &) = delete;
    ~TSecretBytes() { platform::SecureZero(bytes, size); }

    char bytes[size] = {};
};

// Computes one digest over the key and, after it, a message. Each byte of the key is first combined with `pad` by
// exclusive or.
void KeyedDigest(TSecretBytes<fsKeySize> const &key, int pad, char const *message, unsigned int count, char *digest) {
    TSecretBytes<fsKeySize> padded;
    for (unsigned int at = 0; at < fsKeySize; ++at)
        padded.bytes[at] = static_cast<char>(key.bytes[at] ^ pad);
    CalculateMD5 md5;
    md5.Write(padded.bytes, fsKeySize);
    md5.Write(message, count);
    md5.Done(digest);
}

TString Hexadecimal(char const *bytes, unsigned int count) {
    static constexpr char digits[] = "0123456789abcdef";
    TString text = TStringAccess::Uninitialized(std::uint64_t{count} * 2);
    for (char *to = text; count; --count) {
        auto const byte = static_cast<unsigned char>(*bytes++);
        *to++ = digits[byte >> 4];
        *to++ = digits[byte & 15];
    }
    return text;
}

} // namespace

TString CalculateCramMD5::Calc(TString secret, TString challenge) {
    TSecretBytes<fsKeySize> key;
    char const *const bytes = secret;
    if (secret.length() > fsKeySize)
        CalculateMD5::Calc(bytes, key.bytes);
    else if (bytes)
        std::memcpy(key.bytes, bytes, secret.length());

    TSecretBytes<fsDigestSize> inner;
    char outer[fsDigestSize];
    KeyedDigest(key, 0x36, challenge, challenge.length(), inner.bytes);
    KeyedDigest(key, 0x5C, inner.bytes, fsDigestSize, outer);
    return Hexadecimal(outer, fsDigestSize);
}
