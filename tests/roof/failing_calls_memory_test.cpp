// Shared memory while calls of the system fail. failing_calls.h says what is tested.

#include "failing_calls.h"

#include "tuzutil/tuzutil.h"

#include <atomic>
#include <errno.h>
#include <exception>
#include <string_view>

namespace {

// Returns whether a block that was not opened says why.
bool TellsWhy(ipcSharedMemory const &block) {
    fsToldError = block.QueryError();
    return block.QueryError() != 0 && block.rdstate() != 0 && block.Pointer() == nullptr;
}

// The size of a block of 10000 bytes: on Windows, the system tells only whole pages.
#if defined(_WIN32)
constexpr unsigned long fsTrueSize = 12288;
#else
constexpr unsigned long fsTrueSize = 10000;
#endif

TOutcome SharesMemory() {
    ipcSharedMemory const made(Name("block").c_str(), 10000);
    if (!made)
        return TellsWhy(made) ? reported : wrong;
    auto *const bytes = static_cast<char *>(made.Pointer());
    for (int i = 0; i < 10000; ++i) {
        if (bytes[i] != 0)
            return wrong;
    }
    bytes[0] = 'a';
    bytes[9999] = 'z';
    ipcSharedMemory const opened(Name("block").c_str());
    if (!opened)
        return TellsWhy(opened) && bytes[0] == 'a' && bytes[9999] == 'z' ? reported : wrong;
    auto const *const seen = static_cast<char const *>(opened.Pointer());
    return seen[0] == 'a' && seen[9999] == 'z' && opened.TrueSize() == fsTrueSize ? done : wrong;
}

TOutcome FillsSharedMemory() {
    int filled = 0;
    auto const first = ipcSharedMemory::OpenOrCreate(Name("filled").c_str(), 100, [&](void *block) {
        ++filled;
        *static_cast<char *>(block) = 'x';
    });
    if (!first)
        return TellsWhy(first) ? reported : wrong;
    auto const second = ipcSharedMemory::OpenOrCreate(Name("filled").c_str(), 100, [&](void *) { ++filled; });
    if (!second)
        return TellsWhy(second) && filled == 1 ? reported : wrong;
    return filled == 1 && *static_cast<char const *>(second.Pointer()) == 'x' ? done : wrong;
}

// Opens a block in another thread while this thread fills it, and lets only the calls of the other thread fail. This
// thread goes on when the other one waits for the block, or has given up. After that, this thread publishes the block
// or, if `isGivenUp` is true, closes it without publishing it. In the latter case, the other thread makes the block.
// Stores the error that the other thread is told in `error`.
TOutcome Awaits(bool isGivenUp, int &error) {
    calls::TExempt const exempt;
    std::string const name = Name("awaited");
    std::atomic<bool> hasEnded = false;
    TOutcome outcome = wrong;
    auto const fill = [](void *block) { *static_cast<char *>(block) = 'x'; };
    auto const open = [&] {
        {
            auto const opened =
                isGivenUp ? ipcSharedMemory::OpenOrCreate(name.c_str(), 100, fill) : ipcSharedMemory(name.c_str());
            error = opened.QueryError();
            if (!opened)
                outcome = error != 0 && opened.rdstate() != 0 && opened.Pointer() == nullptr ? reported : wrong;
            else if (opened.Pointer() && opened.TrueSize() == 100)
                outcome = *static_cast<char const *>(opened.Pointer()) == 'x' ? done : wrong;
        }
        hasEnded = true;
    };
    std::thread other;
    bool isMade = false;
    try {
        auto const made = ipcSharedMemory::OpenOrCreate(name.c_str(), 100, [&](void *block) {
            long const before = AwaitedBlocks();
            other = std::thread(open);
            while (!hasEnded && AwaitedBlocks() == before)
                std::this_thread::yield();
            fill(block);
            if (isGivenUp)
                throw std::exception();
        });
        isMade = made.rdstate() == 0;
        if (other.joinable())
            other.join(); // before the block is closed
    } catch (std::exception const &) {
        isMade = isGivenUp;
    }
    if (other.joinable())
        other.join();
    return isMade ? outcome : wrong;
}

TOutcome AwaitsABlock() {
    int error = 0;
    return Awaits(false, error);
}

TOutcome AwaitsABlockThatIsGivenUp() {
    int error = 0;
    return Awaits(true, error);
}

#if !defined(_WIN32)
// A process that closes a block removes its file if it is the last one, and a process that creates a block removes the
// files of killed processes. If this fails, the file is removed when the next block is created.
std::set<std::string> const fsClosing = {"close", "flock", "fstat", "fstatat", "munmap", "openat"};
std::set<std::string> const fsCleaning = {"close",   "closedir", "fdopendir", "flock",   "fstat",
                                          "fstatat", "munmap",   "openat",    "readdir", "unlinkat"};

TOperation const fsOperations[] = {
    {"SharesMemory", SharesMemory, fsCleaning, true},
    {"FillsSharedMemory", FillsSharedMemory, fsCleaning, true},
    {"AwaitsABlock", AwaitsABlock, fsClosing, true},
    {"AwaitsABlockThatIsGivenUp", AwaitsABlockThatIsGivenUp, fsCleaning, true},
};
#else
// The system closes and unmaps what it is asked to, whatever it says.
std::set<std::string> const fsClosing = {"CloseHandle", "UnmapViewOfFile"};

TOperation const fsOperations[] = {
    {"SharesMemory", SharesMemory, fsClosing},
    {"FillsSharedMemory", FillsSharedMemory, fsClosing},
    {"AwaitsABlock", AwaitsABlock, fsClosing},
    {"AwaitsABlockThatIsGivenUp", AwaitsABlockThatIsGivenUp, fsClosing},
};
#endif

INSTANTIATE_TEST_SUITE_P(Memory, FailingCalls, testing::ValuesIn(fsOperations), NameOf);

// Returns the numbers of the calls whose failure a thread that awaits a block was told. Checks that each was told as
// what it is, whatever the system says to the calls that come after it.
std::set<long> ToldCalls(std::string_view name) {
    TOwnObjects const objects(Folder());
    std::set<long> told;
    for (long number = 1;; ++number) {
        calls::FailOnly(number, calls::Kind::error);
        int error = 0;
        TOutcome const outcome = Awaits(false, error);
        long const counted = calls::Stop();
        EXPECT_NE(outcome, wrong) << "call " << number;
        if (counted < number)
            return told;
        if (outcome == reported && calls::LastFailed() == name) {
            EXPECT_EQ(error, calls::LastError()) << "call " << number;
            told.insert(number);
        }
    }
}

TEST(FailingLocks, OfAThreadThatAwaitsABlockAreToldAsTheyAre) {
#if defined(_WIN32)
    EXPECT_EQ(ToldCalls("OpenMutexA").size(), 1u);
    EXPECT_EQ(ToldCalls("WaitForSingleObject").size(), 1u);
#else
    // The lock on the folder, the wait for the file, the folder again, and the lock that remains.
    EXPECT_EQ(ToldCalls("flock").size(), 4u);
#endif
}

} // namespace
