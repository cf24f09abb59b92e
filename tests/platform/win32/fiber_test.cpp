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

} // namespace

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
