// Locks without a name whose owners are killed, and the last error of threads and fibers that use locks.

#include "tuzutil/MUTEXSEM.h"

#include <gtest/gtest.h>

#include <thread>
#include <windows.h>

namespace {

// A thread of the system that takes a lock. It keeps the lock for a time, or until it is killed.
class TOwner {
public:
    TOwner(TMutexSemaphore &mutex, HANDLE release)
        : fMutex(mutex), fRelease(release), fThread(CreateThread(nullptr, 0, Run, this, 0, nullptr)) {}
    TOwner(TOwner const &) = delete;
    TOwner &operator=(TOwner const &) = delete;
    ~TOwner() {
        WaitForSingleObject(fThread, INFINITE);
        CloseHandle(fThread);
        CloseHandle(fHasLock);
    }

    HANDLE HasLock() const { return fHasLock; } // set when the thread has the lock
    void Kill() const {
        TerminateThread(fThread, 0);
        WaitForSingleObject(fThread, INFINITE);
    }

private:
    static DWORD WINAPI Run(void *argument) {
        auto &self = *static_cast<TOwner *>(argument);
        {
            TMutexSemaphoreEntry const lock(self.fMutex, TMutexSemaphore::fsInfinite);
            SetEvent(self.fHasLock);
            WaitForSingleObject(self.fRelease, INFINITE);
        }
        SetEvent(self.fHasReleased);
        WaitForSingleObject(self.fEnd, INFINITE);
        return 0;
    }

public:
    HANDLE const fHasReleased = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE const fEnd = CreateEventA(nullptr, TRUE, FALSE, nullptr);

private:
    TMutexSemaphore &fMutex;
    HANDLE const fRelease;
    HANDLE const fHasLock = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE const fThread;
};

struct TErrors {
    TMutexSemaphore mutex;
    void *first = nullptr; // the fiber that the thread becomes
    int changes = 0;       // calls that changed the last error

    void LockAndUnlock() {
        for (int i = 0; i < 2; ++i) {
            SetLastError(77);
            {
                TMutexSemaphoreEntry const lock(mutex, TMutexSemaphore::fsInfinite);
                changes += GetLastError() != 77;
            }
            changes += GetLastError() != 77;
        }
    }
};

void WINAPI LocksAndUnlocks(void *argument) {
    auto &errors = *static_cast<TErrors *>(argument);
    errors.LockAndUnlock();
    SwitchToFiber(errors.first);
}

} // namespace

// The first owner releases the lock and lives on. One of two waiters gets the lock and is killed. The other waiter has
// to notice that, although the first owner, for which it waited at the beginning, is alive.
TEST(LockOwner, ThatIsKilledGivesTheLockToAThreadThatWaitedForAnotherOwner) {
    TMutexSemaphore mutex;
    HANDLE const release = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE const never = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    {
        TOwner const first(mutex, release);
        ASSERT_EQ(WaitForSingleObject(first.HasLock(), 10000), WAIT_OBJECT_0);
        TOwner const second(mutex, never);
        TOwner const third(mutex, never);
        Sleep(200); // until both wait; if they do not wait yet, the test passes without showing anything
        SetEvent(release);
        HANDLE const waiters[] = {second.HasLock(), third.HasLock()};
        DWORD const taker = WaitForMultipleObjects(2, waiters, FALSE, 10000);
        ASSERT_LE(taker, WAIT_OBJECT_0 + 1);
        TOwner const &killed = taker == WAIT_OBJECT_0 ? second : third;
        TOwner const &other = taker == WAIT_OBJECT_0 ? third : second;
        killed.Kill();
        EXPECT_EQ(WaitForSingleObject(other.HasLock(), 10000), WAIT_OBJECT_0);
        SetEvent(first.fEnd);
        other.Kill();
    }
    TMutexSemaphoreEntry const lock(mutex, 10000);
    EXPECT_EQ(lock.State(), TMutexSemaphore::Locked);
    EXPECT_TRUE(lock.WasAbandoned());
    CloseHandle(release);
    CloseHandle(never);
}

TEST(LockOwner, FindsItsLastErrorUnchanged) {
    TErrors errors;
    std::thread([&] { errors.LockAndUnlock(); }).join();
    EXPECT_EQ(errors.changes, 0);
    std::thread([&] {
        errors.first = ConvertThreadToFiber(nullptr);
        void *const fiber = CreateFiber(0, LocksAndUnlocks, &errors);
        SwitchToFiber(fiber);
        DeleteFiber(fiber);
        ConvertFiberToThread();
    }).join();
    EXPECT_EQ(errors.changes, 0);
}
