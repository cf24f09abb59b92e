#include "tuzutil/SHAREMEM.h"

#include "support/Process.h"
#include "tuzutil/MUTEXSEM.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

// A name that is this test's in this folder, the same in every run.
class SharedMemory : public testing::Test {
protected:
    SharedMemory()
        : name(std::string("tuzutil.memory.") + testing::UnitTest::GetInstance()->current_test_info()->name() + "." +
               std::to_string(std::hash<std::string>()(std::filesystem::current_path().string()))) {}

    std::string name;
};

// Another process that has a block.
class TUser {
public:
    TUser(char const *how, std::string const &name, long size)
        : fFiles(name + "." + std::to_string(++fsCount)),
          fProcess("memory_user", {how, name, std::to_string(size), fFiles + ".ready", fFiles + ".release"}) {}
    ~TUser() {
        fProcess.Kill();
        std::remove((fFiles + ".ready").c_str());
        std::remove((fFiles + ".release").c_str());
        std::remove((fFiles + ".release.end").c_str());
    }

    void AwaitReady() {
        while (!std::ifstream(fFiles + ".ready"))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    void Fill() { std::ofstream(fFiles + ".release").put('x'); } // the second half of its block
    int Release() {
        Allow();
        return Wait();
    }
    // Lets it go on to its end whatever it does.
    void Allow() {
        Fill();
        std::ofstream(fFiles + ".release.end").put('x');
    }
    int Wait() { return fProcess.Wait(); } // of one that gets no block, or has been allowed to go on
    void Kill() { fProcess.Kill(); }

private:
    static inline int fsCount = 0;

    std::string fFiles;
    TProcess fProcess;
};

bool AllAre(ipcSharedMemory const &memory, long size, char value) {
    auto const *const bytes = static_cast<char const *>(memory.Pointer());
    return std::all_of(bytes, bytes + size, [=](char byte) { return byte == value; });
}

int StateOf(std::string const &name) {
    return ipcSharedMemory(name.c_str()).rdstate();
}

} // namespace

TEST_F(SharedMemory, Example) {
    struct TCounters {
        int sessions = 17;
    };
    auto const counters =
        ipcSharedMemory::OpenOrCreate(name.c_str(), sizeof(TCounters), [](void *fresh) { new (fresh) TCounters; });
    ASSERT_FALSE(!counters);
    auto *shared = static_cast<TCounters *>(counters.Pointer());
    EXPECT_EQ(shared->sessions, 17);
    shared->sessions = 18;
    ipcSharedMemory other(name.c_str());
    ASSERT_FALSE(!other);
    EXPECT_EQ(static_cast<TCounters *>(other.Pointer())->sessions, 18);
}

TEST_F(SharedMemory, CreatorAndOpenerTellWhatTheyAre) {
    char text[300];
    std::snprintf(text, sizeof text, "%s", name.c_str());
    ipcSharedMemory const created(text, 5000);
    text[0] = '!'; // the name was copied
    EXPECT_EQ(created.rdstate(), 0);
    EXPECT_EQ(created.Name(), name);
    EXPECT_EQ(created.Owner(), 1);
    EXPECT_EQ(created.Size(), 5000);
    ASSERT_NE(created.Pointer(), nullptr);
    EXPECT_TRUE(AllAre(created, 5000, 0));

    ipcSharedMemory const opened(name.c_str());
    EXPECT_EQ(opened.rdstate(), 0);
    EXPECT_EQ(opened.Name(), name);
    EXPECT_EQ(opened.Owner(), 0);
    EXPECT_EQ(opened.Size(), 0);
    ASSERT_NE(opened.Pointer(), nullptr);
    EXPECT_NE(opened.Pointer(), created.Pointer());
    static_cast<char *>(opened.Pointer())[4999] = 'x';
    EXPECT_EQ(static_cast<char *>(created.Pointer())[4999], 'x');
}

TEST_F(SharedMemory, WithoutANameIsStateTwo) {
    for (char const *none : {"", static_cast<char const *>(nullptr)}) {
        ipcSharedMemory const created(none, 10);
        ipcSharedMemory const opened(none);
        for (ipcSharedMemory const *memory : {&created, &opened}) {
            EXPECT_EQ(memory->rdstate(), 2);
            EXPECT_NE(!*memory, 0);
            EXPECT_EQ(memory->Name(), nullptr);
            EXPECT_EQ(memory->Pointer(), nullptr);
        }
        EXPECT_EQ(created.Size(), 10);
        EXPECT_EQ(opened.Size(), 0);
        EXPECT_EQ(created.Owner(), 1); // it is the one that was to create the block
        EXPECT_EQ(opened.Owner(), 0);
    }
}

TEST_F(SharedMemory, WithoutASizeIsNotCreated) {
    for (long size : {0L, -1L, -2147483647L - 1}) {
        ipcSharedMemory const memory(name.c_str(), size);
        EXPECT_EQ(memory.rdstate(), 1) << size;
        EXPECT_EQ(memory.Pointer(), nullptr);
        EXPECT_EQ(memory.Size(), size);
        EXPECT_EQ(memory.Name(), name);
    }
    EXPECT_EQ(StateOf(name), 3);
}

TEST_F(SharedMemory, NameInUseIsNotCreatedAgainAndKeepsItsBlock) {
    ipcSharedMemory const first(name.c_str(), 100);
    static_cast<char *>(first.Pointer())[0] = 'x';
    for (long size : {1L, 100L, 100000L}) {
        ipcSharedMemory const second(name.c_str(), size);
        EXPECT_EQ(second.rdstate(), 1);
        EXPECT_NE(!second, 0);
        EXPECT_EQ(second.Pointer(), nullptr);
        EXPECT_EQ(second.Name(), name);
        EXPECT_EQ(second.Size(), size);
        EXPECT_EQ(second.Owner(), 1);
    }
    EXPECT_EQ(static_cast<char *>(first.Pointer())[0], 'x');
    EXPECT_EQ(StateOf(name), 0);
}

TEST_F(SharedMemory, NameThatNobodyCreatedIsStateThree) {
    ipcSharedMemory const memory(name.c_str());
    EXPECT_EQ(memory.rdstate(), 3);
    EXPECT_NE(!memory, 0);
    EXPECT_EQ(memory.Pointer(), nullptr);
    EXPECT_EQ(memory.Name(), name);
    EXPECT_EQ(memory.Owner(), 0);
}

TEST_F(SharedMemory, NamesThatTheSystemRefuses) {
    for (std::string const &bad : {std::string("a\\b"), std::string(400, 'n')}) {
        EXPECT_EQ(ipcSharedMemory(bad.c_str(), 10).rdstate(), 1);
        EXPECT_EQ(StateOf(bad), 3);
    }
}

// Whatever stands in front of it counts. Some systems take 259 characters, some 260.
TEST_F(SharedMemory, NamesHaveALengthThatTheSystemTakes) {
    for (std::string const &prefix : {std::string(), std::string("Local\\"), std::string("Global\\")}) {
        std::string const longest = prefix + name + std::string(259 - prefix.size() - name.size(), 'n');
        ASSERT_EQ(longest.size(), 259u);
        {
            ipcSharedMemory const memory(longest.c_str(), 10);
            EXPECT_EQ(memory.rdstate(), 0) << prefix;
            EXPECT_EQ(StateOf(longest), 0) << prefix;
        }
        EXPECT_EQ(ipcSharedMemory((longest + "nn").c_str(), 10).rdstate(), 1) << prefix;
        EXPECT_EQ(StateOf(longest + "nn"), 3) << prefix;
    }
}

TEST_F(SharedMemory, GlobalNamesAreNotThePlainOnes) {
    ipcSharedMemory const memory(("Global\\" + name).c_str(), 10);
    EXPECT_EQ(memory.rdstate(), 0);
    EXPECT_EQ(StateOf("Global\\" + name), 0);
    EXPECT_EQ(StateOf(name), 3);
}

TEST_F(SharedMemory, SizesBeyondTheirWordAreNotCreated) {
    if constexpr (sizeof(long) > 4) {
        for (std::int64_t size : {INT64_C(0x80000000), INT64_C(0x100000000), INT64_C(0x10000000A), INT64_MIN}) {
            ipcSharedMemory const memory(name.c_str(), static_cast<long>(size));
            EXPECT_EQ(memory.rdstate(), 1) << size;
            EXPECT_EQ(memory.Size(), 0) << size;
        }
        EXPECT_EQ(StateOf(name), 3);
    }
}

// Where all kinds of objects share their names, that of a lock is taken.
TEST_F(SharedMemory, NameOfALockIsTakenWhereNamesAreOfAllKinds) {
    TMutexSemaphore const mutex(name.c_str());
    ASSERT_NE(mutex.GetHandle(), nullptr);
#if defined(_WIN32)
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).rdstate(), 1);
    EXPECT_EQ(StateOf(name), 3);
#else
    ipcSharedMemory const memory(name.c_str(), 10);
    EXPECT_EQ(memory.rdstate(), 0);
    EXPECT_EQ(StateOf(name), 0);
#endif
}

TEST_F(SharedMemory, LocalNamesAreThePlainOnes) {
    ipcSharedMemory const memory(("Local\\" + name).c_str(), 10);
    EXPECT_EQ(memory.rdstate(), 0);
    EXPECT_EQ(StateOf(name), 0);
    EXPECT_EQ(StateOf(name + "x"), 3);
}

TEST_F(SharedMemory, BlockIsThereUntilTheLastOneGoes) {
    auto created = std::make_unique<ipcSharedMemory>(name.c_str(), 10);
    static_cast<char *>(created->Pointer())[3] = 'x';
    auto opened = std::make_unique<ipcSharedMemory>(name.c_str());
    created.reset();
    EXPECT_EQ(static_cast<char *>(opened->Pointer())[3], 'x');
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).rdstate(), 1);
    auto third = std::make_unique<ipcSharedMemory>(name.c_str());
    EXPECT_EQ(third->rdstate(), 0);
    opened.reset();
    EXPECT_EQ(StateOf(name), 0);
    third.reset();
    EXPECT_EQ(StateOf(name), 3);
    ipcSharedMemory const again(name.c_str(), 20);
    EXPECT_EQ(again.rdstate(), 0);
    EXPECT_TRUE(AllAre(again, 20, 0));
}

TEST_F(SharedMemory, ProcessesSeeTheSameBytes) {
    ipcSharedMemory const memory(name.c_str(), 70000);
    {
        TUser user("open", name, 70000);
        user.AwaitReady();
        EXPECT_TRUE(AllAre(memory, 70000, 1));
        EXPECT_EQ(user.Release(), 0);
    }
    EXPECT_TRUE(AllAre(memory, 70000, 1));
    EXPECT_EQ(TUser("create", name, 10).Wait(), 1);
}

TEST_F(SharedMemory, AnotherProcessCreatesAndLeaves) {
    TUser user("create", name, 100);
    user.AwaitReady();
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).rdstate(), 1);
    {
        ipcSharedMemory const memory(name.c_str());
        EXPECT_EQ(memory.rdstate(), 0);
        EXPECT_TRUE(AllAre(memory, 100, 1));
        EXPECT_EQ(user.Release(), 0);
        EXPECT_TRUE(AllAre(memory, 100, 1)); // the creator is gone, the block is not
        EXPECT_EQ(StateOf(name), 0);
    }
    EXPECT_EQ(StateOf(name), 3);
}

TEST_F(SharedMemory, KilledCreatorLeavesNothing) {
    for (bool const create : {true, false}) {
        TUser user("create", name, 100);
        user.AwaitReady();
        user.Kill();
        if (create)
            EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).rdstate(), 0);
        else
            EXPECT_EQ(StateOf(name), 3);
        EXPECT_EQ(StateOf(name), 3);
    }
}

TEST_F(SharedMemory, KilledCreatorLeavesTheBlockToThoseThatHaveIt) {
    TUser user("create", name, 100);
    user.AwaitReady();
    ipcSharedMemory const memory(name.c_str());
    user.Kill();
    EXPECT_TRUE(AllAre(memory, 100, 1));
    EXPECT_EQ(StateOf(name), 0);
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).rdstate(), 1);
}

TEST_F(SharedMemory, KilledOpenerLeavesNothing) {
    std::optional<ipcSharedMemory> memory(std::in_place, name.c_str(), 100);
    TUser user("open", name, 100);
    user.AwaitReady();
    memory.reset(); // the opener is the last now
    EXPECT_EQ(StateOf(name), 0);
    user.Kill();
    EXPECT_EQ(StateOf(name), 3);
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).rdstate(), 0);
}

TEST_F(SharedMemory, ManyAtTheSameNameAgreeOnOneCreator) {
    for (int round = 0; round < 100; ++round) {
        std::vector<std::unique_ptr<ipcSharedMemory>> made(4);
        std::vector<std::thread> threads;
        for (auto &memory : made)
            threads.emplace_back([&] { memory = std::make_unique<ipcSharedMemory>(name.c_str(), 100); });
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(std::count_if(made.begin(), made.end(), [](auto &memory) { return memory->rdstate() == 0; }), 1);
    }
    EXPECT_EQ(StateOf(name), 3);
}

TEST_F(SharedMemory, OpenersNeverMeetABlockHalfMade) {
    std::thread maker([&] {
        for (int i = 0; i < 300; ++i) {
            ipcSharedMemory const memory(name.c_str(), 100000);
            if (!memory) // an opener still has the one before
                EXPECT_EQ(memory.rdstate(), 1);
            else
                static_cast<char *>(memory.Pointer())[99999] = 'x';
        }
    });
    for (int i = 0; i < 300; ++i) {
        ipcSharedMemory const memory(name.c_str());
        if (memory.rdstate() == 0) {
            char const last = static_cast<char *>(memory.Pointer())[99999];
            EXPECT_TRUE(last == 0 || last == 'x');
        } else {
            EXPECT_EQ(memory.rdstate(), 3);
        }
    }
    maker.join();
    EXPECT_EQ(StateOf(name), 3);
}

// Opening or creating

namespace {

constexpr auto fsNothing = [](void *) {};

void FillWithX(void *block) {
    std::fill_n(static_cast<char *>(block), 100, 'x');
}

} // namespace

TEST_F(SharedMemory, OpenOrCreateFillsANewBlockOnce) {
    ipcSharedMemory const first = ipcSharedMemory::OpenOrCreate(name.c_str(), 100, FillWithX);
    ASSERT_EQ(first.rdstate(), 0);
    EXPECT_EQ(first.Owner(), 1);
    EXPECT_EQ(first.Size(), 100);
    EXPECT_EQ(first.TrueSize(), 100);
    EXPECT_EQ(first.QueryError(), 0);
    EXPECT_EQ(first.Name(), name);
    EXPECT_TRUE(AllAre(first, 100, 'x'));

    int calls = 0;
    auto const second = ipcSharedMemory::OpenOrCreate(name.c_str(), 100, [&](void *) { ++calls; });
    ASSERT_EQ(second.rdstate(), 0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(second.Owner(), 0);
    EXPECT_EQ(second.Size(), 100);
    EXPECT_NE(second.Pointer(), first.Pointer());
    EXPECT_TRUE(AllAre(second, 100, 'x'));
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 100).rdstate(), 1);
    EXPECT_EQ(StateOf(name), 0);
}

TEST_F(SharedMemory, ABlockToBeFilledHoldsZeros) {
    for (long const size : {1L, 4095L, 4096L, 4097L, 100000L}) {
        bool areZeros = false;
        auto const memory = ipcSharedMemory::OpenOrCreate(name.c_str(), size, [&](void *block) {
            auto *const bytes = static_cast<char *>(block);
            areZeros = std::count(bytes, bytes + size, '\0') == size;
            std::fill_n(bytes, size, 'x');
        });
        ASSERT_EQ(memory.rdstate(), 0) << size;
        EXPECT_TRUE(areZeros) << size;
        EXPECT_TRUE(AllAre(memory, size, 'x')) << size;
        EXPECT_EQ(ipcSharedMemory(name.c_str()).TrueSize(), size);
    }
}

TEST_F(SharedMemory, OpenersLearnTheTrueSize) {
    auto const memory = ipcSharedMemory::OpenOrCreate(name.c_str(), 5000, fsNothing);
    auto const smaller = ipcSharedMemory::OpenOrCreate(name.c_str(), 10, fsNothing);
    EXPECT_EQ(smaller.rdstate(), 0);
    EXPECT_EQ(smaller.Size(), 5000);
    EXPECT_EQ(smaller.TrueSize(), 5000);
    ipcSharedMemory const opened(name.c_str());
    EXPECT_EQ(opened.Size(), 0);
    EXPECT_EQ(opened.TrueSize(), 5000);

    auto const larger = ipcSharedMemory::OpenOrCreate(name.c_str(), 5001, fsNothing);
    EXPECT_EQ(larger.rdstate(), 1);
    EXPECT_EQ(larger.Pointer(), nullptr);
    EXPECT_EQ(larger.TrueSize(), 0);
    EXPECT_EQ(larger.Owner(), 0);
    EXPECT_NE(larger.QueryError(), 0);
}

TEST_F(SharedMemory, BlocksOfTheConstructorAreOpenedAsTheyAre) {
    ipcSharedMemory const created(name.c_str(), 8192);
    EXPECT_EQ(created.TrueSize(), 8192);
    static_cast<char *>(created.Pointer())[8191] = 'x';
    EXPECT_EQ(ipcSharedMemory(name.c_str()).TrueSize(), 8192);
    int calls = 0;
    auto const opened = ipcSharedMemory::OpenOrCreate(name.c_str(), 8192, [&](void *) { ++calls; });
    EXPECT_EQ(opened.rdstate(), 0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(opened.TrueSize(), 8192);
    EXPECT_EQ(static_cast<char *>(opened.Pointer())[8191], 'x');
}

TEST_F(SharedMemory, OpenOrCreateRefusesWhatTheConstructorsRefuse) {
    int calls = 0;
    auto const count = [&](void *) { ++calls; };
    for (long const size : {0L, -1L, -2147483647L - 1})
        EXPECT_EQ(ipcSharedMemory::OpenOrCreate(name.c_str(), size, count).rdstate(), 1) << size;
    for (char const *none : {"", static_cast<char const *>(nullptr)})
        EXPECT_EQ(ipcSharedMemory::OpenOrCreate(none, 10, count).rdstate(), 2);
    for (std::string const &bad : {std::string("a\\b"), std::string(400, 'n')})
        EXPECT_EQ(ipcSharedMemory::OpenOrCreate(bad.c_str(), 10, count).rdstate(), 1);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(StateOf(name), 3);
}

TEST_F(SharedMemory, FailuresTellTheSystemsErrorCode) {
    std::errc const missing = std::errc::no_such_file_or_directory;
    ipcSharedMemory const absent(name.c_str());
    EXPECT_EQ(absent.Error(), missing);
    ipcSharedMemory const created(name.c_str(), 10);
    EXPECT_EQ(created.QueryError(), 0);
    EXPECT_FALSE(created.Error());
    EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).Error(), std::errc::file_exists);
    EXPECT_EQ(ipcSharedMemory(nullptr, 10).Error(), std::errc::invalid_argument);
}

TEST_F(SharedMemory, ABlockWhoseFillingThrowsNeverExisted) {
    struct TFailure {};
    EXPECT_THROW(static_cast<void>(ipcSharedMemory::OpenOrCreate(name.c_str(), 100,
                                                                 [](void *block) {
                                                                     FillWithX(block);
                                                                     throw TFailure();
                                                                 })),
                 TFailure);
    EXPECT_EQ(StateOf(name), 3);
    bool areZeros = false;
    auto const memory = ipcSharedMemory::OpenOrCreate(name.c_str(), 100, [&](void *block) {
        auto const *const bytes = static_cast<char const *>(block);
        areZeros = std::count(bytes, bytes + 100, '\0') == 100;
    });
    EXPECT_EQ(memory.Owner(), 1);
    EXPECT_TRUE(areZeros);
}

TEST_F(SharedMemory, AnUnfinishedBlockIsNotCreatedByAConstructor) {
    int state = 0;
    auto const memory = ipcSharedMemory::OpenOrCreate(
        name.c_str(), 100, [&](void *) { state = ipcSharedMemory(name.c_str(), 100).rdstate(); });
    EXPECT_EQ(memory.rdstate(), 0);
    EXPECT_EQ(state, 1);
}

TEST_F(SharedMemory, ThreadsThatComeTogetherGetOneBlockThatIsFilledOnce) {
    for (int round = 0; round < 100; ++round) {
        std::atomic<int> calls{0};
        std::atomic<int> bad{0};
        std::vector<std::optional<std::thread>> threads(4);
        std::atomic<int> users{0};
        for (auto &thread : threads) {
            thread.emplace([&] {
                auto const memory = ipcSharedMemory::OpenOrCreate(name.c_str(), 100, [&](void *block) {
                    ++calls;
                    FillWithX(block);
                });
                if (memory.rdstate() != 0 || !AllAre(memory, 100, 'x'))
                    ++bad;
                ++users;
                while (users < 4) // keeps the block until all have it
                    std::this_thread::yield();
            });
        }
        for (auto &thread : threads)
            thread->join();
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(bad, 0);
    }
    EXPECT_EQ(StateOf(name), 3);
}

TEST_F(SharedMemory, OtherProcessesWaitUntilTheBlockIsFilled) {
    TUser maker("fill", name, 70000);
    maker.AwaitReady();
    TUser second("fill", name, 70000);
    std::atomic<int> states{0};
    std::atomic<int> whole{0};
    std::vector<std::thread> threads;
    for (bool const opens : {true, false}) {
        threads.emplace_back([&, opens] {
            auto const look = [&](ipcSharedMemory const &memory) {
                ++states;
                whole += memory.rdstate() == 0 && memory.TrueSize() == 70000 && AllAre(memory, 70000, 1);
            };
            if (opens)
                look(ipcSharedMemory(name.c_str()));
            else
                look(ipcSharedMemory::OpenOrCreate(name.c_str(), 70000, fsNothing));
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // long enough for one that does not wait
    EXPECT_EQ(states, 0);
    maker.Fill();
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(states, 2);
    EXPECT_EQ(whole, 2);
    EXPECT_EQ(second.Wait(), 11);
    EXPECT_EQ(maker.Release(), 10);
}

TEST_F(SharedMemory, AMakerThatIsKilledHandsOnToOneOfThoseThatWait) {
    TUser maker("fill", name, 70000);
    maker.AwaitReady();
    TUser second("fill", name, 70000);
    std::atomic<int> calls{0};
    std::atomic<int> fresh{0};
    std::atomic<int> whole{0};
    std::atomic<bool> maySettle{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            auto const memory = ipcSharedMemory::OpenOrCreate(name.c_str(), 70000, [&](void *block) {
                ++calls;
                auto *const bytes = static_cast<char *>(block);
                fresh += std::count(bytes, bytes + 70000, '\0') == 70000;
                std::fill_n(bytes, 70000, '\1');
            });
            whole += memory.rdstate() == 0 && AllAre(memory, 70000, 1);
            while (!maySettle) // keeps the block
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    }
    maker.Kill();
    second.Fill(); // it may be the one that fills the block, and then keeps the block
    while (whole < 3)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    int const status = second.Release();
    maySettle = true;
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_TRUE(status == 10 || status == 11) << status;
    EXPECT_EQ(calls, fresh);
    EXPECT_EQ(calls + (status == 10), 1);
    EXPECT_EQ(StateOf(name), 3);
}

TEST_F(SharedMemory, NothingIsLeftOfAMakerThatIsKilledAlone) {
    for (int round = 0; round < 3; ++round) {
        TUser maker("fill", name, 100);
        maker.AwaitReady();
        maker.Kill();
        switch (round) {
        case 0: EXPECT_EQ(StateOf(name), 3); break;
        case 1: EXPECT_EQ(ipcSharedMemory(name.c_str(), 10).rdstate(), 0); break;
        default: EXPECT_EQ(ipcSharedMemory::OpenOrCreate(name.c_str(), 10, fsNothing).Owner(), 1); break;
        }
        EXPECT_EQ(StateOf(name), 3);
    }
}
