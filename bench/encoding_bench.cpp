// Compares Base64, modified UTF-7 and MD5 with memcpy() and memchr() of the same bytes, and with OpenSSL. The Base64
// functions of OpenSSL do less: they write to a buffer of the caller, make no lines, and skip no blanks.

#include "tuzutil/BASE64.h"
#include "tuzutil/CRAMMD5.h"
#include "tuzutil/MD5.h"
#include "tuzutil/UTF7.h"
#include "utility/mail/base64_loops.h"

#ifdef HAS_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/evp.h>
#include <openssl/md5.h>
#endif

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

// Returns random bytes without a zero, because the decoded text would end before a zero.
std::string Bytes(std::size_t count) {
    std::mt19937 random(17);
    std::uniform_int_distribution<int> byte(1, 255);
    std::string bytes(count, '\0');
    for (char &c : bytes)
        c = static_cast<char>(byte(random));
    return bytes;
}

TString Text(std::string const &bytes) {
    return TString(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
}

// Returns a mailbox name. After every sixteen ASCII letters, it has two other characters, which UTF-7 encodes as a run.
TString Name(std::size_t bytes) {
    std::vector<unsigned short> units;
    while (units.size() < bytes / 2) {
        std::size_t const column = units.size() % 18;
        units.push_back(static_cast<unsigned short>(column < 16 ? 'a' + column : 0x4E00 + column));
    }
    units.push_back(0);
    return TString(units.data());
}

void Require(bool holds) {
    if (!holds)
        std::abort();
}

void Count(benchmark::State &state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * static_cast<std::int64_t>(state.iterations()));
}

std::size_t Size(benchmark::State const &state) {
    return static_cast<std::size_t>(state.range(0));
}

void Memcpy(benchmark::State &state) {
    std::string const from = Bytes(Size(state));
    std::string to(from.size(), '\0');
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    Count(state, from.size());
}

void Memchr(benchmark::State &state) {
    std::string const from = Bytes(Size(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(std::memchr(from.data(), 0, from.size()));
    Count(state, from.size());
}

void Base64Encode(benchmark::State &state) {
    TString const bytes = Text(Bytes(Size(state)));
    TString text;
    for (auto _ : state)
        benchmark::DoNotOptimize(text = TBase64::Encode(bytes));
    Require(TBase64::Decode(text) == bytes);
    Count(state, bytes.length());
}

void Base64Decode(benchmark::State &state) {
    TString const bytes = Text(Bytes(Size(state)));
    TString const text = TBase64::Encode(bytes);
    TString back;
    for (auto _ : state)
        benchmark::DoNotOptimize(back = TBase64::Decode(text));
    Require(back == bytes);
    Count(state, bytes.length());
}

void Base64EncodePortable(benchmark::State &state) {
    std::string const bytes = Bytes(Size(state));
    std::vector<char> text(base64::EncodedLength(bytes.size()));
    for (auto _ : state) {
        base64::EncodePortable(reinterpret_cast<base64::Byte const *>(bytes.data()), bytes.size(), text.data());
        benchmark::ClobberMemory();
    }
    Count(state, bytes.size());
}

void Base64DecodePortable(benchmark::State &state) {
    TString const text = TBase64::Encode(Text(Bytes(Size(state))));
    char const *const from = text;
    std::vector<base64::Byte> bytes(base64::DecodedRoom(text.length()));
    for (auto _ : state) {
        base64::DecodePortable(from, from + text.length(), bytes.data());
        benchmark::ClobberMemory();
    }
    Count(state, Size(state));
}

void Utf7Encode(benchmark::State &state) {
    TString const name = Name(Size(state));
    TString text;
    for (auto _ : state)
        benchmark::DoNotOptimize(text = TModifiedUTF7::Encode(name));
    Require(TModifiedUTF7::Decode(text) == name);
    Count(state, name.length());
}

void Utf7Decode(benchmark::State &state) {
    TString const name = Name(Size(state));
    TString const text = TModifiedUTF7::Encode(name);
    TString back;
    for (auto _ : state)
        benchmark::DoNotOptimize(back = TModifiedUTF7::Decode(text));
    Require(back == name);
    Count(state, name.length());
}

void Md5(benchmark::State &state) {
    std::string const bytes = Bytes(Size(state));
    char digest[16];
    for (auto _ : state) {
        CalculateMD5 md5;
        md5.Write(bytes.data(), static_cast<unsigned long>(bytes.size()));
        md5.Done(digest);
        benchmark::DoNotOptimize(digest);
    }
    Count(state, bytes.size());
}

void CramMd5(benchmark::State &state) {
    TString const secret("tanstaaftanstaaf");
    TString const challenge("<1896.697170952@postoffice.reston.mci.net>");
    TString digest;
    for (auto _ : state)
        benchmark::DoNotOptimize(digest = CalculateCramMD5::Calc(secret, challenge));
    Require(digest == "b913a602c7eda7a495b4e6e7334d3890");
}

#ifdef HAS_OPENSSL
void Base64EncodeOpenssl(benchmark::State &state) {
    std::string const bytes = Bytes(Size(state));
    std::vector<unsigned char> text(bytes.size() / 3 * 4 + 5);
    for (auto _ : state) {
        EVP_EncodeBlock(text.data(), reinterpret_cast<unsigned char const *>(bytes.data()),
                        static_cast<int>(bytes.size()));
        benchmark::ClobberMemory();
    }
    Count(state, bytes.size());
}

void Base64DecodeOpenssl(benchmark::State &state) {
    std::string const bytes = Bytes(Size(state));
    std::vector<unsigned char> text(bytes.size() / 3 * 4 + 5);
    int const length = EVP_EncodeBlock(text.data(), reinterpret_cast<unsigned char const *>(bytes.data()),
                                       static_cast<int>(bytes.size()));
    std::vector<unsigned char> back(bytes.size() + 3);
    for (auto _ : state) {
        Require(EVP_DecodeBlock(back.data(), text.data(), length) >= static_cast<int>(bytes.size()));
        benchmark::ClobberMemory();
    }
    Count(state, bytes.size());
}

// Computes the digest of CRAM-MD5. Uses only the MD5 functions of OpenSSL, and makes both padded keys here.
void CramMd5Openssl(benchmark::State &state) {
    std::string const secret("tanstaaftanstaaf");
    std::string const challenge("<1896.697170952@postoffice.reston.mci.net>");
    char text[33] = {};
    for (auto _ : state) {
        unsigned char inner[64] = {};
        unsigned char outer[64] = {};
        std::memcpy(inner, secret.data(), secret.size());
        std::memcpy(outer, secret.data(), secret.size());
        for (int i = 0; i < 64; ++i) {
            inner[i] ^= 0x36;
            outer[i] ^= 0x5C;
        }
        unsigned char digest[16];
        MD5_CTX context;
        MD5_Init(&context);
        MD5_Update(&context, inner, sizeof inner);
        MD5_Update(&context, challenge.data(), challenge.size());
        MD5_Final(digest, &context);
        MD5_Init(&context);
        MD5_Update(&context, outer, sizeof outer);
        MD5_Update(&context, digest, sizeof digest);
        MD5_Final(digest, &context);
        for (int i = 0; i < 16; ++i) {
            text[2 * i] = "0123456789abcdef"[digest[i] >> 4];
            text[2 * i + 1] = "0123456789abcdef"[digest[i] & 15];
        }
        benchmark::DoNotOptimize(text);
    }
    Require(std::string(text) == "b913a602c7eda7a495b4e6e7334d3890");
}
#endif

void Sizes(benchmark::internal::Benchmark *benchmark) {
    benchmark->Arg(54)->Arg(4096)->Arg(1 << 20);
}

BENCHMARK(Memcpy)->Apply(Sizes);
BENCHMARK(Memchr)->Apply(Sizes);
BENCHMARK(Base64Encode)->Apply(Sizes);
BENCHMARK(Base64EncodePortable)->Apply(Sizes);
BENCHMARK(Base64Decode)->Apply(Sizes);
BENCHMARK(Base64DecodePortable)->Apply(Sizes);
BENCHMARK(Utf7Encode)->Apply(Sizes);
BENCHMARK(Utf7Decode)->Apply(Sizes);
BENCHMARK(Md5)->Apply(Sizes);
BENCHMARK(CramMd5);
#ifdef HAS_OPENSSL
BENCHMARK(Base64EncodeOpenssl)->Apply(Sizes);
BENCHMARK(Base64DecodeOpenssl)->Apply(Sizes);
BENCHMARK(CramMd5Openssl);
#endif

} // namespace
