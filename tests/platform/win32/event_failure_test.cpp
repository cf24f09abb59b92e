// Events on systems before Windows 8, which cannot wait on a word of memory. Each event is an object of the kernel
// then.

#include <gtest/gtest.h>

#include <thread>
#include <windows.h>

namespace {

bool fsMakesEvents = true;

HMODULE WINAPI NoLibrary(char const *) {
    return nullptr;
}

HANDLE WINAPI MakeEvent(LPSECURITY_ATTRIBUTES security, BOOL isManual, BOOL isPosted, char const *name) {
    if (fsMakesEvents)
        return CreateEventA(security, isManual, isPosted, name);
    ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

} // namespace

#define GetModuleHandleA NoLibrary
#define CreateEventA MakeEvent
#include "platform/win32/event.cpp"
#undef CreateEventA
#undef GetModuleHandleA

TEST(EventOfTheKernel, StaysPostedUntilItIsCleared) {
    Event *const event = platform::NewEvent(false);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(platform::WaitEvent(event, 0), TWaitResult::timedOut);
    EXPECT_EQ(platform::WaitEvent(event, 10), TWaitResult::timedOut);
    EXPECT_TRUE(platform::PostEvent(event));
    EXPECT_EQ(platform::WaitEvent(event, 0), TWaitResult::done);
    EXPECT_EQ(platform::WaitEvent(event, platform::waitForEver), TWaitResult::done);
    EXPECT_TRUE(platform::ClearEvent(event));
    EXPECT_EQ(platform::WaitEvent(event, 0), TWaitResult::timedOut);
    platform::DeleteEvent(event);
}

TEST(EventOfTheKernel, WakesAThread) {
    Event *const event = platform::NewEvent(false);
    Event *const answer = platform::NewEvent(false);
    std::thread waiter([&] {
        EXPECT_EQ(platform::WaitEvent(event, platform::waitForEver), TWaitResult::done);
        EXPECT_TRUE(platform::PostEvent(answer));
    });
    EXPECT_TRUE(platform::PostEvent(event));
    EXPECT_EQ(platform::WaitEvent(answer, platform::waitForEver), TWaitResult::done);
    waiter.join();
    platform::DeleteEvent(event);
    platform::DeleteEvent(answer);
}

TEST(EventOfTheKernel, LivesUntilItsLastOwnerDeletesIt) {
    Event *const event = platform::NewEvent(true);
    EXPECT_EQ(platform::ShareEvent(event), event);
    platform::DeleteEvent(event);
    EXPECT_EQ(platform::WaitEvent(event, 0), TWaitResult::done);
    platform::DeleteEvent(event);
}

TEST(EventOfTheKernel, ThatCannotBeMadeIsNullWithTheErrorOfTheSystem) {
    fsMakesEvents = false;
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(platform::NewEvent(true), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_SYSTEM_RESOURCES});
    fsMakesEvents = true;
    Event *const event = platform::NewEvent(true);
    EXPECT_EQ(platform::WaitEvent(event, 0), TWaitResult::done);
    platform::DeleteEvent(event);
}

TEST(EventOfTheKernel, NullHasNoOwnersAndFails) {
    EXPECT_EQ(platform::ShareEvent(nullptr), nullptr);
    platform::DeleteEvent(nullptr);
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(platform::WaitEvent(nullptr, 0), TWaitResult::failed);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(platform::ClearEvent(nullptr));
    EXPECT_FALSE(platform::PostEvent(nullptr));
}
