#ifndef TUZUTIL_TESTS_FAILINGMEMORY_H
#define TUZUTIL_TESTS_FAILINGMEMORY_H

// Memory that runs out when a test says so: allocations of the whole process, also those of the language's and the
// system's libraries, fail from a given one on. failing_memory_posix.cpp and failing_memory_win32.cpp put themselves
// between the process and the C runtime; both count by the functions below.

#include <cerrno>
#include <cstddef>

namespace memory {

// The allocation of that number, counted from now, fails, and so do all after it, or only it. 0: none fails.
void FailFrom(long number) noexcept;
void FailOnly(long number) noexcept;

// Ends the failing. Returns how many allocations were asked for since it began.
long Stop() noexcept;

// Blocks that are allocated now.
long LiveBlocks() noexcept;

// For the definitions. Whether the next allocation may succeed; a block came, a block goes.
bool MayAllocate() noexcept;
void NoteBlock(void const *block) noexcept;
void NoteFree(void const *block) noexcept;

// For the definitions: what `allocate` returns, or null and ENOMEM if this allocation has to fail.
template <typename Allocate>
void *Allocated(Allocate allocate) noexcept {
    void *const block = MayAllocate() ? allocate() : nullptr;
    NoteBlock(block);
    if (!block)
        errno = ENOMEM;
    return block;
}

} // namespace memory

#endif
