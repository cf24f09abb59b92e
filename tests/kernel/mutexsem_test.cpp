#include "tuzutil/MUTEXSEM.h"

#include "support/Expect.h"
#include "support/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using State = TMutexSemaphore::EState;

// Reaches the private function IsFree(). The rules of access do not apply to an explicit instantiation.
template <bool (TMutexSemaphore::*member)() const noexcept>
struct TReach {
    friend bool IsFree(TMutexSemaphore const &mutex) { return (mutex.*member)(); }
};
bool IsFree(TMutexSemaphore const &mutex);
template struct TReach<&TMutexSemaphore::IsFree>;

// The state that another thread gets, which releases at once.
State StateElsewhere(TMutexSemaphore &mutex, long timeout = 0) {
    State state = TMutexSemaphore::Unlocked;
    std::thread([&] { state = TMutexSemaphoreEntry(mutex, timeout).State(); }).join();
    return state;
}

// The body of a thread that ends while it holds a lock twice: the guards are never destroyed.
void HoldAndEnd(void *lock) {
    auto &held = *static_cast<TMutexSemaphore *>(lock);
    alignas(TMutexSemaphoreEntry) static char memory[2][sizeof(TMutexSemaphoreEntry)];
    new (memory[0]) TMutexSemaphoreEntry(held, 0);
    new (memory[1]) TMutexSemaphoreEntry(held, 0);
}

// `die` lets a holder of the lock end. The next holder learns that until it releases the lock; nobody else does.
void ExpectAbandonedOnce(TMutexSemaphore &mutex, std::function<void()> const &die) {
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(mutex.WasAbandoned());
        die();
        EXPECT_FALSE(mutex.WasAbandoned()); // nobody holds it
        {
            TMutexSemaphoreEntry const entry(mutex, TMutexSemaphore::fsInfinite);
            EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
            EXPECT_TRUE(entry.WasAbandoned());
            {
                std::lock_guard<TMutexSemaphore> const again(mutex);
                EXPECT_TRUE(mutex.WasAbandoned());
            }
            EXPECT_TRUE(mutex.WasAbandoned());
            std::thread([&] {
                EXPECT_FALSE(mutex.WasAbandoned());
                TMutexSemaphoreEntry const other(mutex, 0);
                EXPECT_EQ(other.State(), TMutexSemaphore::TimedOut);
                EXPECT_FALSE(other.WasAbandoned());
            }).join();
        }
        EXPECT_FALSE(mutex.WasAbandoned());
        TMutexSemaphoreEntry const next(mutex, 0);
        EXPECT_EQ(next.State(), TMutexSemaphore::Locked);
        EXPECT_FALSE(next.WasAbandoned());
    }
}

// Until something is so that another thread or process brings about.
template <typename Condition>
void Await(Condition condition) {
    while (!condition())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// A name that is this test's in this folder, the same in every run; and the files of a helper that holds that lock.
std::string TestName(std::string const &test) {
    std::size_t const folder = std::hash<std::string>()(std::filesystem::current_path().string());
    return "tuzutil." + test + "." + std::to_string(folder);
}

class NamedMutex : public testing::Test {
protected:
    NamedMutex()
        : name(TestName(testing::UnitTest::GetInstance()->current_test_info()->name())), held(name + ".held"),
          release(name + ".release") {
        RemoveFiles();
    }
    ~NamedMutex() override { RemoveFiles(); }

    void RemoveFiles() {
        std::remove(held.c_str());
        std::remove(release.c_str());
    }

    void StartHolder() {
        holder.emplace("mutex_holder", std::vector<std::string>{name, held, release});
        Await([&] { return std::ifstream(held).good(); });
    }
    int ReleaseHolder() {
        std::ofstream(release).put('x');
        return holder->Wait();
    }

    std::string name;
    std::string held;
    std::string release;
    std::optional<TProcess> holder;
};

} // namespace

TEST(Mutex, Example) {
    static TMutexSemaphore lock;
    {
        TMutexSemaphoreEntry entry(lock, 500);
        ASSERT_EQ(entry.State(), TMutexSemaphore::Locked);
        EXPECT_EQ(StateElsewhere(lock), TMutexSemaphore::TimedOut);
    }
    EXPECT_EQ(StateElsewhere(lock), TMutexSemaphore::Locked);
}

TEST(Mutex, IsFreeIfNoThreadHoldsItAndItHasNoName) {
    TMutexSemaphore mutex;
    EXPECT_TRUE(IsFree(mutex));
    {
        TMutexSemaphoreEntry const entry(mutex, 0);
        EXPECT_FALSE(IsFree(mutex));
        std::thread([&] { EXPECT_FALSE(IsFree(mutex)); }).join();
    }
    EXPECT_TRUE(IsFree(mutex));
    TMutexSemaphore const named("TuzutilTestIsFree");
    EXPECT_FALSE(IsFree(named)); // unknown, because other processes may hold it
}

TEST(Mutex, StandardGuardsTakeIt) {
    TMutexSemaphore first;
    TMutexSemaphore second;
    {
        std::lock_guard<TMutexSemaphore> const guard(first);
        EXPECT_EQ(StateElsewhere(first), TMutexSemaphore::TimedOut);
        std::lock_guard<TMutexSemaphore> const again(first); // recursive
    }
    EXPECT_EQ(StateElsewhere(first), TMutexSemaphore::Locked);
    {
        std::scoped_lock<TMutexSemaphore, TMutexSemaphore> const both(first, second);
        EXPECT_EQ(StateElsewhere(first), TMutexSemaphore::TimedOut);
        EXPECT_EQ(StateElsewhere(second), TMutexSemaphore::TimedOut);
    }
    std::unique_lock<TMutexSemaphore> movable(first, std::defer_lock);
    EXPECT_EQ(StateElsewhere(first), TMutexSemaphore::Locked);
    EXPECT_TRUE(movable.try_lock());
    EXPECT_EQ(StateElsewhere(first), TMutexSemaphore::TimedOut);
    movable.unlock();
    EXPECT_TRUE(movable.try_lock_for(std::chrono::microseconds(10)));
    movable.unlock();
    EXPECT_TRUE(movable.try_lock_until(std::chrono::system_clock::now()));
    movable.unlock();
    EXPECT_EQ(StateElsewhere(first), TMutexSemaphore::Locked);
}

TEST(Mutex, StandardFunctionsReturnFalseWhileAnotherThreadHoldsIt) {
    using namespace std::chrono;
    TMutexSemaphore mutex;
    std::lock_guard<TMutexSemaphore> const guard(mutex);
    std::thread([&] {
        EXPECT_FALSE(mutex.try_lock());
        auto const begin = steady_clock::now();
        EXPECT_FALSE(mutex.try_lock_for(milliseconds(20)));
        EXPECT_FALSE(mutex.try_lock_until(begin + milliseconds(50)));
        EXPECT_GE(steady_clock::now() - begin, milliseconds(50));
        EXPECT_FALSE(mutex.try_lock_until(begin));
        EXPECT_FALSE(mutex.try_lock_for(seconds(-1)));
    }).join();
    EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::TimedOut);
}

TEST(Mutex, StandardFunctionsExcludeThreads) {
    TMutexSemaphore mutex;
    long count = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 3000; ++round) {
                if (round % 3 == 0) {
                    std::lock_guard<TMutexSemaphore> const guard(mutex);
                    ++count;
                } else if (mutex.try_lock_for(std::chrono::seconds(20))) {
                    std::lock_guard<TMutexSemaphore> const guard(mutex, std::adopt_lock);
                    ++count;
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(count, 12000);
}

TEST(Mutex, GuardsTakeDurationsAndTimes) {
    using namespace std::chrono;
    TReference<TSemaphore> const event(new TSemaphore);
    TMutexSemaphoreWithEvent mutex(event);
    std::thread([&] {
        TMutexSemaphoreWithEventEntry entry(mutex, minutes(1));
        EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
        EXPECT_EQ(entry.Wait(microseconds(1)), 1);
        EXPECT_EQ(entry.Wait(steady_clock::now() - seconds(1)), 1);
        std::thread([&] {
            EXPECT_EQ(TMutexSemaphoreEntry(mutex, milliseconds(1)).State(), TMutexSemaphore::TimedOut);
            EXPECT_EQ(TMutexSemaphoreEntry(mutex, steady_clock::now()).State(), TMutexSemaphore::TimedOut);
            EXPECT_EQ(TMutexSemaphoreWithEventEntry(mutex, seconds(0)).State(), TMutexSemaphore::TimedOut);
            EXPECT_EQ(TMutexSemaphoreWithEventEntry(mutex, system_clock::now()).State(), TMutexSemaphore::TimedOut);
        }).join();
        EXPECT_EQ(entry.Post(), 0);
        EXPECT_EQ(entry.Wait(steady_clock::now() + minutes(1)), 0);
        EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
    }).join();
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, steady_clock::now() + minutes(1)).State(), TMutexSemaphore::Locked);
}

TEST(Mutex, StatesAndTheInfiniteTimeHaveTheirValues) {
    EXPECT_EQ(int{TMutexSemaphore::Unlocked}, 0);
    EXPECT_EQ(int{TMutexSemaphore::Locked}, 1);
    EXPECT_EQ(int{TMutexSemaphore::TimedOut}, 2);
    EXPECT_EQ(int{TMutexSemaphore::Error}, 3);
    EXPECT_EQ(long{TMutexSemaphore::fsInfinite}, -1);
}

TEST(Mutex, HandleIsThere) {
    TMutexSemaphore mutex;
    EXPECT_NE(mutex.GetHandle(), nullptr);
}

TEST(Mutex, IsRecursiveAndFreeAfterTheLastGuard) {
    TMutexSemaphore mutex;
    {
        TMutexSemaphoreEntry const outer(mutex, 0);
        {
            TMutexSemaphoreEntry const middle(mutex, 0);
            TMutexSemaphoreEntry const inner(mutex, TMutexSemaphore::fsInfinite);
            EXPECT_EQ(middle.State(), TMutexSemaphore::Locked);
            EXPECT_EQ(inner.State(), TMutexSemaphore::Locked);
        }
        EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::TimedOut);
    }
    EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::Locked);
}

TEST(Mutex, GuardThatTimedOutDoesNotReleaseWhatIsNotItsOwn) {
    TMutexSemaphore mutex;
    TMutexSemaphoreEntry const entry(mutex, 0);
    for (long timeout : {0L, 1L, 20L})
        EXPECT_EQ(StateElsewhere(mutex, timeout), TMutexSemaphore::TimedOut) << timeout;
    EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::TimedOut);
}

TEST(Mutex, AWaiterGetsTheLockWhenItIsReleased) {
    for (long timeout : {TMutexSemaphore::fsInfinite, 20000L, -2L, 2147483647L}) {
        TMutexSemaphore mutex;
        std::atomic<bool> waiting{false};
        State state = TMutexSemaphore::Unlocked;
        std::thread waiter;
        {
            TMutexSemaphoreEntry const entry(mutex, 0);
            waiter = std::thread([&] {
                waiting = true;
                state = TMutexSemaphoreEntry(mutex, timeout).State();
            });
            Await([&] { return waiting.load(); });
        }
        waiter.join();
        EXPECT_EQ(state, TMutexSemaphore::Locked) << timeout;
    }
}

TEST(Mutex, OneThreadAtATime) {
    TMutexSemaphore mutex;
    long count = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                TMutexSemaphoreEntry const entry(mutex, round % 2 ? TMutexSemaphore::fsInfinite : 20000);
                TMutexSemaphoreEntry const again(mutex, 0);
                ++count;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(count, 20000);
}

TEST(Mutex, WhoComesWhenItIsReleasedIsWokenAlsoTheFirstTime) {
    // A lock makes ready for waiters when the first one comes: each round has a new one.
    constexpr int fsRounds = 2000;
    std::vector<std::unique_ptr<TMutexSemaphore>> locks(fsRounds);
    for (auto &lock : locks)
        lock = std::make_unique<TMutexSemaphore>();
    std::atomic<int> arrived{0};
    std::atomic<int> failed{0};
    auto const work = [&] {
        for (int round = 0; round < fsRounds; ++round) {
            ++arrived;
            while (arrived < (round + 1) * 2)
                std::this_thread::yield();
            if (TMutexSemaphoreEntry(*locks[static_cast<std::size_t>(round)], 20000).State() != TMutexSemaphore::Locked)
                ++failed;
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(failed, 0);
}

TEST(Mutex, WhoGetsItFromAnotherMayDeleteIt) {
    for (int round = 0; round < 200; ++round) {
        auto lock = std::make_unique<TMutexSemaphore>();
        TSemaphore waits;
        std::thread other;
        {
            auto const entry = std::make_unique<TMutexSemaphoreEntry>(*lock, -1);
            other = std::thread([&] {
                waits.Post();
                { TMutexSemaphoreEntry const own(*lock, -1); }
                lock.reset();
            });
            waits.Wait(-1);
            std::this_thread::yield();
        }
        other.join();
        EXPECT_FALSE(lock);
    }
}

TEST(Mutex, ThreadsThatEndLeaveTheLockToThoseThatLive) {
    TMutexSemaphore lock;
    std::atomic<bool> stop{false};
    std::atomic<int> inside{0};
    std::atomic<int> clashes{0};
    auto const enter = [&] {
        TMutexSemaphoreEntry const entry(lock, -1);
        if (entry.State() != TMutexSemaphore::Locked || ++inside != 1)
            ++clashes;
        std::this_thread::yield();
        --inside;
    };
    std::vector<std::thread> living;
    for (int i = 0; i < 2; ++i) {
        living.emplace_back([&] {
            while (!stop)
                enter();
        });
    }
    for (int i = 0; i < 300; ++i)
        std::thread(enter).join();
    stop = true;
    for (std::thread &thread : living)
        thread.join();
    EXPECT_EQ(clashes, 0);
}

TEST(Mutex, LockOfADeadThreadIsAcquired) {
    TMutexSemaphore mutex;
    for (int round = 0; round < 3; ++round) {
        // The guards are never destroyed: the thread dies with two levels.
        RunThreadThatEnds(
            [](void *lock) {
                auto &held = *static_cast<TMutexSemaphore *>(lock);
                alignas(TMutexSemaphoreEntry) static char memory[2][sizeof(TMutexSemaphoreEntry)];
                new (memory[0]) TMutexSemaphoreEntry(held, 0);
                new (memory[1]) TMutexSemaphoreEntry(held, 0);
            },
            &mutex);
        EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::Locked);
        TMutexSemaphoreEntry const entry(mutex, 0);
        EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
        EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::TimedOut);
    }
}

TEST(Mutex, HolderLearnsThatTheLastOneDied) {
    TMutexSemaphore mutex;
    ExpectAbandonedOnce(mutex, [&] { RunThreadThatEnds(HoldAndEnd, &mutex); });
}

TEST(Mutex, AWaiterGetsTheLockOfAThreadThatDies) {
    TMutexSemaphore mutex;
    struct Shared {
        TMutexSemaphore &mutex;
        std::atomic<bool> held{false};
        std::atomic<bool> waiting{false};
    } shared{mutex, {}, {}};
    State state = TMutexSemaphore::Unlocked;
    std::thread waiter([&] {
        Await([&] { return shared.held.load(); });
        shared.waiting = true;
        state = TMutexSemaphoreEntry(mutex, TMutexSemaphore::fsInfinite).State();
    });
    RunThreadThatEnds(
        [](void *argument) {
            auto &what = *static_cast<Shared *>(argument);
            alignas(TMutexSemaphoreEntry) static char memory[sizeof(TMutexSemaphoreEntry)];
            new (memory) TMutexSemaphoreEntry(what.mutex, 0);
            what.held = true;
            Await([&] { return what.waiting.load(); });
        },
        &shared);
    waiter.join();
    EXPECT_EQ(state, TMutexSemaphore::Locked);
}

TEST(Mutex, MayEndWhileItIsHeld) {
    auto *const mutex = new TMutexSemaphore;
    alignas(TMutexSemaphoreEntry) char memory[sizeof(TMutexSemaphoreEntry)];
    new (memory) TMutexSemaphoreEntry(*mutex, 0);
    delete mutex;
    TMutexSemaphore other;
    EXPECT_EQ(TMutexSemaphoreEntry(other, 0).State(), TMutexSemaphore::Locked);
}

TEST(Mutex, UnnamedOnesAreIndependent) {
    TMutexSemaphore a;
    TMutexSemaphore b(nullptr);
    TMutexSemaphore c("");
    TMutexSemaphore d("");
    TMutexSemaphoreEntry const entry(a, 0);
    TMutexSemaphoreEntry const other(c, 0);
    EXPECT_EQ(StateElsewhere(b), TMutexSemaphore::Locked);
    EXPECT_EQ(StateElsewhere(d), TMutexSemaphore::Locked);
}

TEST_F(NamedMutex, ObjectsOfOneNameAreOneLock) {
    TMutexSemaphore a(name.c_str());
    TMutexSemaphore b(name.c_str());
    TMutexSemaphore other((name + "x").c_str());
    {
        TMutexSemaphoreEntry const entry(a, 0);
        TMutexSemaphoreEntry const again(b, 0); // the same thread
        EXPECT_EQ(again.State(), TMutexSemaphore::Locked);
        EXPECT_EQ(StateElsewhere(b), TMutexSemaphore::TimedOut);
        EXPECT_EQ(StateElsewhere(other), TMutexSemaphore::Locked);
    }
    EXPECT_EQ(StateElsewhere(b), TMutexSemaphore::Locked);
}

TEST_F(NamedMutex, OutlivesTheObjectThatMadeIt) {
    std::optional<TMutexSemaphore> a(std::in_place, name.c_str());
    TMutexSemaphore b(name.c_str());
    TMutexSemaphoreEntry const entry(b, 0);
    a.reset();
    TMutexSemaphore c(name.c_str());
    EXPECT_EQ(StateElsewhere(c), TMutexSemaphore::TimedOut);
}

TEST_F(NamedMutex, NamesDifferByCaseAndTakeAnyOtherCharacter) {
    TMutexSemaphore lower((name + "a").c_str());
    TMutexSemaphore upper((name + "A").c_str());
    TMutexSemaphore odd((name + "/../ \"*?\xE9").c_str());
    TMutexSemaphoreEntry const entry(lower, 0);
    EXPECT_EQ(StateElsewhere(upper), TMutexSemaphore::Locked);
    EXPECT_EQ(StateElsewhere(odd), TMutexSemaphore::Locked);
}

TEST_F(NamedMutex, LocalIsTheSameNameAndGlobalIsAnother) {
    TMutexSemaphore plain(name.c_str());
    TMutexSemaphore local(("Local\\" + name).c_str());
    TMutexSemaphore global(("Global\\" + name).c_str());
    TMutexSemaphoreEntry const entry(plain, 0);
    EXPECT_EQ(StateElsewhere(local), TMutexSemaphore::TimedOut);
    EXPECT_NE(global.GetHandle(), nullptr);
}

TEST_F(NamedMutex, NamesThatTheSystemRefusesGiveALockThatFails) {
    for (std::string const &bad : {"folder\\" + name, std::string(400, 'n')}) {
        TMutexSemaphore mutex(bad.c_str());
        EXPECT_EQ(mutex.GetHandle(), nullptr) << bad;
        for (long timeout : {0L, 1L, TMutexSemaphore::fsInfinite})
            EXPECT_EQ(TMutexSemaphoreEntry(mutex, timeout).State(), TMutexSemaphore::Error) << bad;
    }
}

TEST_F(NamedMutex, ExcludesOtherProcesses) {
    StartHolder();
    TMutexSemaphore mutex(name.c_str());
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, 0).State(), TMutexSemaphore::TimedOut);
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, 10).State(), TMutexSemaphore::TimedOut);
    EXPECT_EQ(ReleaseHolder(), 0);
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, 0).State(), TMutexSemaphore::Locked);
}

TEST_F(NamedMutex, LockOfAKilledProcessIsAcquired) {
    TMutexSemaphore mutex(name.c_str());
    StartHolder();
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, 0).State(), TMutexSemaphore::TimedOut);
    holder->Kill();
    {
        TMutexSemaphoreEntry const entry(mutex, TMutexSemaphore::fsInfinite);
        EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
        EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::TimedOut);
    }
    EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::Locked);
}

TEST_F(NamedMutex, HolderLearnsThatTheLastOneDied) {
    TMutexSemaphore mutex(name.c_str());
    ExpectAbandonedOnce(mutex, [&] { RunThreadThatEnds(HoldAndEnd, &mutex); });
    ExpectAbandonedOnce(mutex, [&] {
        RemoveFiles();
        StartHolder();
        holder->Kill();
    });
    RemoveFiles();
    StartHolder();
    EXPECT_EQ(ReleaseHolder(), 0);
    TMutexSemaphoreEntry const entry(mutex, 20000);
    EXPECT_FALSE(entry.WasAbandoned());
}

TEST_F(NamedMutex, AWaiterGetsTheLockOfAProcessThatIsKilled) {
    TMutexSemaphore mutex(name.c_str());
    StartHolder();
    std::atomic<bool> waiting{false};
    State state = TMutexSemaphore::Unlocked;
    std::thread waiter([&] {
        waiting = true;
        state = TMutexSemaphoreEntry(mutex, TMutexSemaphore::fsInfinite).State();
    });
    Await([&] { return waiting.load(); });
    holder->Kill();
    waiter.join();
    EXPECT_EQ(state, TMutexSemaphore::Locked);
}

TEST_F(NamedMutex, NothingIsLeftOfAKilledProcessThatALaterOneTripsOver) {
    for (int round = 0; round < 3; ++round) {
        std::remove(held.c_str());
        StartHolder();
        holder->Kill();
    }
    TMutexSemaphore mutex(name.c_str());
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, 0).State(), TMutexSemaphore::Locked);
}

TEST_F(NamedMutex, ManyProcessesCountTogether) {
    TMutexSemaphore mutex(name.c_str());
    std::ofstream(held) << 0;
    {
        std::vector<std::unique_ptr<TProcess>> processes;
        for (int process = 0; process < 3; ++process)
            processes.push_back(
                std::make_unique<TProcess>("mutex_counter", std::vector<std::string>{name, held, "100"}));
        for (auto const &process : processes)
            EXPECT_EQ(process->Wait(), 0);
    }
    long number = 0;
    std::ifstream(held) >> number;
    EXPECT_EQ(number, 300);
}

TEST(Event, StartsAsItsArgumentSays) {
    TSemaphore clear;
    EXPECT_EQ(clear.Wait(0), 1);
    EXPECT_EQ(clear.Wait(5), 1);
    TSemaphore posted(1);
    EXPECT_EQ(posted.Wait(0), 0);
    EXPECT_EQ(posted.Wait(TMutexSemaphore::fsInfinite), 0);
}

TEST(Event, WaitsForDurationsAndUntilTimes) {
    using namespace std::chrono;
    TSemaphore event;
    auto const begin = steady_clock::now();
    EXPECT_EQ(event.Wait(milliseconds(20)), 1);
    EXPECT_EQ(event.Wait(begin + milliseconds(50)), 1);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(50));
    EXPECT_EQ(event.Wait(system_clock::now() - hours(1)), 1);
    std::thread poster([&] { event.Post(); });
    EXPECT_EQ(event.Wait(hours::max()), 0);
    poster.join();
    EXPECT_EQ(event.Wait(nanoseconds(0)), 0);
    EXPECT_EQ(event.Wait(system_clock::time_point::min()), 0);
}

TEST(Event, StaysPostedUntilItIsCleared) {
    TSemaphore event;
    EXPECT_EQ(event.Post(), 0);
    EXPECT_EQ(event.Post(), 0);
    EXPECT_EQ(event.Wait(0), 0);
    EXPECT_EQ(event.Wait(0), 0);
    EXPECT_EQ(event.Clear(), 0);
    EXPECT_EQ(event.Wait(0), 1);
    EXPECT_EQ(event.Clear(), 0);
}

TEST(Event, PostWakesEverybody) {
    TReference<TSemaphore> const event(new TSemaphore);
    TReference<TSemaphore> const started(new TSemaphore);
    std::atomic<int> waiting{0};
    std::vector<std::thread> threads;
    int results[4] = {-9, -9, -9, -9};
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            if (++waiting == 4)
                started->Post();
            results[thread] = event->Wait(thread % 2 ? 20000 : -1);
        });
    }
    EXPECT_EQ(started->Wait(-1), 0);
    EXPECT_EQ(event->Post(), 0);
    for (std::thread &thread : threads)
        thread.join();
    for (int const result : results)
        EXPECT_EQ(result, 0);
}

TEST(Event, ClearAndWaitForgetsAnEarlierPost) {
    TReference<TSemaphore> const event(new TSemaphore(1));
    std::atomic<bool> ended{false};
    int result = -9;
    std::thread waiter([&] {
        result = event->ClearAndWait();
        ended = true;
    });
    Await([&] { return event->Wait(0) == 1; });
    EXPECT_FALSE(ended);
    EXPECT_EQ(event->Post(), 0);
    waiter.join();
    EXPECT_EQ(result, 0);
}

TEST(Event, TwoThreadsCanTakeTurns) {
    TSemaphore ping;
    TSemaphore pong;
    int value = 0;
    std::thread other([&] {
        for (int round = 0; round < 2000; ++round) {
            ping.Wait(-1);
            ping.Clear();
            ++value;
            pong.Post();
        }
    });
    for (int round = 0; round < 2000; ++round) {
        ping.Post();
        pong.Wait(-1);
        pong.Clear();
        EXPECT_EQ(value, round + 1);
    }
    other.join();
}

TEST(Event, WhoIsWokenMayDeleteIt) {
    for (int round = 0; round < 2000; ++round) {
        auto *const event = new TSemaphore;
        std::thread poster([event] { event->Post(); });
        event->Wait(-1);
        delete event;
        poster.join();
    }
}

TEST(Event, CopiesShareOneEventAndTheLastOneClosesIt) {
    auto *const original = new TSemaphore;
    TSemaphore copy(*original);
    TSemaphore assigned(1);
    assigned = copy;
    TSemaphore const &same = assigned;
    assigned = same;
    original->Post();
    EXPECT_EQ(copy.Wait(0), 0);
    EXPECT_EQ(assigned.Wait(0), 0);
    delete original;
    TSemaphore another;
    copy.Clear();
    EXPECT_EQ(assigned.Wait(0), 1);
    EXPECT_EQ(another.Wait(0), 1);
}

TEST(Event, ACopyStartsWithTheCountOfTheOriginal) {
    TReference<TSemaphore> const event(new TSemaphore);
    TSemaphore const copy(*event);
    EXPECT_EQ(copy.QueryReferenceCount(), 1u);
}

TEST(MutexWithEvent, WaitReleasesTheLockAndTakesItAgain) {
    TMutexSemaphoreWithEvent monitor(new TSemaphore);
    bool ready = false;
    std::thread other;
    {
        TMutexSemaphoreWithEventEntry entry(monitor, TMutexSemaphore::fsInfinite);
        ASSERT_EQ(entry.State(), TMutexSemaphore::Locked);
        other = std::thread([&] {
            TMutexSemaphoreWithEventEntry poster(monitor, TMutexSemaphore::fsInfinite);
            ready = true;
            EXPECT_EQ(poster.Post(), 0);
        });
        EXPECT_FALSE(ready);
        while (!ready)
            EXPECT_EQ(entry.Wait(TMutexSemaphore::fsInfinite), 0);
        EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
        EXPECT_EQ(StateElsewhere(monitor), TMutexSemaphore::TimedOut);
        EXPECT_EQ(entry.Clear(), 0);
        EXPECT_EQ(entry.Wait(0), 1);
    }
    other.join();
    EXPECT_EQ(StateElsewhere(monitor), TMutexSemaphore::Locked);
}

TEST(MutexWithEvent, WaitWhoseTimeIsOverHoldsTheLockAgain) {
    TMutexSemaphoreWithEvent monitor(new TSemaphore);
    TMutexSemaphoreWithEventEntry entry(monitor, 0);
    EXPECT_EQ(entry.Wait(5), 1);
    EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
    EXPECT_EQ(StateElsewhere(monitor), TMutexSemaphore::TimedOut);
}

TEST(MutexWithEvent, WaitOfAGuardWithoutTheLockTakesIt) {
    TMutexSemaphoreWithEvent monitor(new TSemaphore(1));
    TReference<TSemaphore> const held(new TSemaphore);
    TReference<TSemaphore> const done(new TSemaphore);
    std::thread holder([&] {
        TMutexSemaphoreEntry const entry(monitor, 0);
        held->Post();
        done->Wait(-1);
    });
    held->Wait(-1);
    TMutexSemaphoreWithEventEntry entry(monitor, 0);
    EXPECT_EQ(entry.State(), TMutexSemaphore::TimedOut);
    done->Post();
    EXPECT_EQ(entry.Wait(0), 0);
    EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
    holder.join();
}

TEST(MutexWithEvent, WithoutItsEventTheGuardsOperationsThrow) {
    TMutexSemaphoreWithEvent monitor{TReference<TSemaphore>()};
    TExpectedFailure const expected = {"TReference null", "src/utility/TREFCNT", 1, 1, "", 203};
    TMutexSemaphoreWithEventEntry entry(monitor, 0);
    ExpectThrows<TInvalidRequest>(expected, [&] { entry.Clear(); });
    ExpectThrows<TInvalidRequest>(expected, [&] { entry.Post(); });
    EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
    ExpectThrows<TInvalidRequest>(expected, [&] { entry.Wait(0); });
    EXPECT_EQ(entry.State(), TMutexSemaphore::Unlocked);
    EXPECT_EQ(StateElsewhere(monitor), TMutexSemaphore::Locked);
}

TEST(MutexWithEvent, MayHaveAName) {
    std::string const name = TestName("MutexWithEventMayHaveAName");
    TMutexSemaphoreWithEvent monitor(new TSemaphore, name.c_str());
    TMutexSemaphore same(name.c_str());
    TMutexSemaphoreWithEventEntry const entry(monitor, 0);
    EXPECT_EQ(StateElsewhere(same), TMutexSemaphore::TimedOut);
}

TEST(Semaphore, PostReleasesAllThatWaitThoughItIsClearedAtOnce) {
    for (int round = 0; round < 50; ++round) {
        TSemaphore event;
        std::atomic<int> waiting{0};
        std::atomic<int> released{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                ++waiting;
                // Who comes after the first post is released by a later one.
                if (event.Wait(-1) == 0)
                    ++released;
            });
        }
        while (waiting != 4)
            std::this_thread::yield();
        // Posted and cleared until all have been seen to go: without the promise some would wait for ever.
        while (released != 4) {
            event.Post();
            event.Clear();
            std::this_thread::yield();
        }
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(released, 4);
    }
}
