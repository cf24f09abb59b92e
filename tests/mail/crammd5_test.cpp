#include "tuzutil/CRAMMD5.h"

#include "tuzutil/MD5.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Plain(TString const &text) {
    char const *const data = text;
    return std::string(data, text.length());
}

TString Repeated(unsigned int count, int byte) {
    return TString(nullptr, count, static_cast<char>(byte));
}

std::string DigestBytes(std::string const &bytes) {
    CalculateMD5 md5;
    md5.Write(bytes.data(), static_cast<unsigned long>(bytes.size()));
    std::string digest(16, '\0');
    md5.Done(digest.data());
    return digest;
}

// The keyed digest with strings, from the digest of whole messages.
std::string ReferenceCalc(std::string key, std::string const &challenge) {
    if (key.size() > 64)
        key = DigestBytes(key.c_str()); // up to its first zero
    key.resize(64, '\0');
    std::string inner;
    std::string outer;
    for (char const c : key) {
        inner += static_cast<char>(c ^ 0x36);
        outer += static_cast<char>(c ^ 0x5C);
    }
    std::string text;
    for (char const c : DigestBytes(outer + DigestBytes(inner + challenge))) {
        text += "0123456789abcdef"[c >> 4 & 15];
        text += "0123456789abcdef"[c & 15];
    }
    return text;
}

} // namespace

TEST(CramMd5, Example) {
    TStringAndWipe secret("tanstaaftanstaaf");
    TString challenge("<1896.697170952@postoffice.reston.mci.net>");
    TString digest = CalculateCramMD5::Calc(secret, challenge);
    EXPECT_EQ(digest, "b913a602c7eda7a495b4e6e7334d3890");
}

TEST(CramMd5, PublishedKeyedDigestsHold) {
    TString counted = Repeated(25, 0);
    for (unsigned int at = 1; at <= 25; ++at)
        counted[at] = static_cast<char>(at);
    struct Row {
        TString key;
        TString data;
        char const *digest;
    };
    Row const rows[] = {
        {Repeated(16, 0x0B), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
        {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
        {Repeated(16, 0xAA), Repeated(50, 0xDD), "56be34521d144c88dbb8c733f0e8b3f6"},
        {counted, Repeated(50, 0xCD), "697eaf0aca3a3aea3a75164746ffaa79"},
        {Repeated(16, 0x0C), "Test With Truncation", "56461ef2342edc00f9bab995690efd4c"},
        {Repeated(80, 0xAA), "Test Using Larger Than Block-Size Key - Hash Key First",
         "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {Repeated(80, 0xAA), "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
         "6f630fad67cda0ee1fb1f562db3aa53e"},
    };
    for (Row const &row : rows)
        EXPECT_EQ(Plain(CalculateCramMD5::Calc(row.key, row.data)), row.digest);
}

TEST(CramMd5, SecretsOfMoreThan64BytesAreReducedToTheirDigest) {
    TString const challenge("<challenge>");
    EXPECT_EQ(CalculateCramMD5::Calc(Repeated(64, 's'), challenge), "9ce78dd30f5a92aa95e44923fe899bba");
    EXPECT_EQ(CalculateCramMD5::Calc(Repeated(65, 's'), challenge), "6ae61e6c9665979223293fcf1aa66523");
    char digest[16];
    CalculateMD5::Calc(std::string(65, 's').c_str(), digest);
    EXPECT_EQ(CalculateCramMD5::Calc(TString(digest, 16, ' '), challenge), "6ae61e6c9665979223293fcf1aa66523");
}

TEST(CramMd5, ALongSecretIsReadUpToItsFirstZeroAShortOneWhole) {
    TString longer = Repeated(80, 'k');
    longer[4] = '\0';
    char digest[16];
    CalculateMD5::Calc("kkk", digest);
    TString const reduced(digest, 16, ' ');
    EXPECT_EQ(CalculateCramMD5::Calc(longer, "c"), CalculateCramMD5::Calc(reduced, "c"));

    TString const shorter("k\0k", 3, ' ');
    EXPECT_EQ(Plain(CalculateCramMD5::Calc(shorter, "c")), ReferenceCalc(std::string("k\0k", 3), "c"));
    EXPECT_NE(CalculateCramMD5::Calc(shorter, "c"), CalculateCramMD5::Calc("k", "c"));
}

TEST(CramMd5, TheWholeChallengeCountsZerosIncluded) {
    TString const challenge("a\0b", 3, ' ');
    EXPECT_EQ(Plain(CalculateCramMD5::Calc("key", challenge)), ReferenceCalc("key", std::string("a\0b", 3)));
}

TEST(CramMd5, EveryLengthOfSecretAndChallengeGivesTheReferenceDigest) {
    for (unsigned int length = 0; length <= 200; ++length) {
        std::string const secret(length, 'k');
        std::string const challenge(200 - length, 'c');
        EXPECT_EQ(Plain(CalculateCramMD5::Calc(Repeated(length, 'k'), Repeated(200 - length, 'c'))),
                  ReferenceCalc(secret, challenge))
            << length;
    }
}

TEST(CramMd5, NullStringsCountAsEmpty) {
    EXPECT_EQ(CalculateCramMD5::Calc(TString(), TString()), "74e6f7298a9c2d168935f58c001bad88");
    EXPECT_EQ(CalculateCramMD5::Calc("", ""), "74e6f7298a9c2d168935f58c001bad88");
}

TEST(CramMd5, TheCallersSecretIsNotTouched) {
    TStringAndWipe secret("tanstaaftanstaaf");
    TString const other(secret);
    CalculateCramMD5::Calc(secret, "challenge");
    EXPECT_EQ(other, "tanstaaftanstaaf");
    EXPECT_EQ(secret, "tanstaaftanstaaf");
}
