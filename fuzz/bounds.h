#ifndef TUZUTIL_FUZZ_BOUNDS_H
#define TUZUTIL_FUZZ_BOUNDS_H

// Each fuzz target defines TestOneInput(), and includes this header. bounds.cpp calls TestOneInput(), and aborts if an
// input takes more memory or time than its size allows.

#include <cstddef>
#include <cstdlib>

int TestOneInput(unsigned char const *data, std::size_t size);

inline void Require(bool holds) {
    if (!holds)
        std::abort();
}

#endif
