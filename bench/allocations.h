#ifndef TUZUTIL_BENCH_ALLOCATIONS
#define TUZUTIL_BENCH_ALLOCATIONS

// Counts the allocations of a program. Exactly one source of the program includes this header, because the header
// defines malloc(). The C library's own function is behind it.

#include <benchmark/benchmark.h>

#include <cstddef>

namespace allocations {

inline unsigned long count = 0; // not for programs in which several threads allocate

// Sets the counter "allocations" of a row: the allocations for each iteration while the object exists.
class TCounter {
public:
    explicit TCounter(benchmark::State &state) : fState(state), fBefore(count) {}
    TCounter(TCounter const &) = delete;
    TCounter &operator=(TCounter const &) = delete;
    ~TCounter() {
        // The first iteration may allocate what is made once.
        fState.counters["allocations"] = static_cast<double>((count - fBefore) / fState.iterations());
    }

private:
    benchmark::State &fState;
    unsigned long const fBefore;
};

} // namespace allocations

extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *malloc(std::size_t size) {
    ++allocations::count;
    return __libc_malloc(size);
}

#endif
