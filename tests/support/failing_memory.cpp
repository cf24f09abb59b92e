#include "support/FailingMemory.h"

#include <atomic>

namespace {

constinit std::atomic<long> fsAsked{0};
constinit std::atomic<long> fsFirst{0}; // the number of the first allocation that fails, or 0
constinit std::atomic<long> fsLast{0};
constinit std::atomic<long> fsLive{0};
constinit std::atomic<std::size_t> fsLargest{0};

void Fail(long first, long last) noexcept {
    fsAsked = 0;
    fsLast = last;
    fsFirst = first;
}

} // namespace

void memory::FailFrom(long number) noexcept {
    Fail(number, __LONG_MAX__);
}

void memory::FailOnly(long number) noexcept {
    Fail(number, number);
}

long memory::Stop() noexcept {
    fsFirst = 0;
    return fsAsked;
}

long memory::LiveBlocks() noexcept {
    return fsLive;
}

std::size_t memory::TakeLargest() noexcept {
    return fsLargest.exchange(0);
}

bool memory::MayAllocate(std::size_t size) noexcept {
    for (std::size_t largest = fsLargest; size > largest && !fsLargest.compare_exchange_weak(largest, size);) {
    }
    long const number = ++fsAsked;
    long const first = fsFirst;
    return first == 0 || number < first || number > fsLast;
}

void memory::NoteBlock(void const *block) noexcept {
    if (block)
        ++fsLive;
}

void memory::NoteFree(void const *block) noexcept {
    if (block)
        --fsLive;
}
