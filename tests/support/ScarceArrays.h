#ifndef TUZUTIL_TESTS_SCARCEARRAYS_H
#define TUZUTIL_TESTS_SCARCEARRAYS_H

// Memory for arrays that runs out when a test says so. For one source file of a program, which has its own copy of what
// takes the memory.

#include <cstdlib>
#include <new>

static int fsBytesForArrays = -1; // that may be taken in one piece; all where it is negative

void *operator new[](std::size_t size, std::nothrow_t const &) noexcept {
    return fsBytesForArrays < 0 || size <= static_cast<std::size_t>(fsBytesForArrays) ? std::malloc(size) : nullptr;
}
void *operator new[](std::size_t size) {
    if (void *const memory = ::operator new[](size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}
void operator delete[](void *memory) noexcept {
    std::free(memory);
}
void operator delete[](void *memory, std::size_t) noexcept {
    std::free(memory);
}

#endif
