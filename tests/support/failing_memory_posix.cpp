// The linker finds the definitions of the program before those of the C library. The definitions below call the
// implementation in the C library.

#include "support/FailingMemory.h"

#include <cerrno>
#include <cstddef>

extern "C" {

void *__libc_malloc(std::size_t) noexcept;
void *__libc_calloc(std::size_t, std::size_t) noexcept;
void *__libc_realloc(void *, std::size_t) noexcept;
void *__libc_memalign(std::size_t, std::size_t) noexcept;
void __libc_free(void *) noexcept;

#pragma GCC visibility push(default)

void *malloc(std::size_t size) noexcept {
    return memory::Allocated(size, [=] { return __libc_malloc(size); });
}

void *calloc(std::size_t count, std::size_t size) noexcept {
    return memory::Allocated(count * size, [=] { return __libc_calloc(count, size); });
}

void *memalign(std::size_t alignment, std::size_t size) noexcept {
    return memory::Allocated(size, [=] { return __libc_memalign(alignment, size); });
}

void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memalign(alignment, size);
}

int posix_memalign(void **block, std::size_t alignment, std::size_t size) noexcept {
    void *const got = memalign(alignment, size);
    if (got)
        *block = got;
    return got ? 0 : ENOMEM;
}

void *realloc(void *block, std::size_t size) noexcept {
    if (!block)
        return malloc(size);
    if (!memory::MayAllocate(size)) {
        errno = ENOMEM;
        return nullptr;
    }
    memory::NoteFree(block);
    void *const moved = __libc_realloc(block, size);
    if (moved || size != 0)
        memory::NoteBlock(moved ? moved : block);
    return moved;
}

void free(void *block) noexcept {
    memory::NoteFree(block);
    __libc_free(block);
}

#pragma GCC visibility pop

} // extern "C"
