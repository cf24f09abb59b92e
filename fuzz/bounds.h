#ifndef TUZUTIL_FUZZ_BOUNDS_H
#define TUZUTIL_FUZZ_BOUNDS_H

// Declares TestOneInput(), which each fuzz target defines. bounds.cpp calls it and aborts if it exceeds one of two
// bounds. For an input of n bytes, it may have fsFactor * n + fsBase bytes of memory allocated at the same time, and
// may use a processor time that is linear in n.

#include <cstddef>

int TestOneInput(unsigned char const *data, std::size_t size);

// The most bytes that were allocated at the same time since Begin(). Returns 0 if the target cannot count them.
struct TMemoryInUse {
    static void Begin() noexcept;
    static std::size_t Peak() noexcept;
};

#endif
