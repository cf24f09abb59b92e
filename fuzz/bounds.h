#ifndef TUZUTIL_FUZZ_BOUNDS_H
#define TUZUTIL_FUZZ_BOUNDS_H

// Each fuzz target defines TestOneInput() and fsBounds, and includes this header. bounds.cpp calls TestOneInput(), and
// aborts if an input takes more memory or time than its size allows.

#include <cstddef>
#include <cstdlib>

int TestOneInput(unsigned char const *data, std::size_t size);

// The bounds are about twice of what the inputs of the corpus take.
struct TBounds {
    std::size_t base;    // how many bytes of memory any input may take
    std::size_t perByte; // how many more bytes it may take for each of its own
    std::size_t large;   // replay.cpp repeats inputs until they have this size
};
extern TBounds const fsBounds;

inline void Require(bool holds) {
    if (!holds)
        std::abort();
}

#endif
