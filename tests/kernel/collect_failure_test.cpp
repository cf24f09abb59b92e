// Sets without memory for their links: this program has its own copy of the classes, above an allocator that it
// directs.

#include "utility/COLLECT.cpp"

#include "support/Expect.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

bool fsIsExhausted = false;

// A value that counts those that live.
struct Counted {
    explicit Counted(int n) : number(n) { ++fsAlive; }
    Counted(Counted const &other) : number(other.number) { ++fsAlive; }
    ~Counted() { --fsAlive; }

    static inline int fsAlive = 0;
    int number;
};

// For a scope: no link and no entry can be had.
struct Exhaustion {
    Exhaustion() { fsIsExhausted = true; }
    ~Exhaustion() { fsIsExhausted = false; }
};

constexpr TExpectedFailure fsExpected = {"Out of memory", "src/utility/COLLECT"};

} // namespace

void *operator new(std::size_t size, std::nothrow_t const &) noexcept {
    return fsIsExhausted ? nullptr : std::malloc(size);
}
void operator delete(void *block) noexcept {
    std::free(block);
}
void operator delete(void *block, std::size_t) noexcept {
    std::free(block);
}
void *operator new(std::size_t size) {
    if (void *const block = std::malloc(size))
        return block;
    throw std::bad_alloc();
}

TEST(SetWithoutMemory, AddThrowsAndChangesNothing) {
    TSetOf<Counted> set;
    Counted element(1);
    {
        Exhaustion const none;
        ExpectThrows<TOutOfMemory>(fsExpected, [&] { set.Add(&element); });
    }
    EXPECT_EQ(set.GetNumberElements(), 0u);
    EXPECT_EQ(set.Find(0), nullptr);
}

TEST(SetWithoutMemory, AnElementThatTheSetWasToOwnIsDeleted) {
    {
        TSetOf<Counted> set;
        auto element = std::make_unique<Counted>(1);
        Exhaustion const none;
        ExpectThrows<TOutOfMemory>(fsExpected, [&] { set.Add(std::move(element)); });
    }
    EXPECT_EQ(Counted::fsAlive, 0);
}

TEST(SetWithoutMemory, ACopyThatFailsLeavesNothingBehind) {
    {
        TSetOfCopy<Counted> set;
        set.Add(new Counted(1));
        TSetOfCopy<Counted> other;
        {
            Exhaustion const none;
            ExpectThrows<TOutOfMemory>(fsExpected, [&] { TSetOfCopy<Counted> const copy(set); });
            ExpectThrows<TOutOfMemory>(fsExpected, [&] { other = set; });
        }
        EXPECT_EQ(set.GetNumberElements(), 1u);
        EXPECT_EQ(other.GetNumberElements(), 0u);
    }
    EXPECT_EQ(Counted::fsAlive, 0);
}

TEST(SparseArrayWithoutMemory, SetThrowsAndTheValueStaysTheCallers) {
    TSparseArrayOf<Counted> array;
    Counted value(1);
    {
        Exhaustion const none;
        ExpectThrows<TOutOfMemory>(fsExpected, [&] { array.Set(5, &value); });
    }
    EXPECT_EQ(array.QueryCount(), 0u);
    EXPECT_EQ(array.Find(5), nullptr);
    array.Set(5, new Counted(2));
    EXPECT_EQ(array.QueryCapacity(), 10u);
}
