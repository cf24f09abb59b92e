// A library with locks that is unloaded before threads that have used the locks end.

#include "platform/platform.h"
#include "support/Module.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>
#include <windows.h>

namespace {

using platform::TWaitResult;
using TTakeLock = std::uint32_t (*)(int number);
using TTellAtEnd = void (*)(std::uint32_t *results);

// A thread that takes one lock of the library, and then waits.
class TTaker {
public:
    TTaker(TTakeLock take, int number)
        : fTake(take), fNumber(number), fThread(CreateThread(nullptr, 0, Run, this, 0, nullptr)) {
        WaitForSingleObject(fHasTaken, INFINITE);
    }
    TTaker(TTaker const &) = delete;
    TTaker &operator=(TTaker const &) = delete;
    ~TTaker() {
        CloseHandle(fThread);
        CloseHandle(fHasTaken);
        CloseHandle(fMayEnd);
    }

    void Kill() {
        TerminateThread(fThread, 1);
        WaitForSingleObject(fThread, INFINITE);
    }
    DWORD End() { // returns the exit code of the thread
        SetEvent(fMayEnd);
        WaitForSingleObject(fThread, INFINITE);
        DWORD code = 0;
        GetExitCodeThread(fThread, &code);
        return code;
    }

    TWaitResult result = TWaitResult::failed;

private:
    static DWORD WINAPI Run(void *argument) {
        auto &self = *static_cast<TTaker *>(argument);
        self.result = TWaitResult(self.fTake(self.fNumber));
        SetEvent(self.fHasTaken);
        WaitForSingleObject(self.fMayEnd, INFINITE);
        return 7;
    }

    TTakeLock const fTake;
    int const fNumber;
    HANDLE const fHasTaken = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE const fMayEnd = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE const fThread; // started when all other members are there
};

DWORD FreeSlot() {
    DWORD const slot = TlsAlloc();
    TlsFree(slot);
    return slot;
}

DWORD FreeIndex() {
    DWORD const index = FlsAlloc(nullptr);
    FlsFree(index);
    return index;
}

} // namespace

// A thread that lives on keeps its lock, and its end does not call the library any more. The locks of other threads
// that have ended, and of the thread that unloads the library, are free for what runs in the library at its end.
TEST(Unload, ThreadsThatHoldLocksMayOutliveTheLibrary) {
    DWORD const slot = FreeSlot();
    DWORD const index = FreeIndex();
    std::uint32_t results[4] = {};
    std::optional<TModule> library;
    library.emplace("unloading", true);
    auto const take = reinterpret_cast<TTakeLock>(library->Find("TakeLock"));
    auto const tell = reinterpret_cast<TTellAtEnd>(library->Find("TellAtEnd"));
    ASSERT_TRUE(take && tell);
    tell(results);

    EXPECT_EQ(TWaitResult(take(0)), TWaitResult::done);
    TTaker living(take, 1);
    EXPECT_EQ(living.result, TWaitResult::done);
    TTaker killed(take, 2);
    EXPECT_EQ(killed.result, TWaitResult::done);
    killed.Kill();
    library.reset();
    EXPECT_EQ(GetModuleHandleA("unloading.dll"), nullptr);
    EXPECT_EQ(TWaitResult(results[0]), TWaitResult::abandoned);
    EXPECT_EQ(TWaitResult(results[1]), TWaitResult::timedOut);
    EXPECT_EQ(TWaitResult(results[2]), TWaitResult::abandoned);
    EXPECT_EQ(TWaitResult(results[3]), TWaitResult::done);
    EXPECT_EQ(FreeSlot(), slot);
    EXPECT_EQ(FreeIndex(), index);
    EXPECT_EQ(living.End(), DWORD{7});
}

TEST(Unload, ALibraryWhoseLocksNobodyTookHasNothingToForget) {
    DWORD const slot = FreeSlot();
    DWORD const index = FreeIndex();
    for (int i = 0; i < 3; ++i) {
        TModule const library("unloading", true);
        EXPECT_TRUE(library.IsLoaded());
    }
    EXPECT_EQ(FreeSlot(), slot);
    EXPECT_EQ(FreeIndex(), index);
    EXPECT_EQ(GetModuleHandleA("unloading.dll"), nullptr);
}

// The slots that a thread reads without a call of the system are all taken by others.
TEST(Unload, ALibraryThatGetsNoSlotFindsItsThreadsAllTheSame) {
    std::vector<DWORD> slots;
    do
        slots.push_back(TlsAlloc());
    while (slots.back() < 64);
    DWORD const further = FreeSlot();
    {
        TModule const library("unloading", true);
        auto const take = reinterpret_cast<TTakeLock>(library.Find("TakeLock"));
        ASSERT_TRUE(take);
        EXPECT_EQ(TWaitResult(take(0)), TWaitResult::done);
        EXPECT_EQ(TWaitResult(take(0)), TWaitResult::done); // the same thread takes it once more
        EXPECT_EQ(FreeSlot(), further);
        TTaker other(take, 0);
        EXPECT_EQ(other.result, TWaitResult::timedOut);
        EXPECT_EQ(other.End(), DWORD{7});
        TTaker ended(take, 1);
        EXPECT_EQ(ended.result, TWaitResult::done);
        EXPECT_EQ(ended.End(), DWORD{7});
        EXPECT_EQ(TWaitResult(take(1)), TWaitResult::abandoned);
    }
    EXPECT_EQ(FreeSlot(), further);
    for (DWORD const slot : slots)
        TlsFree(slot);
}
