// Measures how long throwing an exception and catching it in the caller takes. The peers are exceptions of the standard
// library. Nothing is traced.

#include "tuzutil/EXCEPTN.h"

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>

namespace {

[[gnu::noinline]] void ThrowOurs() {
    throw TInvalidRequest("the position is out of range", 1, TException::recoverable);
}

[[gnu::noinline]] void ThrowStandard() {
    throw std::out_of_range("the position is out of range");
}

void Thrown(benchmark::State &state) {
    for (auto _ : state) {
        try {
            ThrowOurs();
        } catch (TInvalidRequest const &problem) {
            benchmark::DoNotOptimize(&problem);
        }
    }
}

void ThrownStandard(benchmark::State &state) {
    for (auto _ : state) {
        try {
            ThrowStandard();
        } catch (std::out_of_range const &problem) {
            benchmark::DoNotOptimize(&problem);
        }
    }
}

// Here a function of the library throws the exception itself.
void Position(benchmark::State &state) {
    TString const text("text");
    for (auto _ : state) {
        try {
            benchmark::DoNotOptimize(text.mid(0));
        } catch (TInvalidRequest const &problem) {
            benchmark::DoNotOptimize(&problem);
        }
    }
}

void PositionStandard(benchmark::State &state) {
    std::string const text("text");
    for (auto _ : state) {
        try {
            benchmark::DoNotOptimize(text.substr(99));
        } catch (std::out_of_range const &problem) {
            benchmark::DoNotOptimize(&problem);
        }
    }
}

BENCHMARK(Thrown);
BENCHMARK(ThrownStandard);
BENCHMARK(Position);
BENCHMARK(PositionStandard);

} // namespace
