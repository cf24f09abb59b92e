#ifndef TUZUTIL_BENCH_RUNNER
#define TUZUTIL_BENCH_RUNNER

// A small runner of benchmarks for systems for which the distribution has no Google Benchmark. It has the part of that
// library's interface that the benchmarks use, under the same names, so their sources are the same on every system.
//
// A row runs its loop as often as fills the wanted time, and does this once in each round. The rows of a round run in
// random order. The times are wall times, because Wine knows the time of the processor only in steps of 10 ms.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace benchmark {

// Makes the compiler compute the value, and treat an object that it may change as changed.
template <typename T>
inline __attribute__((always_inline)) void DoNotOptimize(T const &value) {
    asm volatile("" : : "r,m"(value) : "memory");
}
template <typename T>
inline __attribute__((always_inline)) void DoNotOptimize(T &value) {
    asm volatile("" : "+m,r"(value) : : "memory");
}
template <typename T>
inline __attribute__((always_inline)) void DoNotOptimize(T &&value) {
    asm volatile("" : "+m,r"(value) : : "memory");
}
inline __attribute__((always_inline)) void ClobberMemory() {
    asm volatile("" : : : "memory");
}

// What a row knows about its run. `for (auto _ : state)` runs the loop and takes the time of it.
class State {
    struct [[gnu::unused]] TStep {};

    class TIterator {
    public:
        TIterator(State &state, long left) : fState(state), fLeft(left) {}
        TStep operator*() const { return {}; }
        TIterator &operator++() {
            --fLeft;
            return *this;
        }
        bool operator!=(TIterator const &) {
            if (__builtin_expect(fLeft != 0, true))
                return true;
            fState.fEnd = TClock::now();
            return false;
        }

    private:
        State &fState;
        std::int64_t fLeft;
    };

public:
    State(std::vector<std::int64_t> arguments, std::int64_t iterations)
        : fArguments(std::move(arguments)), fIterations(iterations) {}

    TIterator begin() {
        fBegin = TClock::now();
        return {*this, static_cast<long>(fIterations)};
    }
    TIterator end() { return {*this, 0}; }

    std::int64_t range(std::size_t position = 0) const { return fArguments.at(position); }
    std::int64_t iterations() const { return fIterations; }
    void SetBytesProcessed(std::int64_t) {}
    void SetItemsProcessed(std::int64_t) {}
    void SkipWithError(char const *error) { fError = error; }

    std::map<std::string, double> counters;

    std::chrono::duration<double, std::nano> Elapsed() const { return fEnd - fBegin; }
    std::string const &Error() const { return fError; }

private:
    using TClock = std::chrono::steady_clock;

    std::vector<std::int64_t> fArguments;
    std::int64_t fIterations;
    TClock::time_point fBegin{};
    TClock::time_point fEnd{};
    std::string fError;
};

namespace internal {

// A function that is measured, and the arguments with which it is measured.
class Benchmark {
public:
    Benchmark(std::string name, std::function<void(State &)> work) : fName(std::move(name)), fWork(std::move(work)) {}

    Benchmark *Arg(std::int64_t argument) { return Args({argument}); }
    Benchmark *Args(std::vector<std::int64_t> arguments) {
        fSets.push_back(std::move(arguments));
        return this;
    }
    Benchmark *Apply(void (*apply)(Benchmark *)) {
        apply(this);
        return this;
    }
    Benchmark *UseRealTime() { // every time is a wall time
        fSuffix = "/real_time";
        return this;
    }

    std::string const fName;
    std::function<void(State &)> const fWork;
    std::vector<std::vector<std::int64_t>> fSets; // empty: measured once, without arguments
    std::string fSuffix;
};

Benchmark *Register(std::string name, std::function<void(State &)> work);

} // namespace internal
} // namespace benchmark

#define TUZUTIL_BENCH_JOIN_(a, b) a##b
#define TUZUTIL_BENCH_JOIN(a, b) TUZUTIL_BENCH_JOIN_(a, b)
#define TUZUTIL_BENCH_ROW [[maybe_unused]] static auto *const TUZUTIL_BENCH_JOIN(fsBenchmark, __COUNTER__)

#define BENCHMARK(...) TUZUTIL_BENCH_ROW = ::benchmark::internal::Register(#__VA_ARGS__, __VA_ARGS__)
#define BENCHMARK_CAPTURE(function, name, ...)                                                                         \
    TUZUTIL_BENCH_ROW = ::benchmark::internal::Register(                                                               \
        #function "/" #name, [](::benchmark::State &state) { function(state, __VA_ARGS__); })

#endif
