// Locks when something is wrong: no lock, a thread without a record, a file that is no lock, files that a killed
// process has left, and a lock that can no longer be taken. The source is included here, and the tests choose the
// record of the thread.

#include "platform/posix/mutex.cpp"

#include "support/Environment.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <thread>

constinit thread_local TThreadRecord *platform::fsThread = nullptr;

// There is no memory for a record.
TThreadRecord *platform::NewThreadRecord() noexcept {
    errno = ENOMEM;
    return nullptr;
}

namespace {

class MutexFile : public testing::Test {
protected:
    MutexFile() {
        fFolder.AddFolder("run");
        ::chmod(fFolder.Native("run").c_str(), 0700);
        platform::fsThread = &fFirst;
    }
    ~MutexFile() override { platform::fsThread = nullptr; }

    // The only file of a lock in the folder.
    std::filesystem::path File() const {
        for (auto const &entry : std::filesystem::directory_iterator(fFolder.Native("run\\tuzutil"))) {
            if (entry.path().filename().string().starts_with("mutex-"))
                return entry.path();
        }
        return {};
    }

    TTempFolder fFolder;
    TEnvironment const fRuntime{"XDG_RUNTIME_DIR", fFolder.Native("run").c_str()};
    TThreadRecord fFirst{1, 0};
    TThreadRecord fSecond{2, 0};
};

} // namespace

TEST_F(MutexFile, NoLockIsNeitherTakenNorHeld) {
    errno = 0;
    EXPECT_EQ(platform::LockMutex(nullptr, 0), TWaitResult::failed);
    EXPECT_EQ(errno, EBADF);
    errno = 0;
    EXPECT_FALSE(platform::UnlockMutex(nullptr));
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(platform::DeleteMutex(nullptr));
    EXPECT_EQ(platform::HeldWord(nullptr), nullptr);
    EXPECT_FALSE(platform::HoldsMutex(nullptr));
    EXPECT_FALSE(platform::WasAbandoned(nullptr));
}

TEST_F(MutexFile, TakingAndReleasingALockLeavesTheErrorNumberAlone) {
    for (char const *const name : {"", "named"}) {
        Mutex *const mutex = platform::NewMutex(name);
        ASSERT_NE(mutex, nullptr);
        for (std::uint32_t const milliseconds : {std::uint32_t{0}, std::uint32_t{1000}, platform::waitForEver}) {
            errno = EDOM;
            EXPECT_EQ(platform::LockMutex(mutex, milliseconds), TWaitResult::done);
            EXPECT_EQ(errno, EDOM);
            EXPECT_TRUE(platform::UnlockMutex(mutex));
            EXPECT_EQ(errno, EDOM);
        }
        EXPECT_TRUE(platform::DeleteMutex(mutex));
    }
}

TEST_F(MutexFile, AThreadWithoutARecordTakesNoLock) {
    for (char const *const name : {"", "named"}) {
        Mutex *const mutex = platform::NewMutex(name);
        ASSERT_NE(mutex, nullptr);
        EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::done);
        platform::fsThread = nullptr;
        errno = 0;
        EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::failed);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_FALSE(platform::UnlockMutex(mutex));
        EXPECT_EQ(errno, EPERM);
        EXPECT_FALSE(platform::HoldsMutex(mutex));
        EXPECT_FALSE(platform::WasAbandoned(mutex));
        platform::fsThread = &fFirst;
        EXPECT_TRUE(platform::HoldsMutex(mutex));
        EXPECT_FALSE(platform::WasAbandoned(mutex));
        EXPECT_TRUE(platform::UnlockMutex(mutex));
        EXPECT_TRUE(platform::DeleteMutex(mutex));
    }
}

TEST_F(MutexFile, ThatIsTooShortIsNoLock) {
    EXPECT_TRUE(platform::DeleteMutex(platform::NewMutex("named")));
    std::filesystem::resize_file(File(), sizeof(TSharedMutex) - 1);
    errno = 0;
    EXPECT_EQ(platform::NewMutex("named"), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(MutexFile, IsMadeBesideTheFilesThatAKilledProcessHasLeft) {
    EXPECT_TRUE(platform::DeleteMutex(platform::NewMutex("first")));
    for (int number = 1; number < 50; ++number)
        fFolder.AddFile("run\\tuzutil\\new-" + std::to_string(::getpid()) + "-" + std::to_string(number), "left");
    Mutex *const mutex = platform::NewMutex("second");
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::done);
    EXPECT_TRUE(platform::DeleteMutex(mutex));
}

// The thread that took over the lock of a dead thread has released it without making it consistent, so the system gives
// the lock to nobody any more.
TEST_F(MutexFile, ThatTheSystemHasGivenUpIsALockThatFails) {
    Mutex *const mutex = platform::NewMutex("named");
    ASSERT_NE(mutex, nullptr);
    std::thread([&] { ::pthread_mutex_lock(mutex->shared); }).join();
    ASSERT_EQ(::pthread_mutex_lock(mutex->shared), EOWNERDEAD);
    ASSERT_EQ(::pthread_mutex_unlock(mutex->shared), 0);
    errno = 0;
    EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::failed);
    EXPECT_EQ(errno, ENOTRECOVERABLE);
    EXPECT_FALSE(platform::HoldsMutex(mutex));
    EXPECT_TRUE(platform::DeleteMutex(mutex));
}

TEST_F(MutexFile, OfADeadThreadIsALockThatWasAbandoned) {
    Mutex *const mutex = platform::NewMutex("named");
    ASSERT_NE(mutex, nullptr);
    std::thread([&] { ::pthread_mutex_lock(mutex->shared); }).join();
    EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::abandoned);
    EXPECT_TRUE(platform::WasAbandoned(mutex));
    platform::fsThread = &fSecond;
    EXPECT_FALSE(platform::WasAbandoned(mutex));
    EXPECT_FALSE(platform::HoldsMutex(mutex));
    EXPECT_FALSE(platform::UnlockMutex(mutex));
    platform::fsThread = &fFirst;
    EXPECT_TRUE(platform::DeleteMutex(mutex));
}

// A lock that another thread holds is not deleted, because that thread will still release it.
TEST_F(MutexFile, ALockThatAnotherThreadHoldsOutlivesItsDeletion) {
    for (char const *const name : {"", "named"}) {
        Mutex *const mutex = platform::NewMutex(name);
        ASSERT_NE(mutex, nullptr);
        EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::done);
        platform::fsThread = &fSecond;
        EXPECT_TRUE(platform::DeleteMutex(mutex));
        platform::fsThread = &fFirst;
        EXPECT_TRUE(platform::HoldsMutex(mutex));
        EXPECT_TRUE(platform::UnlockMutex(mutex));
    }
}

TEST_F(MutexFile, LocksMayBeDeletedInAnyOrder) {
    Mutex *const first = platform::NewMutex("");
    Mutex *const second = platform::NewMutex("");
    Mutex *const third = platform::NewMutex("");
    for (Mutex *const mutex : {second, first, third}) {
        EXPECT_EQ(platform::LockMutex(mutex, 0), TWaitResult::done);
        EXPECT_NE(*platform::HeldWord(mutex), 0u);
        EXPECT_TRUE(platform::UnlockMutex(mutex));
        EXPECT_EQ(*platform::HeldWord(mutex), 0u);
        EXPECT_TRUE(platform::DeleteMutex(mutex));
    }
}

TEST_F(MutexFile, AChildWithoutARecordHoldsNoLock) {
    Mutex *const named = platform::NewMutex("named");
    ASSERT_NE(named, nullptr);
    EXPECT_EQ(platform::LockMutex(named, 0), TWaitResult::done);
    EXPECT_EQ(platform::HeldWord(named), nullptr); // only locks without a name have such a word
    platform::fsThread = nullptr;
    platform::HoldMutexes();
    platform::SettleMutexesInChild();
    platform::fsThread = &fFirst;
    EXPECT_FALSE(platform::HoldsMutex(named));
    EXPECT_EQ(::pthread_mutex_unlock(named->shared), 0);
    EXPECT_TRUE(platform::DeleteMutex(named));
}
