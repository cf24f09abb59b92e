// Runs a fuzz target on one input, and aborts if the target needs more memory or time than the size of the input
// allows. All memory of the process is counted, also that of the library: under a sanitizer by the sanitizer's hooks,
// and otherwise by tests/support/failing_memory_posix.cpp. On Windows, the DLL has its own memory. Therefore only the
// time is checked there.

#include "bounds.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define TUZUTIL_IS_SANITIZED 1
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TUZUTIL_IS_SANITIZED 1
#endif

#if defined(TUZUTIL_IS_SANITIZED)
// g++ has these functions in its runtimes, but not the header <sanitizer/allocator_interface.h> that declares them.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(void const volatile *, std::size_t),
                                              void (*freed)(void const volatile *));
std::size_t __sanitizer_get_allocated_size(void const volatile *);
}
#elif !defined(_WIN32)
#include "support/FailingMemory.h"

#include <malloc.h>
#endif

namespace {

constexpr double fsSecondsPerByte = 50e-6; // under a sanitizer, on a loaded machine
constexpr double fsSecondsBase = 3;

constinit std::atomic<std::size_t> fsInUse{0};
constinit std::atomic<std::size_t> fsPeak{0}; // the most bytes in use at the same time

[[maybe_unused]] void Count(std::size_t size) noexcept {
    std::size_t const now = fsInUse += size;
    for (std::size_t peak = fsPeak; now > peak && !fsPeak.compare_exchange_weak(peak, now);) {
    }
}

} // namespace

#if defined(TUZUTIL_IS_SANITIZED)
static int const fsIsInstalled = __sanitizer_install_malloc_and_free_hooks(
    [](void const volatile *, std::size_t size) { Count(size); },
    [](void const volatile *block) { fsInUse -= __sanitizer_get_allocated_size(block); });
#elif !defined(_WIN32)
static std::size_t SizeOf(void const *block) noexcept {
    return ::malloc_usable_size(const_cast<void *>(block));
}

bool memory::MayAllocate(std::size_t) noexcept {
    return true;
}

void memory::NoteBlock(void const *block) noexcept {
    Count(SizeOf(block));
}

void memory::NoteFree(void const *block) noexcept {
    fsInUse -= SizeOf(block);
}
#endif

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    std::size_t const before = fsInUse;
    fsPeak = before;
    std::clock_t const begin = std::clock();
    int const result = TestOneInput(data, size);
    double const seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    std::size_t const taken = fsPeak - before;
    if (taken > fsBounds.base + fsBounds.perByte * size ||
        seconds > fsSecondsPerByte * static_cast<double>(size) + fsSecondsBase) {
        std::fprintf(stderr, "an input of %zu bytes took %zu bytes of memory and %.3f s\n", size, taken, seconds);
        std::abort();
    }
    return result;
}
