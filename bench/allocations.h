#ifndef TUZUTIL_BENCH_ALLOCATIONS
#define TUZUTIL_BENCH_ALLOCATIONS

// Counts the allocations of a program. Exactly one source of the program includes this header, because the header
// defines malloc(). This malloc() calls that of the C library. If the C library does not let a program replace its
// malloc(), nothing is counted.

#include <benchmark/benchmark.h>

#include <cstddef>

namespace allocations {

inline unsigned long count = 0; // not for programs in which several threads allocate

// While an object of this class exists, it counts allocations. The destructor sets the counter "allocations" of the row
// to their number for each iteration.
class TCounter {
public:
    explicit TCounter(benchmark::State &state) : fState(state), fBefore(count) {}
    TCounter(TCounter const &) = delete;
    TCounter &operator=(TCounter const &) = delete;
    ~TCounter() {
#ifdef __GLIBC__
        // The division drops the few allocations that only the first iteration makes.
        fState.counters["allocations"] = static_cast<double>((count - fBefore) / fState.iterations());
#endif
    }

private:
    benchmark::State &fState;
    unsigned long const fBefore;
};

} // namespace allocations

#ifdef __GLIBC__
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *malloc(std::size_t size) {
    ++allocations::count;
    return __libc_malloc(size);
}
#endif

#endif
