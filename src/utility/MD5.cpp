// CalculateMD5: computes the digest of bytes that arrive in pieces. The bytes may be a secret key. So the destructor
// zeroes the state, and bytes are copied only if their block is not complete yet. No lock is taken and nothing is
// allocated.

#include "tuzutil/MD5.h"

#include "platform/platform.h"
#include "utility/mail/md5_steps.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr std::uint32_t fsBlock = 64;
constexpr std::uint32_t fsLengthAt = 56; // the place of the length in the final block

} // namespace

CalculateMD5::CalculateMD5() noexcept : fState{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476} {}

CalculateMD5::~CalculateMD5() {
    platform::SecureZero(fBlock, sizeof fBlock);
    // In a keyed digest, the state after the key must stay as secret as the key, because anybody who knows this state
    // can compute digests with the key.
    platform::SecureZero(fState, sizeof fState);
}

void CalculateMD5::Compress(char const *blocks, std::uint32_t count) noexcept {
    md5::Lane lane = {{fState[0], fState[1], fState[2], fState[3]}, blocks};
    for (; count; --count, lane.block += fsBlock)
        md5::Compress(lane);
    fState[0] = lane.s.a;
    fState[1] = lane.s.b;
    fState[2] = lane.s.c;
    fState[3] = lane.s.d;
}

void CalculateMD5::Write(char const *bytes, unsigned long count) noexcept {
    if (fFinished || count == 0)
        return;
    fByteCount += static_cast<std::uint32_t>(count);
    if (fFill) {
        auto const taken = static_cast<std::uint32_t>(std::min<unsigned long>(count, fsBlock - fFill));
        std::memcpy(fBlock + fFill, bytes, taken);
        fFill += taken;
        bytes += taken;
        count -= taken;
        if (fFill < fsBlock)
            return;
        Compress(fBlock, 1);
    }
    // Compress() takes the number of blocks as 32 bits, so long data are passed in several calls.
    while (count >= fsBlock) {
        auto const blocks = static_cast<std::uint32_t>(std::min<unsigned long>(count / fsBlock, 0xFFFFFFu));
        Compress(bytes, blocks);
        bytes += std::size_t{blocks} * fsBlock;
        count -= static_cast<unsigned long>(blocks) * fsBlock;
    }
    fFill = static_cast<std::uint32_t>(count);
    if (fFill)
        std::memcpy(fBlock, bytes, fFill);
}

void CalculateMD5::Done(char *const digest) noexcept {
    if (!fFinished) {
        fBlock[fFill++] = static_cast<char>(0x80);
        if (fFill > fsLengthAt) { // the block has no room for the length
            std::memset(fBlock + fFill, 0, fsBlock - fFill);
            Compress(fBlock, 1);
            fFill = 0;
        }
        std::memset(fBlock + fFill, 0, fsLengthAt - fFill);
        fBitLength[0] = fByteCount * 8;
        md5::StoreWord(fBlock + fsLengthAt, fBitLength[0]);
        md5::StoreWord(fBlock + fsLengthAt + 4, fBitLength[1]);
        Compress(fBlock, 1);
        platform::SecureZero(fBlock, sizeof fBlock);
        fFill = 0;
        fFinished = 1;
    }
    for (int word = 0; word < 4; ++word)
        md5::StoreWord(digest + std::ptrdiff_t{word} * 4, fState[word]);
}

void CalculateMD5::Calc(char const *text, char *const digest) noexcept {
    CalculateMD5 md5;
    if (text)
        md5.Write(text, static_cast<unsigned long>(std::strlen(text)));
    md5.Done(digest);
}
