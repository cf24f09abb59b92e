#ifndef TUZUTIL_TESTS_FREEWATCH_H
#define TUZUTIL_TESTS_FREEWATCH_H

// Records the bytes of a block of memory at the moment when the library frees the block. free_watch_posix.cpp and
// free_watch_win32.cpp replace free() of the C runtime.

#include <cstddef>
#include <string>

// Selects the `count` bytes at `bytes` for recording. These bytes begin `offset` bytes after the start of their block.
void WatchFree(char const *bytes, std::size_t offset, std::size_t count);

// Returns the bytes as they were when their block was freed, or "not freed" if the block was not freed.
std::string const &SeenAtFree();

// The replacement calls this function with every block before it frees the block.
void NoteFree(void const *block);

#endif
