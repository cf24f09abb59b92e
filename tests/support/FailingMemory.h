#ifndef TUZUTIL_TESTS_FAILINGMEMORY_H
#define TUZUTIL_TESTS_FAILINGMEMORY_H

// Lets a test make allocations of the process fail, also those of the C++ runtime and of the system's libraries.
// failing_memory_posix.cpp and failing_memory_win32.cpp replace the functions of the C runtime that allocate. The
// replacements call the functions below.

#include <cerrno>
#include <cstddef>

namespace memory {

// Counts the allocations from now on. FailFrom() makes the allocation with this number and all later allocations fail.
// FailOnly() makes only the allocation with this number fail. If the number is 0, no allocation fails.
void FailFrom(long number) noexcept;
void FailOnly(long number) noexcept;

// Lets all allocations succeed again. Returns how many were asked for since FailFrom() or FailOnly().
long Stop() noexcept;

// Returns the number of blocks that are allocated now.
long LiveBlocks() noexcept;

// Returns the size of the largest allocation that was asked for since the last call.
std::size_t TakeLargest() noexcept;

// The replacements call these functions. MayAllocate() counts an allocation of `size` bytes and returns whether it
// may succeed. NoteBlock() counts a block that was allocated, and NoteFree() counts a block that is freed.
bool MayAllocate(std::size_t size) noexcept;
void NoteBlock(void const *block) noexcept;
void NoteFree(void const *block) noexcept;

// The replacements call this function. If the allocation may succeed, returns the result of `allocate`; otherwise
// returns null and sets errno to ENOMEM.
template <typename Allocate>
void *Allocated(std::size_t size, Allocate allocate) noexcept {
    void *const block = MayAllocate(size) ? allocate() : nullptr;
    NoteBlock(block);
    if (!block)
        errno = ENOMEM;
    return block;
}

} // namespace memory

#endif
