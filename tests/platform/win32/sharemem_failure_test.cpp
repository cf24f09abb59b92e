// Shared memory on a system whose calls fail.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <windows.h>

namespace {

// What the calls of the system do.
struct TSystem {
    bool maps = true;
    bool makesMutexes = true;
    bool locksMutexes = true;
} fsSystem;

void *WINAPI MapView(HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T count) {
    if (fsSystem.maps)
        return MapViewOfFile(mapping, access, high, low, count);
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

HANDLE WINAPI MakeMutex(LPSECURITY_ATTRIBUTES security, BOOL isHeld, char const *name) {
    if (fsSystem.makesMutexes)
        return CreateMutexA(security, isHeld, name);
    ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

DWORD WINAPI WaitFor(HANDLE object, DWORD milliseconds) {
    if (fsSystem.locksMutexes)
        return WaitForSingleObject(object, milliseconds);
    ::SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

} // namespace

#define MapViewOfFile MapView
#define CreateMutexA MakeMutex
#define WaitForSingleObject WaitFor
#include "platform/win32/shared_memory.cpp"
#undef WaitForSingleObject
#undef CreateMutexA
#undef MapViewOfFile

namespace {

class SharedMemoryFailure : public testing::Test {
protected:
    SharedMemoryFailure() : name("tuzutil.failure." + std::to_string(GetCurrentProcessId())) { fsSystem = TSystem(); }

    Block *Create() { return platform::CreateSharedMemory(name.c_str(), 100, view); }
    Block *Open() { return platform::OpenSharedMemory(name.c_str(), view); }
    Block *OpenOrCreate() { return platform::OpenOrCreateSharedMemory(name.c_str(), 100, view, isNew); }

    // Expects that the system has no block of the name, and that a block can be made.
    void ExpectNothingLeft() {
        fsSystem = TSystem();
        EXPECT_EQ(Open(), nullptr);
        Block *const block = OpenOrCreate();
        ASSERT_NE(block, nullptr);
        EXPECT_TRUE(isNew);
        EXPECT_TRUE(platform::PublishSharedMemory(block));
        EXPECT_EQ(platform::SharedMemorySize(block), 100u);
        platform::CloseSharedMemory(block, view);
    }

    std::string const name;
    void *view = nullptr;
    bool isNew = false;
};

} // namespace

TEST_F(SharedMemoryFailure, OfMappingLeavesNoBlock) {
    fsSystem.maps = false;
    EXPECT_EQ(Create(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(OpenOrCreate(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_FALSE(isNew);
    ExpectNothingLeft();
}

TEST_F(SharedMemoryFailure, OfMappingABlockThatExistsKeepsIt) {
    Block *const block = Create();
    ASSERT_NE(block, nullptr);
    void *const first = view;
    fsSystem.maps = false;
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    fsSystem.maps = true;
    Block *const second = Open();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(platform::SharedMemorySize(second), 4096u); // such a block has whole pages
    platform::CloseSharedMemory(second, view);
    platform::CloseSharedMemory(block, first);
    ExpectNothingLeft();
}

TEST_F(SharedMemoryFailure, OfTheMutexOfMakersLeavesNoBlock) {
    fsSystem.makesMutexes = false;
    EXPECT_EQ(OpenOrCreate(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_SYSTEM_RESOURCES});
    fsSystem = TSystem();
    fsSystem.locksMutexes = false;
    EXPECT_EQ(OpenOrCreate(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    ExpectNothingLeft();
}

TEST_F(SharedMemoryFailure, OfASizeIsABadParameter) {
    EXPECT_EQ(platform::CreateSharedMemory(name.c_str(), 0, view), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(platform::OpenOrCreateSharedMemory(name.c_str(), -1, view, isNew), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    ExpectNothingLeft();
}

TEST_F(SharedMemoryFailure, ALocalNameHasTheMutexOfThePlainOne) {
    Block *const block = OpenOrCreate();
    ASSERT_NE(block, nullptr);
    memcpy(view, "mail", 5);
    void *const first = view;
    EXPECT_TRUE(platform::PublishSharedMemory(block));
    Block *const local = platform::OpenOrCreateSharedMemory(("Local\\" + name).c_str(), 100, view, isNew);
    ASSERT_NE(local, nullptr);
    EXPECT_FALSE(isNew);
    EXPECT_STREQ(static_cast<char const *>(view), "mail");
    EXPECT_EQ(platform::OpenOrCreateSharedMemory(name.c_str(), 101, view, isNew), nullptr); // the block is smaller
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_LENGTH});
    platform::CloseSharedMemory(local, local->view);
    platform::CloseSharedMemory(block, first);
    ExpectNothingLeft();
}

// A thread that ended while it filled a block has left it unfinished, and the process still has the block open.
TEST_F(SharedMemoryFailure, AnUnfinishedBlockOfAThreadThatEndedIsNotOpened) {
    Block *left = nullptr;
    void *ofLeft = nullptr;
    std::thread([&] { left = platform::OpenOrCreateSharedMemory(name.c_str(), 100, ofLeft, isNew); }).join();
    ASSERT_NE(left, nullptr);
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    std::thread closer([&] {
        Sleep(50);
        platform::CloseSharedMemory(left, ofLeft);
    });
    Block *const block = OpenOrCreate(); // waits until the unfinished block is gone
    closer.join();
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(isNew);
    EXPECT_TRUE(platform::PublishSharedMemory(block));
    platform::CloseSharedMemory(block, view);
    ExpectNothingLeft();
}

// A block without a footer may be one whose maker ended at once, or a plain block. A plain block stays.
TEST_F(SharedMemoryFailure, APlainBlockIsOpenedAlsoAfterAMakerEnded) {
    Block *const plain = platform::CreateSharedMemory(name.c_str(), 10000, view);
    ASSERT_NE(plain, nullptr);
    memcpy(view, "mail", 5);
    void *const ofPlain = view;
    for (bool const makes : {false, true}) {
        HANDLE left = nullptr; // the mutex of a maker that ended
        std::thread([&] { left = TMaking(name.c_str(), true).Take(); }).join();
        ASSERT_NE(left, nullptr);
        Block *const block = makes ? OpenOrCreate() : Open();
        ASSERT_NE(block, nullptr) << makes;
        EXPECT_FALSE(isNew);
        EXPECT_STREQ(static_cast<char const *>(view), "mail");
        platform::CloseSharedMemory(block, view);
        CloseHandle(left);
    }
    platform::CloseSharedMemory(plain, ofPlain);
    ExpectNothingLeft();
}

// The mutex of makers may be that of another block, whose name has the same hash.
TEST_F(SharedMemoryFailure, AWholeBlockIsOpenedAtOnceIfItsMutexWasAbandoned) {
    Block *const block = OpenOrCreate();
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(platform::PublishSharedMemory(block));
    void *const first = view;
    HANDLE left = nullptr;
    std::thread([&] { left = TMaking(name.c_str(), true).Take(); }).join();
    Block *const same = Open();
    ASSERT_NE(same, nullptr);
    EXPECT_EQ(platform::SharedMemorySize(same), 100u);
    platform::CloseSharedMemory(same, view);
    platform::CloseSharedMemory(block, first);
    CloseHandle(left);
    ExpectNothingLeft();
}
