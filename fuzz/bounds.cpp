// Runs a fuzz target on one input, and aborts if the input takes more memory or time than its size earns. Memory is
// counted in the operators new and delete, which the program replaces for the library, too. On Windows, a DLL has
// operators of its own, so that only the time is bounded there.

#include "bounds.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

namespace {

// A message may be 16 times as large as its input and 256 KiB, the text exists in two encodings, and a string grows by
// doubling.
constexpr std::size_t fsFactor = 160;
constexpr std::size_t fsBase = 4 << 20;
constexpr double fsSecondsPerByte = 50e-6; // under a sanitizer, on a loaded machine
constexpr double fsSecondsBase = 3;

std::atomic<std::size_t> fsInUse{0};
std::atomic<std::size_t> fsPeak{0};

} // namespace

void TMemoryInUse::Begin() noexcept {
    fsPeak = fsInUse.load();
}

std::size_t TMemoryInUse::Peak() noexcept {
    return fsPeak;
}

#if !defined(_WIN32)
// Each block has its size in front. Blocks of a stricter alignment than 16 come from the operators of the run-time
// library, which are not replaced.
static void *Allocate(std::size_t size) {
    auto *const block = static_cast<std::size_t *>(std::malloc(size + 16));
    if (!block)
        return nullptr;
    *block = size;
    std::size_t const now = fsInUse += size;
    for (std::size_t peak = fsPeak; now > peak && !fsPeak.compare_exchange_weak(peak, now);) {
    }
    return reinterpret_cast<char *>(block) + 16;
}

static void Deallocate(void *memory) noexcept {
    if (!memory)
        return;
    auto *const block = reinterpret_cast<std::size_t *>(static_cast<char *>(memory) - 16);
    fsInUse -= *block;
    std::free(block);
}

void *operator new(std::size_t size) {
    void *const memory = Allocate(size);
    return memory ? memory : throw std::bad_alloc();
}
void *operator new[](std::size_t size) {
    return operator new(size);
}
void *operator new(std::size_t size, std::nothrow_t const &) noexcept {
    return Allocate(size);
}
void *operator new[](std::size_t size, std::nothrow_t const &) noexcept {
    return Allocate(size);
}
void operator delete(void *memory) noexcept {
    Deallocate(memory);
}
void operator delete[](void *memory) noexcept {
    Deallocate(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    Deallocate(memory);
}
void operator delete[](void *memory, std::size_t) noexcept {
    Deallocate(memory);
}
void operator delete(void *memory, std::nothrow_t const &) noexcept {
    Deallocate(memory);
}
void operator delete[](void *memory, std::nothrow_t const &) noexcept {
    Deallocate(memory);
}
#endif

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    std::size_t const before = fsInUse;
    TMemoryInUse::Begin();
    std::clock_t const begin = std::clock();
    int const result = TestOneInput(data, size);
    double const seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    std::size_t const taken = TMemoryInUse::Peak() - before;
    if (taken > fsFactor * size + fsBase || seconds > fsSecondsPerByte * static_cast<double>(size) + fsSecondsBase) {
        std::fprintf(stderr, "an input of %zu bytes took %zu bytes of memory and %.3f s\n", size, taken, seconds);
        std::abort();
    }
    return result;
}
