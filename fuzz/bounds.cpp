// Runs a fuzz target on one input, and aborts if the target needs more memory or time than the size of the input
// allows. The program replaces the operators new and delete, also for the library, and counts the memory in them. On
// Windows, the DLL has its own operators. Therefore only the time is checked there.

#include "bounds.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

namespace {

// The text of a message may have 16 times the size of the input plus 256 KiB. It exists in two encodings, and a string
// doubles its buffer when it grows.
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
// The size of each block is stored in front of the block. Blocks with an alignment above 16 come from the operators of
// the run-time library, which are not replaced.
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
