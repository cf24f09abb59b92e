#include "tuzutil/TIMER.h"

#include "support/Module.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr long fsPatience = 20000;

using TEvent = TReference<TSemaphore>;

TEvent NewEvent(int posted = 0) {
    return TEvent(new TSemaphore(posted));
}

} // namespace

TEST(Timer, Example) {
    TEvent const idle(new TSemaphore);
    TTimer timer(idle);
    timer.Set(std::chrono::minutes(10));
    EXPECT_GT(timer.TimeLeft(), std::chrono::minutes(9));
    EXPECT_LE(timer.QueryTimeLeft(), 600);
    timer.Set(600);
    EXPECT_GT(timer.QueryTimeLeft(), 590);
    EXPECT_LE(timer.QueryTimeLeft(), 600);
    timer.Cancel();
    EXPECT_EQ(idle->Wait(0), 1);
}

TEST(Timer, PostsAfterMillisecondsAndNeverBefore) {
    TEvent const event = NewEvent();
    TEvent const later = NewEvent();
    TTimer timer(event);
    TTimer other(later);
    other.Set(std::chrono::hours(1)); // for which the thread sleeps long
    for (int milliseconds : {1, 5, 20, 3}) {
        auto const duration = std::chrono::milliseconds(milliseconds);
        auto const begin = std::chrono::steady_clock::now();
        timer.Set(duration);
        EXPECT_LE(timer.TimeLeft(), duration);
        EXPECT_EQ(event->Wait(fsPatience), 0);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, duration);
        EXPECT_EQ(timer.TimeLeft(), std::chrono::milliseconds(0));
        EXPECT_EQ(timer.QueryPostTime(), 0u);
    }
    EXPECT_EQ(later->Wait(0), 1);
    EXPECT_GT(other.TimeLeft(), std::chrono::minutes(59));
    other.Set(std::chrono::milliseconds(1)); // now earlier
    EXPECT_EQ(later->Wait(fsPatience), 0);
}

TEST(Timer, BothKindsAreServedTogether) {
    TEvent const calendar = NewEvent();
    TEvent const steady = NewEvent();
    TTimer first(calendar);
    TTimer second(steady);
    first.Set(1);
    second.Set(std::chrono::milliseconds(10));
    EXPECT_EQ(steady->Wait(fsPatience), 0);
    EXPECT_EQ(calendar->Wait(fsPatience), 0);
    second.Set(std::chrono::hours(1));
    first.Set(0);
    EXPECT_EQ(calendar->Wait(fsPatience), 0);
    EXPECT_EQ(steady->Wait(0), 1);
}

TEST(Timer, IsNotArmedAtFirst) {
    TEvent const event = NewEvent(1);
    TTimer const timer(event);
    EXPECT_EQ(timer.QueryPostTime(), 0u);
    EXPECT_EQ(timer.QueryTimeLeft(), 0);
    EXPECT_EQ(event->Wait(0), 0); // making it clears nothing
}

TEST(Timer, PostsAtOnceForTimesThatHavePassed) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    for (long seconds : {0L, -1L, -100000L, -2147483647L - 1}) {
        timer.Set(seconds);
        EXPECT_EQ(event->Wait(fsPatience), 0) << seconds;
        EXPECT_EQ(timer.QueryPostTime(), 0u);
        EXPECT_EQ(timer.QueryTimeLeft(), 0);
    }
}

TEST(Timer, PostsWhenItsTimeHasPassed) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(1);
    EXPECT_EQ(timer.QueryTimeLeft() > 1, false);
    EXPECT_EQ(event->Wait(fsPatience), 0);
    EXPECT_EQ(timer.QueryPostTime(), 0u);
}

TEST(Timer, SetClearsTheEventAndCancelLeavesItAlone) {
    TEvent const event = NewEvent(1);
    TTimer timer(event);
    timer.Set(100);
    EXPECT_EQ(event->Wait(0), 1);
    timer.Cancel();
    EXPECT_EQ(timer.QueryPostTime(), 0u);
    EXPECT_EQ(event->Wait(0), 1);
    timer.Set(0);
    EXPECT_EQ(event->Wait(fsPatience), 0);
    timer.Cancel(); // after it has expired
    EXPECT_EQ(event->Wait(0), 0);
    timer.Cancel();
    EXPECT_EQ(event->Wait(0), 0);
}

TEST(Timer, WithoutEventExpiresAllTheSame) {
    TEvent const marker = NewEvent();
    TTimer timer(nullptr);
    TTimer second(marker);
    timer.Set(0);
    second.Set(0);
    EXPECT_EQ(marker->Wait(fsPatience), 0);
    while (timer.QueryPostTime() != 0)
        std::this_thread::yield();
}

TEST(Timer, KeepsItsEvent) {
    TEvent const event = NewEvent();
    {
        TTimer const timer(event);
        EXPECT_EQ(event->QueryReferenceCount(), 2u);
        TTimer const copy(timer);
        EXPECT_EQ(event->QueryReferenceCount(), 3u);
    }
    EXPECT_EQ(event->QueryReferenceCount(), 1u);
}

TEST(Timer, CopyTellsTheTimeAndIsNotArmed) {
    TEvent const event = NewEvent();
    TEvent const other = NewEvent();
    TTimer timer(event);
    timer.Set(1000);
    TTimer copy(timer);
    EXPECT_EQ(copy.QueryPostTime(), timer.QueryPostTime());
    TTimer assigned(other);
    assigned.Set(2000);
    assigned = timer;
    EXPECT_EQ(assigned.QueryPostTime(), timer.QueryPostTime());
    EXPECT_EQ(other->QueryReferenceCount(), 1u);
    EXPECT_EQ(event->QueryReferenceCount(), 4u);
    TTimer &self = timer;
    timer = self;
    EXPECT_GT(timer.QueryTimeLeft(), 900);
    timer.Cancel();
    EXPECT_NE(copy.QueryPostTime(), 0u);
    copy.Set(0);
    EXPECT_EQ(event->Wait(fsPatience), 0);
    assigned.Set(0);
    EXPECT_EQ(event->Wait(fsPatience), 0);
}

TEST(Timer, LastOneGoneAndAnotherMadeIsServedAgain) {
    for (int i = 0; i < 300; ++i) {
        TEvent const event = NewEvent();
        TTimer timer(event);
        timer.Set(0);
        ASSERT_EQ(event->Wait(fsPatience), 0) << i;
    }
}

TEST(Timer, DestroyedWhileDuePostsNothingMore) {
    TTimer const other(nullptr); // keeps the thread
    for (int i = 0; i < 3000; ++i) {
        TEvent const event = NewEvent();
        {
            TTimer timer(event);
            timer.Set(0);
            if (i % 2)
                std::this_thread::yield();
        }
        int const posted = event->Wait(0);
        ASSERT_EQ(event->Wait(0), posted);
        ASSERT_EQ(event->QueryReferenceCount(), 1u);
    }
}

TEST(Timer, MayBeDestroyedByAnotherThread) {
    for (int i = 0; i < 200; ++i) {
        auto timer = std::make_unique<TTimer>(NewEvent());
        timer->Set(i % 3);
        std::thread([&] { timer.reset(); }).join();
    }
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(0);
    EXPECT_EQ(event->Wait(fsPatience), 0);
}

TEST(Timer, ThreadsUseTheirTimersAtTheSameTime) {
    std::vector<std::thread> threads;
    std::atomic<int> lost{0};
    for (unsigned int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &lost] {
            std::minstd_rand random(t);
            std::vector<std::optional<TTimer>> timers(20);
            for (int i = 0; i < 2000; ++i) {
                std::optional<TTimer> &timer = timers[random() % timers.size()];
                switch (random() % 5) {
                case 0: timer.emplace(NewEvent()); break;
                case 1: timer.reset(); break;
                case 2:
                    if (timer)
                        timer->Cancel();
                    break;
                case 3:
                    if (timer)
                        timer->Set(std::chrono::milliseconds(random() % 50));
                    break;
                default:
                    if (timer)
                        timer->Set(static_cast<long>(random() % 5));
                }
            }
            TEvent const event = NewEvent();
            TTimer last(event);
            last.Set(0);
            lost += event->Wait(fsPatience) != 0;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(lost, 0);
}

TEST(Timer, HundredThousandAreAllServed) {
    std::vector<std::unique_ptr<TTimer>> timers;
    std::vector<TEvent> events;
    std::minstd_rand random;
    for (int i = 0; i < 100000; ++i) {
        events.push_back(NewEvent());
        timers.push_back(std::make_unique<TTimer>(events.back()));
        timers.back()->Set(600 + static_cast<long>(random() % 3000));
    }
    for (auto &timer : timers)
        timer->Set(600 + static_cast<long>(random() % 3000));
    for (std::size_t i = 0; i < timers.size(); i += 2)
        timers[i]->Set(0);
    for (std::size_t i = 0; i < timers.size(); i += 2)
        ASSERT_EQ(events[i]->Wait(fsPatience), 0);
    for (std::size_t i = 1; i < timers.size(); i += 2)
        ASSERT_EQ(events[i]->Wait(0), 1);
}

// A static timer of a library: made and set while the system loads the library.
TEST(Timer, OfALibraryThatIsBeingLoaded) {
    {
        TModule const module("timer_module", true);
        auto const event = reinterpret_cast<TSemaphore *(*)()>(module.Find("ModuleEvent"));
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(event()->Wait(fsPatience), 0);
        reinterpret_cast<void (*)(long)>(module.Find("ModuleSet"))(0); // due while it is unloaded
    }
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(0);
    EXPECT_EQ(event->Wait(fsPatience), 0);
}

TEST(Timer, OfALibraryThatStaysIsStillArmedAtTheEndOfTheProcess) {
    TModule const module("timer_module_kept", false);
    auto const event = reinterpret_cast<TSemaphore *(*)()>(module.Find("ModuleEvent"));
    auto const set = reinterpret_cast<void (*)(long)>(module.Find("ModuleSet"));
    ASSERT_NE(event, nullptr);
    set(0);
    EXPECT_EQ(event()->Wait(fsPatience), 0);
    set(1000);
}
