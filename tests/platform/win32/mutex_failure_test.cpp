// Locks on a system whose calls fail, and of threads that end at a bad moment. One thread plays all the threads: it
// says whose record the lock finds.

#include "platform/win32/thread_record.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <windows.h>

using platform::TThreadRecord;
using platform::TWaitResult;

namespace {

// What the calls of the system do.
struct TSystem {
    TThreadRecord *self = nullptr; // the record of the thread that calls, or null if there is no memory for one
    bool makesEvents = true;
    bool waits = true;
    DWORD errorOfOpening = ERROR_SUCCESS;  // of a thread; ERROR_INVALID_PARAMETER says that the thread does not exist
    std::function<void()> whileOpening;    // what other threads do before the call returns; forgotten when it is called
    std::function<void()> beforeAnEvent{}; // likewise
} fsSystem;

void CallOnce(std::function<void()> &what) {
    if (auto const called = std::exchange(what, nullptr))
        called();
}

HANDLE WINAPI MakeEvent(LPSECURITY_ATTRIBUTES security, BOOL isManual, BOOL isSet, char const *name) {
    CallOnce(fsSystem.beforeAnEvent);
    if (fsSystem.makesEvents)
        return CreateEventA(security, isManual, isSet, name);
    ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

HANDLE WINAPI OpenOne(DWORD, BOOL, DWORD) {
    CallOnce(fsSystem.whileOpening);
    if (fsSystem.errorOfOpening == ERROR_SUCCESS)
        return OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId());
    ::SetLastError(fsSystem.errorOfOpening);
    return nullptr;
}

DWORD WINAPI WaitForSome(DWORD count, HANDLE const *objects, BOOL all, DWORD milliseconds) {
    if (fsSystem.waits)
        return WaitForMultipleObjects(count, objects, all, milliseconds);
    ::SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

} // namespace

constinit std::atomic<DWORD> platform::fsSlot{platform::fsSlots};

TThreadRecord *platform::FindThreadRecord() noexcept {
    if (!fsSystem.self)
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return fsSystem.self;
}

#include "platform/fast_mutex.cpp"
#define CreateEventA MakeEvent
#define OpenThread OpenOne
#define WaitForMultipleObjects WaitForSome
#include "platform/win32/mutex.cpp"
#undef WaitForMultipleObjects
#undef OpenThread
#undef CreateEventA

namespace {

class MutexFailure : public testing::Test {
protected:
    MutexFailure() {
        fsSystem = TSystem();
        SetLastError(ERROR_SUCCESS);
    }

    static void Be(TThreadRecord *thread) { fsSystem.self = thread; }
    // Removes the events that other tests have left for later locks.
    static void CloseSpares() {
        while (TWaitPlace *const place = TakeSpare()) {
            CloseHandle(place->event);
            delete place;
        }
    }
    TWaitResult LockAs(TThreadRecord &thread, std::uint32_t milliseconds = 0) {
        Be(&thread);
        return platform::LockMutex(mutex, milliseconds);
    }
    bool UnlockAs(TThreadRecord &thread) {
        Be(&thread);
        return platform::UnlockMutex(mutex);
    }

    ~MutexFailure() override {
        Be(&first);
        EXPECT_TRUE(platform::DeleteMutex(mutex));
    }

    TThreadRecord first{1, 11};
    TThreadRecord second{2, 12};
    TThreadRecord third{3, 13};
    Mutex *const mutex = platform::NewMutex(nullptr);
};

} // namespace

TEST_F(MutexFailure, ANullLockCanNeitherBeTakenNorReleased) {
    Be(&first);
    EXPECT_EQ(platform::LockMutex(nullptr, 0), TWaitResult::failed);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    for (auto const call : {platform::UnlockMutex, platform::DeleteMutex}) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(call(nullptr));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    }
    EXPECT_FALSE(platform::HoldsMutex(nullptr));
    EXPECT_FALSE(platform::WasAbandoned(nullptr));
    EXPECT_EQ(platform::HeldWord(nullptr), nullptr);
    EXPECT_EQ(platform::SystemHandle(nullptr), std::uintptr_t{0});
}

TEST_F(MutexFailure, AThreadWithoutARecordHoldsNoLock) {
    Be(nullptr);
    EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::failed);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_FALSE(platform::UnlockMutex(mutex));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_OWNER});
    EXPECT_FALSE(platform::HoldsMutex(mutex));
    EXPECT_FALSE(platform::WasAbandoned(mutex));
    EXPECT_EQ(platform::HeldWord(mutex)->load(), 0u);
    Mutex *const other = platform::NewMutex(nullptr);
    EXPECT_TRUE(platform::DeleteMutex(other));
    EXPECT_EQ(LockAs(first), TWaitResult::done); // the lock still works
    EXPECT_TRUE(platform::HoldsMutex(mutex));
    EXPECT_TRUE(UnlockAs(first));
}

// The system itself knows who holds a lock with a name, so the lock works. Only WasAbandoned() needs the record.
TEST_F(MutexFailure, AThreadWithoutARecordTakesALockWithAName) {
    Mutex *const named = platform::NewMutex(("tuzutil.failure." + std::to_string(GetCurrentProcessId())).c_str());
    ASSERT_NE(named, nullptr);
    Be(nullptr);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(platform::LockMutex(named, 0), TWaitResult::done);
        EXPECT_FALSE(platform::WasAbandoned(named));
    }
    EXPECT_TRUE(platform::UnlockMutex(named));
    EXPECT_TRUE(platform::UnlockMutex(named));
    EXPECT_FALSE(platform::UnlockMutex(named));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_OWNER});
    Be(&first);
    EXPECT_FALSE(platform::UnlockMutex(named));
    EXPECT_EQ(platform::HeldWord(named), nullptr);
    EXPECT_FALSE(platform::HoldsMutex(named)); // only the system knows
    EXPECT_TRUE(platform::DeleteMutex(named));
}

TEST_F(MutexFailure, OnlyTheOwnerReleasesALock) {
    EXPECT_EQ(LockAs(first), TWaitResult::done);
    EXPECT_FALSE(UnlockAs(second));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_OWNER});
    EXPECT_TRUE(UnlockAs(first));
    EXPECT_FALSE(UnlockAs(first));
    EXPECT_EQ(LockAs(second), TWaitResult::done);
    EXPECT_TRUE(UnlockAs(second));
}

// The owner still accesses the lock, so its memory stays.
TEST_F(MutexFailure, ALockThatAnotherThreadHoldsIsNotFreed) {
    EXPECT_EQ(LockAs(first), TWaitResult::done);
    Be(&second);
    EXPECT_TRUE(platform::DeleteMutex(mutex));
    Be(&first);
    EXPECT_TRUE(platform::HoldsMutex(mutex));
    EXPECT_EQ(platform::HeldWord(mutex)->load(), 1u);
    EXPECT_TRUE(UnlockAs(first));
}

TEST_F(MutexFailure, AThreadThatCannotWaitIsToldWhy) {
    CloseSpares();
    struct {
        bool TSystem::*works;
        DWORD error;
    } const rows[] = {{&TSystem::makesEvents, ERROR_NO_SYSTEM_RESOURCES}, {&TSystem::waits, ERROR_INVALID_HANDLE}};
    for (auto const &row : rows) {
        EXPECT_EQ(LockAs(first), TWaitResult::done);
        fsSystem.*row.works = false;
        EXPECT_EQ(LockAs(second, 1000), TWaitResult::failed);
        EXPECT_EQ(GetLastError(), row.error);
        fsSystem.*row.works = true;
        EXPECT_EQ(LockAs(second), TWaitResult::timedOut);
        EXPECT_TRUE(UnlockAs(first));
        EXPECT_EQ(LockAs(second), TWaitResult::done);
        EXPECT_TRUE(UnlockAs(second));
    }
}

// Two threads wait first in one moment, and each makes an event. One event is kept for another lock.
TEST_F(MutexFailure, ThreadsThatWaitFirstTogetherShareOneEvent) {
    Be(&first);
    CloseSpares();
    EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::done);
    fsSystem.beforeAnEvent = [&] {
        EXPECT_EQ(LockAs(third), TWaitResult::timedOut);
        Be(&second);
    };
    EXPECT_EQ(LockAs(second), TWaitResult::timedOut);
    TWaitPlace *const kept = TakeSpare();
    ASSERT_NE(kept, nullptr);
    EXPECT_NE(kept, mutex->fast.Place());
    GiveBack(kept);
    EXPECT_TRUE(UnlockAs(first));
}

TEST_F(MutexFailure, AnOwnerThatCannotBeOpenedCountsAsAlive) {
    EXPECT_EQ(LockAs(first), TWaitResult::done);
    fsSystem.errorOfOpening = ERROR_ACCESS_DENIED;
    EXPECT_EQ(LockAs(second, 20), TWaitResult::timedOut);
    EXPECT_TRUE(UnlockAs(first));
}

TEST_F(MutexFailure, AnOwnerThatDoesNotExistHasAbandonedTheLock) {
    EXPECT_EQ(LockAs(first), TWaitResult::done);
    fsSystem.errorOfOpening = ERROR_INVALID_PARAMETER;
    EXPECT_EQ(LockAs(second, 1000), TWaitResult::abandoned);
    EXPECT_TRUE(platform::WasAbandoned(mutex));
    EXPECT_TRUE(UnlockAs(second));
}

// Two threads see that the owner has ended. One of them takes the lock over, and the other one must notice this.
TEST_F(MutexFailure, OnlyOneThreadTakesOverTheLockOfAnOwnerThatEnded) {
    EXPECT_EQ(LockAs(first), TWaitResult::done);
    fsSystem.errorOfOpening = ERROR_INVALID_PARAMETER;
    fsSystem.whileOpening = [&] {
        EXPECT_EQ(LockAs(third, 1000), TWaitResult::abandoned);
        Be(&second);
        fsSystem.whileOpening = [] { fsSystem.errorOfOpening = ERROR_SUCCESS; }; // the new owner is alive
    };
    EXPECT_EQ(LockAs(second, 20), TWaitResult::timedOut);
    Be(&third);
    EXPECT_TRUE(platform::HoldsMutex(mutex));
    EXPECT_TRUE(UnlockAs(third));
    EXPECT_EQ(LockAs(second), TWaitResult::done);
    EXPECT_FALSE(platform::WasAbandoned(mutex));
    EXPECT_TRUE(UnlockAs(second));
}

// A thread that waits has seen an owner that releases the lock and ends before the waiter asks whether it is alive.
TEST_F(MutexFailure, AnOwnerThatReleasedTheLockBeforeItEndedHasNotAbandonedIt) {
    EXPECT_EQ(LockAs(first), TWaitResult::done);
    fsSystem.errorOfOpening = ERROR_INVALID_PARAMETER;
    fsSystem.whileOpening = [&] {
        EXPECT_TRUE(UnlockAs(first));
        Be(&second);
    };
    EXPECT_EQ(LockAs(second, 1000), TWaitResult::done);
    EXPECT_EQ(platform::HeldWord(mutex)->load(), 2u); // held, and perhaps waited for
    fsSystem.errorOfOpening = ERROR_SUCCESS;          // the new owner is alive
    EXPECT_EQ(LockAs(third), TWaitResult::timedOut);
    EXPECT_TRUE(UnlockAs(second));
    EXPECT_EQ(LockAs(third), TWaitResult::done);
    EXPECT_TRUE(UnlockAs(third));
}
