// Fibers, which only this system has: a fiber may take a lock on one thread and continue on another.

#include "tuzutil/MUTEXSEM.h"

#include <gtest/gtest.h>

#include <thread>
#include <windows.h>

namespace {

// What the fiber and the threads on which it runs share. Each thread continues the fiber from its own first fiber.
struct TShared {
    TMutexSemaphore mutex;
    void *caller = nullptr;
    bool locked = false;
    bool released = false;
};

void WINAPI LocksAndReleases(void *argument) {
    auto &shared = *static_cast<TShared *>(argument);
    {
        TMutexSemaphoreEntry const lock(shared.mutex, TMutexSemaphore::fsInfinite);
        shared.locked = lock.State() == TMutexSemaphore::Locked;
        SwitchToFiber(shared.caller);
    }
    shared.released = true;
    SwitchToFiber(shared.caller);
}

TMutexSemaphore::EState StateOfOthers(TShared &shared, long timeout) {
    auto state = TMutexSemaphore::Error;
    std::thread([&] { state = TMutexSemaphoreEntry(shared.mutex, timeout).State(); }).join();
    return state;
}

void RunOnThreadOfItsOwn(TShared &shared, void *&fiber) {
    std::thread([&] {
        shared.caller = ConvertThreadToFiber(nullptr);
        ASSERT_NE(shared.caller, nullptr);
        if (!fiber)
            fiber = CreateFiber(0, LocksAndReleases, &shared);
        ASSERT_NE(fiber, nullptr);
        SwitchToFiber(fiber);
        ConvertFiberToThread();
    }).join();
}

// A thread that takes a lock and then becomes a fiber.
struct TConverted {
    TMutexSemaphore mutex;
    void *first = nullptr; // the fiber that the thread becomes
    TMutexSemaphore::EState ofOther = TMutexSemaphore::Error;
    TMutexSemaphore::EState ofSame = TMutexSemaphore::Error;
};

void WINAPI TriesToLock(void *argument) {
    auto &shared = *static_cast<TConverted *>(argument);
    shared.ofOther = TMutexSemaphoreEntry(shared.mutex, 0).State();
    SwitchToFiber(shared.first);
}

} // namespace

TEST(Fiber, DoesNotHoldTheLockOfAnotherFiberOfItsThread) {
    TConverted shared;
    std::thread([&] {
        TMutexSemaphoreEntry const lock(shared.mutex, TMutexSemaphore::fsInfinite);
        shared.first = ConvertThreadToFiber(nullptr);
        void *const other = CreateFiber(0, TriesToLock, &shared);
        SwitchToFiber(other);
        shared.ofSame = TMutexSemaphoreEntry(shared.mutex, 0).State();
        DeleteFiber(other);
        ConvertFiberToThread();
    }).join();
    EXPECT_EQ(shared.ofOther, TMutexSemaphore::TimedOut);
    EXPECT_EQ(shared.ofSame, TMutexSemaphore::Locked);
}

TEST(Fiber, KeepsItsLockAfterItsFirstThreadHasEnded) {
    TShared shared;
    void *fiber = nullptr;
    RunOnThreadOfItsOwn(shared, fiber);
    EXPECT_TRUE(shared.locked);
    EXPECT_EQ(StateOfOthers(shared, 50), TMutexSemaphore::TimedOut);
    RunOnThreadOfItsOwn(shared, fiber);
    EXPECT_TRUE(shared.released);
    EXPECT_EQ(StateOfOthers(shared, 50), TMutexSemaphore::Locked);
    DeleteFiber(fiber);
}
