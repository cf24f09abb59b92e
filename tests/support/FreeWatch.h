#ifndef TUZUTIL_TESTS_FREEWATCH_H
#define TUZUTIL_TESTS_FREEWATCH_H

// Sees what a block of memory holds at the moment when the library frees it. free_watch_posix.cpp and
// free_watch_win32.cpp put themselves between the library and the C runtime.

#include <cstddef>
#include <string>

// Watches the `count` bytes at `bytes`, which lie `offset` bytes behind the start of their block.
void WatchFree(char const *bytes, std::size_t offset, std::size_t count);

// The bytes at the moment of the release; "not freed" where the block is still there.
std::string const &SeenAtFree();

// For the definitions: to be called with every block before it goes.
void NoteFree(void const *block);

#endif
