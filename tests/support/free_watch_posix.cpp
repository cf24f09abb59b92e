#include "support/FreeWatch.h"

// The library's calls reach this definition first, as the program's own comes before the C library's.
extern "C" void __libc_free(void *block);
extern "C" void free(void *block) {
    NoteFree(block);
    __libc_free(block);
}
