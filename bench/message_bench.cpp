// Measures how long a message with numbered arguments takes to make its text. The peers are snprintf() and {fmt}. A
// message makes its text only once, so each iteration formats a copy of the message. Another row measures the copying
// alone.

#include "allocations.h"
#include "tuzutil/TXTMSG.h"

#include <benchmark/benchmark.h>
#ifdef HAS_FMT
#include <fmt/format.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

char const fsExpected[] = "message inbox has 1234 items, 0000BEEF";

void Message(benchmark::State &state) {
    TTextMessage const message("message %2$s has %1$d items, %3$08X", 1234, "inbox", 0xBEEFu);
    allocations::TCounter const counter(state);
    for (auto step : state) {
        TTextMessage const copy(message);
        benchmark::DoNotOptimize(static_cast<char const *>(copy.QueryMessage()));
    }
    if (message.QueryMessage() != fsExpected)
        std::abort();
}

void CopyAlone(benchmark::State &state) {
    TTextMessage const message("message %2$s has %1$d items, %3$08X", 1234, "inbox", 0xBEEFu);
    for (auto step : state) {
        TTextMessage const copy(message);
        benchmark::DoNotOptimize(copy.QueryNumberArgs());
    }
}

void Literal(benchmark::State &state) {
    TTextMessage const message("message inbox has 1234 items, 0000BEEF");
    for (auto step : state) {
        TTextMessage const copy(message);
        benchmark::DoNotOptimize(static_cast<char const *>(copy.QueryMessage()));
    }
}

void MadeAndFormatted(benchmark::State &state) {
    TString const name("inbox");
    allocations::TCounter const counter(state);
    for (auto step : state) {
        TTextMessage const message("message %2$s has %1$d items, %3$08X", 1234, name, 0xBEEFu);
        benchmark::DoNotOptimize(static_cast<char const *>(message.QueryMessage()));
    }
}

template <typename Format>
void Snprintf(benchmark::State &state, Format format) {
    char buffer[200];
    for (auto step : state) {
        format(buffer, sizeof buffer);
        benchmark::DoNotOptimize(buffer);
    }
    if (std::strcmp(buffer, fsExpected) != 0)
        std::abort();
}

#ifndef _WIN32 // the C runtime there does not know numbered arguments
void SnprintfNumbered(benchmark::State &state) {
    Snprintf(state, [](char *buffer, std::size_t size) {
        std::snprintf(buffer, size, "message %2$s has %1$d items, %3$08X", 1234, "inbox", 0xBEEFu);
    });
}
#endif

void SnprintfInOrder(benchmark::State &state) {
    Snprintf(state, [](char *buffer, std::size_t size) {
        std::snprintf(buffer, size, "message %s has %d items, %08X", "inbox", 1234, 0xBEEFu);
    });
}

#ifdef HAS_FMT
// The format is known only at run time, like the format of a message.
void Fmt(benchmark::State &state) {
    std::string const name("inbox");
    for (auto step : state) {
        std::string const text = fmt::format(fmt::runtime("message {1} has {0} items, {2:08X}"), 1234, name, 0xBEEFu);
        benchmark::DoNotOptimize(text.c_str());
    }
}
#endif

} // namespace

BENCHMARK(Message);
BENCHMARK(CopyAlone);
BENCHMARK(Literal);
BENCHMARK(MadeAndFormatted);
#ifndef _WIN32
BENCHMARK(SnprintfNumbered);
#endif
BENCHMARK(SnprintfInOrder);
#ifdef HAS_FMT
BENCHMARK(Fmt);
#endif
