// CalculateCramMD5: computes the answer to a challenge of CRAM-MD5. The answer is a keyed MD5 digest in hexadecimal
// digits. The answer is made from two nested digests. Each block that holds the key or the inner digest is zeroed
// before its memory is released. This source has no lock.

#include "tuzutil/CRAMMD5.h"

#include "platform/platform.h"
#include "tuzutil/MD5.h"
#include "utility/kernel/string_access.h"
#include "utility/mail/md5_steps.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t fsBlock = 64;    // the bytes that MD5 takes at once
constexpr std::size_t fsLengthAt = 56; // the place of the length in the last block
constexpr std::size_t fsDigestSize = 16;

// Everything that is computed from the secret: the first block of each digest, the two digests, and the last bytes of a
// message.
struct TWork {
    TWork() = default;
    TWork(TWork const &) = delete;
    TWork &operator=(TWork const &) = delete;
    ~TWork() { platform::SecureZero(this, sizeof *this); }

    char innerBlock[fsBlock] = {};
    char outerBlock[fsBlock] = {};
    md5::Lane inner{{}, innerBlock};
    md5::Lane outer{{}, outerBlock};
    char last[2 * fsBlock] = {};
};

// These functions are not inlined, because their code is long. They work on copies, which the compiler keeps in
// registers.
[[gnu::noinline]] void Compress(md5::Lane &lane) noexcept {
    md5::Lane copy = lane;
    md5::Compress(copy);
    lane.s = copy.s;
}
[[gnu::noinline]] void CompressBoth(md5::Lane &first, md5::Lane &second) noexcept {
    md5::Lane one = first;
    md5::Lane two = second;
    md5::Compress(one, two);
    first.s = one.s;
    second.s = two.s;
}

void Store(md5::State const &state, char *digest) noexcept {
    md5::StoreWord(digest, state.a);
    md5::StoreWord(digest + 4, state.b);
    md5::StoreWord(digest + 8, state.c);
    md5::StoreWord(digest + 12, state.d);
}

// Adds the rest of a message to a digest that has taken one block, and ends the digest. `last` is room for the last
// bytes of the message.
void Finish(md5::Lane &lane, char const *message, std::size_t count, char (&last)[2 * fsBlock]) noexcept {
    std::size_t left = count;
    for (; left >= fsBlock; left -= fsBlock, message += fsBlock) {
        lane.block = message;
        Compress(lane);
    }
    std::size_t const size = left < fsLengthAt ? fsBlock : 2 * fsBlock;
    std::memset(last, 0, size);
    if (left != 0)
        std::memcpy(last, message, left);
    last[left] = static_cast<char>(0x80);
    // As in CalculateMD5, the length in bits has 32 bits.
    md5::StoreWord(last + size - 8, static_cast<std::uint32_t>(fsBlock + count) * 8);
    for (std::size_t at = 0; at < size; at += fsBlock) {
        lane.block = last + at;
        Compress(lane);
    }
}

// The two hexadecimal digits of each byte.
constexpr auto fsDigits = [] {
    std::array<std::array<char, 2>, 256> digits{};
    for (std::size_t byte = 0; byte < digits.size(); ++byte)
        digits[byte] = {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    return digits;
}();

TString Hexadecimal(char const (&bytes)[fsDigestSize]) {
    TString text = TStringAccess::Uninitialized(fsDigestSize * 2);
    char *to = text;
    for (char const byte : bytes) {
        std::memcpy(to, fsDigits[static_cast<unsigned char>(byte)].data(), 2);
        to += 2;
    }
    return text;
}

} // namespace

TString CalculateCramMD5::Calc(TString secret, TString challenge) {
    TWork work;
    char const *const bytes = secret;
    if (secret.length() > fsBlock)
        CalculateMD5::Calc(bytes, work.innerBlock);
    else if (bytes)
        std::memcpy(work.innerBlock, bytes, secret.length());
    for (std::size_t at = 0; at < fsBlock; ++at) {
        char const byte = work.innerBlock[at];
        work.innerBlock[at] = static_cast<char>(byte ^ 0x36);
        work.outerBlock[at] = static_cast<char>(byte ^ 0x5C);
    }

    // The first blocks of both digests do not depend on each other.
    CompressBoth(work.inner, work.outer);
    char digest[fsDigestSize];
    Finish(work.inner, challenge, challenge.length(), work.last);
    Store(work.inner.s, work.innerBlock);
    Finish(work.outer, work.innerBlock, fsDigestSize, work.last);
    Store(work.outer.s, digest);
    return Hexadecimal(digest);
}
