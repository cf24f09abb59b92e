#include "tuzutil/MD5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <vector>

namespace {

std::string Hex(char const *digest) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (int at = 0; at < 16; ++at) {
        text += digits[digest[at] >> 4 & 15];
        text += digits[digest[at] & 15];
    }
    return text;
}

std::string DigestOf(std::string const &bytes) {
    CalculateMD5 md5;
    md5.Write(bytes.data(), static_cast<unsigned long>(bytes.size()));
    char digest[16];
    md5.Done(digest);
    return Hex(digest);
}

// A second implementation, step by step from the definition: padded message, sines from sin(), one loop of 64.
std::string ReferenceDigest(std::string message) {
    std::uint64_t const bits = std::uint64_t{message.size()} * 8;
    message += '\x80';
    while (message.size() % 64 != 56)
        message += '\0';
    for (int byte = 0; byte < 8; ++byte)
        message += static_cast<char>(bits >> (8 * byte));

    static constexpr int turns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    std::uint32_t state[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    for (std::size_t block = 0; block < message.size(); block += 64) {
        std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
        for (unsigned int step = 0; step < 64; ++step) {
            unsigned int const round = step / 16;
            std::uint32_t mixed = 0;
            unsigned int place = 0;
            switch (round) {
            case 0: mixed = (b & c) | (~b & d), place = step; break;
            case 1: mixed = (d & b) | (~d & c), place = 5 * step + 1; break;
            case 2: mixed = b ^ c ^ d, place = 3 * step + 5; break;
            default: mixed = c ^ (b | ~d), place = 7 * step; break;
            }
            std::uint32_t word = 0;
            for (unsigned int byte = 0; byte < 4; ++byte)
                word |= std::uint32_t{static_cast<unsigned char>(message[block + place % 16 * 4 + byte])} << (8 * byte);
            auto const sine = static_cast<std::uint32_t>(std::floor(std::fabs(std::sin(step + 1.0)) * 4294967296.0));
            std::uint32_t const next = b + std::rotl(a + mixed + word + sine, turns[round][step % 4]);
            a = d, d = c, c = b, b = next;
        }
        state[0] += a, state[1] += b, state[2] += c, state[3] += d;
    }
    char digest[16];
    for (int byte = 0; byte < 16; ++byte)
        digest[byte] = static_cast<char>(state[byte / 4] >> (8 * (byte % 4)));
    return Hex(digest);
}

std::string RandomBytes(std::size_t count, std::mt19937 &random) {
    std::string bytes(count, '\0');
    for (char &c : bytes)
        c = static_cast<char>(random());
    return bytes;
}

} // namespace

TEST(Md5, Example) {
    CalculateMD5 md5;
    md5.Write("message ", 8);
    md5.Write("digest", 6);
    char digest[16];
    md5.Done(digest);
    EXPECT_EQ(Hex(digest), "f96b697d7cb7938d525a2f31aaf161d0");
}

TEST(Md5, PublishedVectorsHold) {
    struct Row {
        char const *text;
        char const *digest;
    };
    Row const rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (Row const &row : rows) {
        char digest[16];
        CalculateMD5::Calc(row.text, digest);
        EXPECT_EQ(Hex(digest), row.digest) << row.text;
        EXPECT_EQ(DigestOf(row.text), row.digest) << row.text;
        EXPECT_EQ(ReferenceDigest(row.text), row.digest) << row.text;
    }
}

TEST(Md5, WithoutAnyWriteItIsTheDigestOfTheEmptyText) {
    CalculateMD5 md5;
    char digest[16];
    md5.Done(digest);
    EXPECT_EQ(Hex(digest), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5, CalcEndsAtTheFirstZeroAndTakesNullAsEmptyText) {
    char digest[16];
    CalculateMD5::Calc("abc\0def", digest);
    EXPECT_EQ(Hex(digest), "900150983cd24fb0d6963f7d28e17f72");
    CalculateMD5::Calc(nullptr, digest);
    EXPECT_EQ(Hex(digest), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5, CharactersThatAreNotConstAreTaken) {
    char text[] = "abc";
    char digest[16];
    CalculateMD5::Calc(text, digest);
    EXPECT_EQ(Hex(digest), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Md5, EveryLengthUpTo300DigestsAsTheReferenceDoes) {
    std::mt19937 random(1);
    for (std::size_t length = 0; length <= 300; ++length) {
        std::string const bytes = RandomBytes(length, random);
        EXPECT_EQ(DigestOf(bytes), ReferenceDigest(bytes)) << length;
    }
}

TEST(Md5, PiecesOfAnySizeGiveTheSameDigest) {
    std::mt19937 random(2);
    std::string const bytes = RandomBytes(300, random);
    std::string const expected = ReferenceDigest(bytes);
    for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
        CalculateMD5 md5;
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            md5.Write(bytes.data() + at, static_cast<unsigned long>(std::min(piece, bytes.size() - at)));
        char digest[16];
        md5.Done(digest);
        EXPECT_EQ(Hex(digest), expected) << piece;
    }
    for (int round = 0; round < 1000; ++round) {
        CalculateMD5 md5;
        for (std::size_t at = 0; at < bytes.size();) {
            std::size_t const piece = std::min<std::size_t>(random() % 130, bytes.size() - at);
            md5.Write(bytes.data() + at, static_cast<unsigned long>(piece));
            at += piece;
        }
        char digest[16];
        md5.Done(digest);
        ASSERT_EQ(Hex(digest), expected) << round;
    }
}

TEST(Md5, InputAtAnyAlignmentGivesTheSameDigest) {
    std::mt19937 random(3);
    std::string const bytes = RandomBytes(200, random);
    for (std::size_t shift = 0; shift < 16; ++shift) {
        std::vector<char> moved(bytes.size() + shift);
        std::memcpy(moved.data() + shift, bytes.data(), bytes.size());
        CalculateMD5 md5;
        md5.Write(moved.data() + shift, 200);
        char digest[16];
        md5.Done(digest);
        EXPECT_EQ(Hex(digest), ReferenceDigest(bytes)) << shift;
    }
}

TEST(Md5, PaddingTakesASecondBlockFrom56Bytes) {
    EXPECT_EQ(DigestOf(std::string(55, 'x')), "04364420e25c512fd958a70738aa8f72");
    EXPECT_EQ(DigestOf(std::string(56, 'x')), "668a72d5ba17f08e62dabcafad6db14b");
    EXPECT_EQ(DigestOf(std::string(63, 'x')), "7dc2ca208106a2f703567bdff99d8981");
    EXPECT_EQ(DigestOf(std::string(64, 'x')), "c1bb4f81d892b2d57947682aeb252456");
}

TEST(Md5, WriteAfterDoneChangesNothingAndDoneAgainStoresTheSame) {
    CalculateMD5 md5;
    md5.Write("abc", 3);
    char digest[16];
    md5.Done(digest);
    md5.Write("more", 4);
    char again[16] = {};
    md5.Done(again);
    EXPECT_EQ(Hex(again), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Md5, ACopyGoesOnFromWhereTheOriginalStood) {
    CalculateMD5 md5;
    md5.Write("ab", 2);
    CalculateMD5 copy(md5);
    md5.Write("x", 1);
    copy.Write("c", 1);
    char digest[16];
    copy.Done(digest);
    EXPECT_EQ(Hex(digest), "900150983cd24fb0d6963f7d28e17f72");
}

// The length is counted in 32 bits: 512 MiB count as none, and the digest is not the standard's, which would be
// 00183e9d317c8dae9a25ac842997625f.
TEST(Md5, From512MebibytesOnTheLengthStartsAgainAtZero) {
    std::string const piece(1 << 20, 'z');
    CalculateMD5 md5;
    for (int count = 0; count < 512; ++count)
        md5.Write(piece.data(), 1 << 20);
    CalculateMD5 more(md5);
    char digest[16];
    md5.Done(digest);
    EXPECT_EQ(Hex(digest), "791415bd20005e1874247a107f1af49b");
    more.Write("zzzzz", 5);
    more.Done(digest);
    EXPECT_EQ(Hex(digest), "6ab85fbfee2129bf21fc14cb10215405");
}

// The last block has no room for the length, and the object still has bytes of the block before it.
TEST(Md5, NoBytesOfAnEarlierBlockAreInThePadding) {
    for (std::size_t length = 64 + 56; length < 64 + 64; ++length) {
        std::string const text(length, 'x');
        CalculateMD5 md5;
        md5.Write(text.data(), 60);
        md5.Write(text.data(), static_cast<unsigned long>(length - 60));
        char digest[16];
        md5.Done(digest);
        EXPECT_EQ(Hex(digest), ReferenceDigest(text)) << length;
    }
}

TEST(Md5, NoMessageBytesRemainInTheObject) {
    std::string const secret = "correct horse battery";
    alignas(CalculateMD5) char memory[sizeof(CalculateMD5)] = {};
    auto const holdsSecret = [&] { return std::string(memory, sizeof memory).find(secret) != std::string::npos; };
    auto *md5 = new (memory) CalculateMD5;
    md5->Write(secret.data(), static_cast<unsigned long>(secret.size()));
    EXPECT_TRUE(holdsSecret());
    char digest[16];
    md5->Done(digest);
    EXPECT_FALSE(holdsSecret());
    md5->~CalculateMD5();

    md5 = new (memory) CalculateMD5;
    md5->Write(secret.data(), static_cast<unsigned long>(secret.size()));
    md5->~CalculateMD5();
    EXPECT_FALSE(holdsSecret());
}
