#ifndef TUZUTIL_MD5_H
#define TUZUTIL_MD5_H

// CalculateMD5: the MD5 digest (RFC 1321) of a text, or of bytes that arrive in pieces.
//
// Example:
//     CalculateMD5 md5;
//     md5.Write("message ", 8);
//     md5.Write("digest", 6);
//     char digest[16];
//     md5.Done(digest); // f9 6b 69 7d 7c b7 93 8d 52 5a 2f 31 aa f1 61 d0
//
// Ownership:  Write() borrows the bytes during the call. Done() stores the digest in 16 bytes of the caller. A copy has
//             the state of the original and continues from there.
// Threads:    One thread at a time may use an object.
// Failures:   No function fails.
// Surprises:
// - The length in bits is counted in 32 bits. For 512 MiB or more, the digest differs from that of RFC 1321.
// - MD5 is historic. Use it for old protocols only, never for new designs.
// - Done() zeroes the buffered bytes of the message. The destructor also zeroes the state.
class CalculateMD5;

#include "tuzutil/EXPORT.h"

#include <cstdint>

class TUZUTIL_API CalculateMD5 {
public:
    CalculateMD5() noexcept;
    CalculateMD5(CalculateMD5 const &) noexcept = default;
    CalculateMD5 &operator=(CalculateMD5 const &) noexcept = default;
    ~CalculateMD5();

    void Write(char const *bytes, unsigned long count) noexcept; // ignored after Done()
    // Stores the 16 bytes of the digest, which are not text. A second call stores the same digest.
    void Done(char *const digest) noexcept;

    // Stores the digest of a zero-terminated text without its terminator. Null counts as empty text.
    static void Calc(char const *text, char *const digest) noexcept;

private:
    void Compress(char const *blocks, std::uint32_t count) noexcept;

    int fFinished = 0;
    std::uint32_t fState[4];
    std::uint32_t fByteCount = 0;
    std::uint32_t fFill = 0; // bytes waiting in fBlock
    char fBlock[64] = {};
    std::uint32_t fBitLength[2] = {}; // the length in bits: low word, and high word, which is always 0
};

#endif
