// Compares strings with std::string, with std::shared_ptr, and with the searches of the C library.

#include "tuzutil/TSTRING.h"

#include <benchmark/benchmark.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <string>
#include <strings.h>

namespace {

constexpr std::size_t fsTextSize = 4096;

// Returns a text in which the letter e is common. The letter q does not occur, so a pattern that begins with q is rare.
std::string MakeText() {
    std::string text;
    while (text.size() < fsTextSize)
        text += "the message was read before the sender deleted it here ";
    text.resize(fsTextSize - 4);
    return text;
}

void AppendStandard(benchmark::State &state) {
    for (auto _ : state) {
        std::string text;
        for (int i = 0; i < 4096; ++i)
            text += "sixteen letters.";
        benchmark::DoNotOptimize(text.data());
    }
}

void Append(benchmark::State &state) {
    for (auto _ : state) {
        TString text("");
        for (int i = 0; i < 4096; ++i)
            text += "sixteen letters.";
        benchmark::DoNotOptimize(text.data());
    }
}

void Find(benchmark::State &state, char const *pattern) {
    TString const text(MakeText() + pattern);
    for (auto _ : state)
        benchmark::DoNotOptimize(text.indexOf(pattern));
}

void FindStrstr(benchmark::State &state, char const *pattern) {
    std::string const text(MakeText() + pattern);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::strstr(text.c_str(), pattern));
}

void FindLast(benchmark::State &state) {
    TString const text("q" + MakeText());
    for (auto _ : state)
        benchmark::DoNotOptimize(text.lastIndexOf('q'));
}

void FindLastStandard(benchmark::State &state) {
    std::string const text("q" + MakeText());
    for (auto _ : state)
        benchmark::DoNotOptimize(text.rfind('q'));
}

#ifdef __GLIBC__
void FindLastMemrchr(benchmark::State &state) {
    std::string const text("q" + MakeText());
    for (auto _ : state)
        benchmark::DoNotOptimize(memrchr(text.data(), 'q', text.size()));
}
#endif

char const fsSmall[] = "content-transfer-encoding: 8bit";
char const fsCapital[] = "CONTENT-TRANSFER-ENCODING: 8BIT";

void Caseless(benchmark::State &state) {
    TStringIcmp const small(fsSmall);
    TStringIcmp const capital(fsCapital);
    for (auto _ : state)
        benchmark::DoNotOptimize(small.IsEqual(capital));
}

void CaselessStrcasecmp(benchmark::State &state) {
    std::string const small(fsSmall);
    std::string const capital(fsCapital);
    for (auto _ : state)
        benchmark::DoNotOptimize(strcasecmp(small.c_str(), capital.c_str()));
}

// The floor for functions that look at each byte once: a copy of the bytes.
void CopyText(benchmark::State &state) {
    std::string const text(MakeText().substr(0, static_cast<std::size_t>(state.range(0))));
    std::string copy(text);
    for (auto _ : state) {
        std::memcpy(copy.data(), text.data(), text.size());
        benchmark::ClobberMemory();
    }
}

void LowerCase(benchmark::State &state) {
    TString text(MakeText().substr(0, static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        text.lowerCase();
        benchmark::ClobberMemory();
    }
}

void LowerCaseTolower(benchmark::State &state) {
    std::string text(MakeText().substr(0, static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        for (char &c : text)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        benchmark::ClobberMemory();
    }
}

void AnyOf(benchmark::State &state) {
    TString const text(MakeText().substr(0, static_cast<std::size_t>(state.range(0))));
    for (auto _ : state)
        benchmark::DoNotOptimize(text.indexOfAnyOf("\r\n\t:"));
}

void AnyOfStrpbrk(benchmark::State &state) {
    std::string const text(MakeText().substr(0, static_cast<std::size_t>(state.range(0))));
    for (auto _ : state)
        benchmark::DoNotOptimize(std::strpbrk(text.c_str(), "\r\n\t:"));
}

void Copy(benchmark::State &state) {
    TString const text(MakeText().substr(0, 100));
    for (auto _ : state) {
        TString copy(text);
        benchmark::DoNotOptimize(copy);
    }
}

void CopySharedPtr(benchmark::State &state) {
    auto const text = std::make_shared<std::string>(100, 'x');
    for (auto _ : state) {
        auto copy(text);
        benchmark::DoNotOptimize(copy);
    }
}

} // namespace

BENCHMARK(Append);
BENCHMARK(AppendStandard);
BENCHMARK_CAPTURE(Find, Rare, "qxyz");
BENCHMARK_CAPTURE(FindStrstr, Rare, "qxyz");
BENCHMARK_CAPTURE(Find, Common, "exyz");
BENCHMARK_CAPTURE(FindStrstr, Common, "exyz");
BENCHMARK(FindLast);
BENCHMARK(FindLastStandard);
#ifdef __GLIBC__
BENCHMARK(FindLastMemrchr);
#endif
BENCHMARK(Caseless);
BENCHMARK(CaselessStrcasecmp);
BENCHMARK(CopyText)->Arg(32)->Arg(4000);
BENCHMARK(LowerCase)->Arg(32)->Arg(4000);
BENCHMARK(LowerCaseTolower)->Arg(32)->Arg(4000);
BENCHMARK(AnyOf)->Arg(32)->Arg(4000);
BENCHMARK(AnyOfStrpbrk)->Arg(32)->Arg(4000);
BENCHMARK(Copy);
BENCHMARK(CopySharedPtr);
