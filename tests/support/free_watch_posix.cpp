#include "support/FreeWatch.h"

// The library calls the free() that is defined below, because the linker finds the definitions of the program before
// those of the C library.
extern "C" void __libc_free(void *block);
extern "C" __attribute__((visibility("default"))) void free(void *block) {
    NoteFree(block);
    __libc_free(block);
}
