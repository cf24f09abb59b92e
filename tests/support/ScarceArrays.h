#ifndef TUZUTIL_TESTS_SCARCEARRAYS_H
#define TUZUTIL_TESTS_SCARCEARRAYS_H

// Lets a test make large allocations of arrays fail. In each program, only one source file may include this header. The
// program must contain its own copy of the code whose allocations it tests.

#include <cstdlib>
#include <new>

static int fsBytesForArrays = -1; // the largest array that can be allocated; if negative, there is no limit

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
