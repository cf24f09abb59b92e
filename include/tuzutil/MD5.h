#ifndef TUZUTIL_MD5_H
#define TUZUTIL_MD5_H

// CalculateMD5: the MD5 digest (RFC 1321) of bytes that arrive in pieces, or of a text.
//
// Example:
//     CalculateMD5 md5;
//     md5.Write("message ", 8);
//     md5.Write("digest", 6);
//     char digest[16];
//     md5.Done(digest); // f9 6b 69 7d 7c b7 93 8d 52 5a 2f 31 aa f1 61 d0
//
// Ownership:  bytes are borrowed for the call; digests go to the caller's 16 bytes. A copy goes on from where the
//             original stood.
// Threads:    one thread at a time for each object.
// Failures:   none.
// Surprises:  the length is counted in 32 bits of bits: from 512 MiB on the digest differs from the standard's. MD5 is
//             historic: for old protocols only, never for new designs. Message bytes and state are zeroed when the
//             object ends, message bytes also when it is done.

#include "tuzutil/EXPORT.h"

#include <cstdint>

class TUZUTIL_API CalculateMD5 {
public:
    CalculateMD5() noexcept;
    CalculateMD5(CalculateMD5 const &) noexcept = default;
    CalculateMD5 &operator=(CalculateMD5 const &) noexcept = default;
    ~CalculateMD5();

    void Write(char const *bytes, unsigned long count) noexcept; // ignored after Done()
    // Stores the 16 bytes of the digest, not text. Called again it stores the same digest.
    void Done(char *const digest) noexcept;

    // The digest of a zero-terminated text without its terminator; null counts as empty text.
    static void Calc(char const *text, char *const digest) noexcept;

private:
    void Compress(char const *blocks, std::uint32_t count) noexcept;

    int fFinished = 0;
    std::uint32_t fState[4];
    std::uint32_t fByteCount = 0;
    std::uint32_t fFill = 0; // bytes waiting in fBlock
    char fBlock[64] = {};
    std::uint32_t fBitLength[2] = {}; // as the final block ends: low word, and a high word that stays zero
};

#endif
