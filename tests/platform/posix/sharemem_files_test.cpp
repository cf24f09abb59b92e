// What shared memory leaves in its folder: nothing that nobody has.

#include "tuzutil/SHAREMEM.h"

#include "platform/posix/Cancelled.h"
#include "platform/posix/InChild.h"
#include "platform/posix/object_folder.cpp"
#include "support/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <signal.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

// What happens in the middle of making a block, while the folder is locked.
std::function<void()> fsMeanwhile;

} // namespace

// In place of the system's.
extern "C" __attribute__((visibility("default"))) int posix_fallocate(int file, off_t offset, off_t size) {
    if (fsMeanwhile)
        std::exchange(fsMeanwhile, nullptr)();
    auto const system = reinterpret_cast<int (*)(int, off_t, off_t)>(::dlsym(RTLD_NEXT, "posix_fallocate"));
    return system(file, offset, size);
}

namespace {

class SharedMemoryFile : public testing::Test {
protected:
    SharedMemoryFile()
        : name(std::string("tuzutil.memory.file.") + testing::UnitTest::GetInstance()->current_test_info()->name() +
               "." + std::to_string(std::hash<std::string>()(std::filesystem::current_path().string()))) {
        platform::ObjectFileName("memory", 1, name.c_str(), file);
    }
    ~SharedMemoryFile() override {
        ::unlinkat(folder, file, 0);
        ::close(folder);
    }

    bool IsThere() const {
        struct stat status;
        return ::fstatat(folder, file, &status, AT_SYMLINK_NOFOLLOW) == 0;
    }

    // The file of a block that a process still fills.
    bool IsUnfinishedThere() const {
        char unfinished[platform::objectFileSize];
        platform::ObjectFileName("memory.new", 1, name.c_str(), unfinished);
        struct stat status;
        return ::fstatat(folder, unfinished, &status, AT_SYMLINK_NOFOLLOW) == 0;
    }

    // By a process that is killed. Any other that makes a block may remove it from then on.
    void LeaveBehind(char const *how = "create") const {
        std::string const ready = name + ".ready";
        TProcess process("memory_user", {how, name, "100", ready, name + ".release"});
        while (!std::ifstream(ready))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        process.Kill();
        std::remove(ready.c_str());
    }

    std::string name;
    char file[platform::objectFileSize];
    int folder = platform::OpenObjectFolder();
};

// Kills the maker of a block for which many processes wait.
void KillMaker(std::string const &name) {
    constexpr int fsProcesses = 60;
    struct TCounts {
        std::atomic<int> makers{0};
        std::atomic<int> fillings{0};
        std::atomic<int> whole{0};
    };
    auto *const memory = ::mmap(nullptr, sizeof(TCounts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto &counts = *new (memory) TCounts;
    std::vector<pid_t> processes;
    auto const start = [&](auto const &body) {
        processes.push_back(::fork());
        if (processes.back() == 0) {
            body();
            ::_exit(0);
        }
    };
    start([&] {
        auto const block = ipcSharedMemory::OpenOrCreate(name.c_str(), 5000, [&](void *) {
            ++counts.makers;
            ::pause();
        });
    });
    while (counts.makers == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    for (int i = 0; i < fsProcesses; ++i) {
        start([&] {
            auto const block = ipcSharedMemory::OpenOrCreate(name.c_str(), 5000, [&](void *bytes) {
                ++counts.fillings;
                *static_cast<char *>(bytes) = 'x';
            });
            if (block.rdstate() == 0 && *static_cast<char const *>(block.Pointer()) == 'x')
                ++counts.whole;
            while (counts.whole < fsProcesses) // keeps the block
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    }
    // Nearly all of them wait by then. The result does not depend on it.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ::kill(processes.front(), SIGKILL);
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (counts.whole < fsProcesses && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(counts.whole, fsProcesses);
    EXPECT_EQ(counts.fillings, 1);
    for (pid_t const process : processes) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    ::munmap(memory, sizeof(TCounts));
}

} // namespace

TEST_F(SharedMemoryFile, GoesWithTheLastOneThatHasIt) {
    {
        ipcSharedMemory const memory(name.c_str(), 10);
        EXPECT_TRUE(IsThere());
    }
    EXPECT_FALSE(IsThere());
}

TEST_F(SharedMemoryFile, OfAKilledProcessGoesWhenItIsLookedFor) {
    LeaveBehind();
    EXPECT_EQ(ipcSharedMemory(name.c_str()).rdstate(), 3);
    EXPECT_FALSE(IsThere());
}

TEST_F(SharedMemoryFile, OfAKilledProcessGoesWhenAnotherProcessMakesABlock) {
    LeaveBehind();
    std::string const ready = name + ".other";
    TProcess other("memory_user", {"create", name + ".other", "1", ready, "."}); // "." is there: it does not wait
    while (!std::ifstream(ready))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(IsThere());
    std::remove(ready.c_str());
}

TEST_F(SharedMemoryFile, OfAKilledProcessGoesWhenThisOneMakesAnotherBlock) {
    ipcSharedMemory const first((name + ".first").c_str(), 1);
    LeaveBehind();
    ipcSharedMemory const second((name + ".second").c_str(), 1);
    EXPECT_FALSE(IsThere());
}

TEST_F(SharedMemoryFile, HasANameOfItsOwnWhileItIsFilled) {
    bool wasThere = true;
    bool wasUnfinished = false;
    {
        auto const memory = ipcSharedMemory::OpenOrCreate(name.c_str(), 10, [&](void *) {
            wasThere = IsThere();
            wasUnfinished = IsUnfinishedThere();
        });
        EXPECT_FALSE(wasThere);
        EXPECT_TRUE(wasUnfinished);
        EXPECT_TRUE(IsThere());
        EXPECT_FALSE(IsUnfinishedThere());
    }
    EXPECT_FALSE(IsThere());
}

TEST_F(SharedMemoryFile, OfAKilledMakerGoesWhenItIsLookedForOrAnotherBlockIsMade) {
    LeaveBehind("fill");
    EXPECT_FALSE(IsThere());
    EXPECT_EQ(ipcSharedMemory(name.c_str()).rdstate(), 3);
    EXPECT_FALSE(IsUnfinishedThere());
    LeaveBehind("fill");
    ipcSharedMemory const other((name + ".other").c_str(), 1);
    EXPECT_FALSE(IsUnfinishedThere());
}

// A fault may need several rounds to show.
TEST_F(SharedMemoryFile, OfAKilledMakerIsNotTakenForALivingOneByThoseThatWait) {
    for (int round = 0; round < 3 && !HasFailure(); ++round)
        KillMaker(name);
}

TEST_F(SharedMemoryFile, IsNotLeftByAThreadThatIsCancelledWhileItFillsTheBlock) {
    EXPECT_TRUE(IsCancelledIn(
        [this] { static_cast<void>(ipcSharedMemory::OpenOrCreate(name.c_str(), 10, [](void *) { CancelHere(); })); }));
    EXPECT_FALSE(IsThere());
    EXPECT_FALSE(IsUnfinishedThere());
    EXPECT_EQ(ipcSharedMemory::OpenOrCreate(name.c_str(), 10, [](void *) {}).Owner(), 1);
}

TEST_F(SharedMemoryFile, FolderIsFreeWhileAChildMadeMeanwhileStillRuns) {
    pid_t child = 0;
    fsMeanwhile = [&] {
        child = ::_Fork(); // without a word to anybody
        if (child == 0) {
            ::alarm(60);
            for (;;)
                ::pause();
        }
    };
    ipcSharedMemory const memory(name.c_str(), 10);
    ASSERT_GT(child, 0);
    EXPECT_EQ(InChild([this] { return ipcSharedMemory(name.c_str()).rdstate(); }), 0);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST_F(SharedMemoryFile, ProcessDoesNotForkInTheMiddleOfACall) {
    std::thread forking;
    std::atomic<bool> isInside{false};
    std::atomic<bool> wasInside{true};
    fsMeanwhile = [&] {
        isInside = true;
        std::atomic<bool> begun{false};
        forking = std::thread([&] {
            begun = true;
            InChild([] { return 0; });
            wasInside = isInside.load();
        });
        while (!begun)
            std::this_thread::yield();
        ::usleep(50000); // long enough for a fork that does not wait
        isInside = false;
    };
    ipcSharedMemory const memory(name.c_str(), 10);
    forking.join();
    EXPECT_FALSE(wasInside);
}

TEST_F(SharedMemoryFile, ThreadIsCancelledAfterACallAndNotInIt) {
    EXPECT_TRUE(IsCancelledAfter([this] {
        fsMeanwhile = CancelHere;
        ipcSharedMemory const memory(name.c_str(), 10);
        EXPECT_EQ(memory.rdstate(), 0);
        EXPECT_TRUE(IsThere());
        EXPECT_EQ(ipcSharedMemory(name.c_str()).rdstate(), 0);
    }));
    EXPECT_FALSE(IsThere());
}

TEST_F(SharedMemoryFile, HalfMadeByAKilledProcessIsNoBlock) {
    ::close(::openat(folder, file, O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    EXPECT_EQ(ipcSharedMemory(name.c_str()).rdstate(), 3);
    EXPECT_FALSE(IsThere());
    ::close(::openat(folder, file, O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    ipcSharedMemory const memory(name.c_str(), 5);
    EXPECT_EQ(memory.rdstate(), 0);
    static_cast<char *>(memory.Pointer())[4] = 'x';
}

TEST_F(SharedMemoryFile, LinkElsewhereIsNotFollowed) {
    ASSERT_EQ(::symlinkat("/etc/hostname", folder, file), 0);
    EXPECT_EQ(ipcSharedMemory(name.c_str()).rdstate(), 3);
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 5).rdstate(), 1);
}

TEST_F(SharedMemoryFile, WithoutRoomIsNotCreatedAndLeavesNothing) {
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ::getrlimit(RLIMIT_FSIZE, &before);
    rlimit const limit = {1000, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    {
        ipcSharedMemory const memory(name.c_str(), 5000);
        EXPECT_EQ(memory.rdstate(), 1);
        EXPECT_EQ(memory.Pointer(), nullptr);
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_FALSE(IsThere());
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 5000).rdstate(), 0);
}
