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

// A thread that takes a lock, becomes a fiber, and runs on another fiber while its first fiber is deleted.
struct TDeleted {
    TMutexSemaphore ofFirst;
    TMutexSemaphore ofOther;
    TMutexSemaphoreEntry *taken = nullptr; // by the first fiber, which cannot release it
    void *first = nullptr;
    HANDLE const isOnOther = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE const isDeleted = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    TMutexSemaphore::EState states[2] = {TMutexSemaphore::Error, TMutexSemaphore::Error};
};

void WINAPI OutlivesTheFirst(void *argument) {
    auto &shared = *static_cast<TDeleted *>(argument);
    SetEvent(shared.isOnOther);
    WaitForSingleObject(shared.isDeleted, INFINITE);
    shared.states[0] = TMutexSemaphoreEntry(shared.ofFirst, 0).State();
    shared.states[1] = TMutexSemaphoreEntry(shared.ofOther, 0).State();
    ExitThread(7);
}

DWORD WINAPI BecomesAFiber(void *argument) {
    auto &shared = *static_cast<TDeleted *>(argument);
    shared.taken = new TMutexSemaphoreEntry(shared.ofFirst, 0);
    shared.first = ConvertThreadToFiber(nullptr);
    SwitchToFiber(CreateFiber(0, OutlivesTheFirst, &shared));
    return 1; // not reached
}

} // namespace

// The deleted fiber gives its lock up, and the thread, which had the same record, does not hold the lock either.
TEST(Fiber, ThatAnotherThreadDeletesGivesItsLockUp) {
    TDeleted shared;
    HANDLE const thread = CreateThread(nullptr, 0, BecomesAFiber, &shared, 0, nullptr);
    WaitForSingleObject(shared.isOnOther, INFINITE);
    EXPECT_EQ(shared.taken->State(), TMutexSemaphore::Locked);
    DeleteFiber(shared.first);
    {
        TMutexSemaphoreEntry const lock(shared.ofFirst, 0);
        EXPECT_EQ(lock.State(), TMutexSemaphore::Locked);
        EXPECT_TRUE(lock.WasAbandoned());
        SetEvent(shared.isDeleted);
        EXPECT_EQ(WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
    }
    DWORD code = 0;
    GetExitCodeThread(thread, &code);
    EXPECT_EQ(code, 7u);
    EXPECT_EQ(shared.states[0], TMutexSemaphore::TimedOut);
    EXPECT_EQ(shared.states[1], TMutexSemaphore::Locked);
    for (HANDLE const handle : {thread, shared.isOnOther, shared.isDeleted})
        CloseHandle(handle);
}

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
