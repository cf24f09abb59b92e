#ifndef TUZUTIL_FUZZ_BOUNDS_H
#define TUZUTIL_FUZZ_BOUNDS_H

// What each fuzz target defines, and the bounds that hold for all of them: an input of n bytes may take
// fsFactor * n + fsBase bytes of memory at a time, and a processor time that is linear in n. bounds.cpp calls
// TestOneInput() and aborts if a bound is exceeded.

#include <cstddef>

int TestOneInput(unsigned char const *data, std::size_t size);

// The most bytes that were allocated at the same time since Begin(). Returns 0 if the target cannot count them.
struct TMemoryInUse {
    static void Begin() noexcept;
    static std::size_t Peak() noexcept;
};

#endif
