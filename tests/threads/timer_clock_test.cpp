// Timers under a clock that the tests set, and without threads where they want: this program has its own copy of them.

#include "utility/THREAD.cpp"
#include "utility/TIMER.cpp"
#include "utility/threads/timer_queue.cpp"
#include "utility/threads/timer_thread.cpp"

#include "support/CaptureTrace.h"
#if !defined(_WIN32)
#include "platform/posix/InChild.h"
#endif

#include <algorithm>
#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <thread>
#include <vector>

// The state of the copy.
static TMutexSemaphore fsTimerLock;
TMutexSemaphore &TMasterTimer::fsLock = fsTimerLock;
TTimerQueue TMasterTimer::fsArmed;
TTimerQueue TMasterTimer::fsSteady;
std::int64_t TMasterTimer::fsWakeTime = 0;
bool TMasterTimer::fsMissesCalendar = false;
std::uint32_t TMasterTimer::fsCount = 0;
TMasterTimer *TMasterTimer::fsOnly = nullptr;
bool TMasterTimer::fsIsOver = false;
bool TMasterTimer::fsAreTimersLost = false;

namespace {

std::atomic<std::int64_t> fsNow{1000000};
std::atomic<std::int64_t> fsSteadyNow{0}; // in nanoseconds
constexpr std::int64_t fsMillisecond = 1000000;
std::atomic<int> fsThreads{0}; // that run
std::atomic<bool> fsHasThreads{true};
thread_local bool fsIsService = false; // in the thread that serves the timers

constexpr long fsPatience = 20000;

using TEvent = TReference<TSemaphore>;

TEvent NewEvent() {
    return TEvent(new TSemaphore);
}

class TimerClock : public testing::Test {
protected:
    TimerClock() {
        fsNow = 1000000;
        fsSteadyNow = 5000 * fsMillisecond;
    }
    ~TimerClock() override {
        while (fsThreads != 0)
            std::this_thread::yield();
    }

    // Returns when the master has served everything due: it does so in one go, the earliest first.
    static void Serve() {
        TEvent const event = NewEvent();
        TTimer last(event);
        last.Set(0);
        ASSERT_EQ(event->Wait(fsPatience), 0);
    }
};

} // namespace

std::int64_t platform::CurrentTime() noexcept {
    return fsNow;
}
std::int64_t platform::SteadyTime() noexcept {
    return fsSteadyNow;
}
bool const platform::threadsEndFirst = false;
struct platform::Event {
    TSemaphore event;
};
platform::Event *platform::NewEvent(bool posted) noexcept {
    return new Event{TSemaphore(posted)};
}
void platform::DeleteEvent(Event *event) noexcept {
    delete event;
}
bool platform::PostEvent(Event *event) noexcept {
    return event->event.Post() == 0;
}
platform::TWaitResult platform::WaitEvent(Event *event, std::uint32_t) noexcept {
    return event->event.Wait(-1) == 0 ? TWaitResult::done : TWaitResult::failed;
}
platform::TAnswer platform::IsOnStack(void const *) noexcept {
    return TAnswer::no;
}
bool platform::IsInImage(void const *) noexcept {
    return false;
}
std::uint32_t platform::LastError() noexcept {
    return 0;
}
void platform::SetLastError(std::uint32_t) noexcept {}
std::uintptr_t platform::StartThread(void (*body)(void *), void *argument, bool) noexcept {
    if (!fsHasThreads)
        return ~std::uintptr_t{0};
    ++fsThreads;
    std::thread([=] {
        fsIsService = true;
        body(argument);
        --fsThreads;
    }).detach();
    return 1;
}

TEST_F(TimerClock, PostTimeIsCalendarTimeThatFitsItsWord) {
    TTimer timer(nullptr);
    timer.Set(60);
    EXPECT_EQ(timer.QueryPostTime(), 1000060u);
    EXPECT_EQ(timer.QueryTimeLeft(), 60);
    fsNow = 0xFFFFFFF0;
    timer.Set(100);
    EXPECT_EQ(timer.QueryPostTime(), 0xFFFFFFFFu);
    EXPECT_EQ(timer.QueryTimeLeft(), 15);
    fsNow = 0;
    timer.Set(2147483647);
    EXPECT_EQ(timer.QueryPostTime(), 0x7FFFFFFFu);
    EXPECT_EQ(timer.QueryTimeLeft(), 2147483647);
}

TEST_F(TimerClock, SumsOfZeroAndBelowStillPost) {
    fsNow = 5;
    for (long seconds : {-5L, -6L, -1000L}) {
        TEvent const event = NewEvent();
        TTimer timer(event);
        timer.Set(seconds);
        EXPECT_EQ(event->Wait(fsPatience), 0) << seconds;
        EXPECT_EQ(timer.QueryPostTime(), 0u);
    }
}

TEST_F(TimerClock, NothingIsLeftOfATimeThatHasPassed) {
    TTimer timer(nullptr);
    timer.Set(10);
    fsNow += 9;
    EXPECT_EQ(timer.QueryTimeLeft(), 1);
    fsNow += 1;
    EXPECT_EQ(timer.QueryTimeLeft(), 0);
    fsNow += 1000;
    EXPECT_EQ(timer.QueryTimeLeft(), 0);
}

TEST_F(TimerClock, NothingIsLeftAlsoBeforeThePostWhichThenFollows) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(10);
    {
        TMutexSemaphoreEntry const entry(TMasterTimer::fsLock, -1); // the master cannot post meanwhile
        fsNow += 10;
        EXPECT_EQ(timer.QueryTimeLeft(), 0);
        EXPECT_EQ(timer.QueryPostTime(), 1000010u);
        EXPECT_EQ(event->Wait(0), 1);
    }
    EXPECT_EQ(event->Wait(fsPatience), 0);
    EXPECT_EQ(timer.QueryPostTime(), 0u);
}

// One event after another, each posted once the one before was: the order in which timers are told.
TEST_F(TimerClock, OfOneSecondTheOneSetLastIsPostedFirst) {
    TEvent const events[] = {NewEvent(), NewEvent(), NewEvent()};
    std::vector<std::unique_ptr<TTimer>> timers;
    for (TEvent const &event : events)
        timers.push_back(std::make_unique<TTimer>(event));
    for (int round = 0; round < 200; ++round) {
        {
            TMutexSemaphoreEntry const entry(TMasterTimer::fsLock, -1);
            for (auto &timer : timers)
                timer->Set(0);
        }
        // Whenever one is seen posted, all that were set after it are.
        for (bool isDone = false; !isDone;) {
            std::size_t first = 0;
            while (first < 3 && timers[first]->QueryPostTime() != 0)
                ++first;
            for (std::size_t later = first; later < 3; ++later)
                ASSERT_EQ(timers[later]->QueryPostTime(), 0u) << first << " " << later;
            isDone = first == 0;
        }
    }
}

TEST_F(TimerClock, StepForwardExpiresWithoutAnyCall) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(3600);
    Serve(); // from now on the master sleeps
    EXPECT_EQ(event->Wait(0), 1);
    fsNow += 3600;
    EXPECT_EQ(event->Wait(fsPatience), 0);
}

TEST_F(TimerClock, StepBackDefers) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(10);
    fsNow -= 100;
    EXPECT_EQ(timer.QueryTimeLeft(), 110);
    Serve();
    fsNow += 109;
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    fsNow += 1;
    Serve();
    EXPECT_EQ(event->Wait(0), 0);
}

TEST_F(TimerClock, ExpireInTheirOrderAsTheirTimesCome) {
    std::vector<TEvent> events;
    std::vector<std::unique_ptr<TTimer>> timers;
    for (long seconds : {30L, 10L, 20L, 10L, 40L}) {
        events.push_back(NewEvent());
        timers.push_back(std::make_unique<TTimer>(events.back()));
        timers.back()->Set(seconds);
    }
    auto const posted = [&] {
        std::vector<int> which;
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (events[i]->Wait(0) == 0)
                which.push_back(static_cast<int>(i));
        }
        return which;
    };
    Serve();
    EXPECT_EQ(posted(), std::vector<int>({}));
    fsNow += 10;
    Serve();
    EXPECT_EQ(posted(), std::vector<int>({1, 3}));
    fsNow += 15;
    Serve();
    EXPECT_EQ(posted(), std::vector<int>({1, 2, 3}));
    fsNow += 1000;
    Serve();
    EXPECT_EQ(posted(), std::vector<int>({0, 1, 2, 3, 4}));
}

TEST_F(TimerClock, CancelledAndAssignedOverAreNotPosted) {
    TEvent const cancelled = NewEvent();
    TEvent const assigned = NewEvent();
    TTimer first(cancelled);
    TTimer second(assigned);
    TTimer source(nullptr);
    first.Set(10);
    second.Set(10);
    source.Set(20);
    first.Cancel();
    second = source;
    EXPECT_EQ(second.QueryPostTime(), 1000020u);
    fsNow += 100;
    Serve();
    EXPECT_EQ(cancelled->Wait(0), 1);
    EXPECT_EQ(assigned->Wait(0), 1);
    EXPECT_EQ(source.QueryPostTime(), 0u);
    EXPECT_EQ(second.QueryPostTime(), 1000020u); // what was copied
    EXPECT_EQ(second.QueryTimeLeft(), 0);
}

TEST_F(TimerClock, SetAgainCountsFromThen) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(10);
    fsNow += 9;
    timer.Set(10);
    EXPECT_EQ(timer.QueryTimeLeft(), 10);
    fsNow += 9;
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    timer.Set(2); // to an earlier time
    fsNow += 2;
    Serve();
    EXPECT_EQ(event->Wait(0), 0);
}

TEST_F(TimerClock, DurationsAreThoseOfTheSteadyClock) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(std::chrono::milliseconds(1500));
    EXPECT_EQ(timer.QueryPostTime(), 1000002u);
    EXPECT_EQ(timer.TimeLeft(), std::chrono::milliseconds(1500));
    EXPECT_EQ(timer.QueryTimeLeft(), 2);
    fsNow += 100000;
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    EXPECT_EQ(timer.TimeLeft(), std::chrono::milliseconds(1500));
    fsNow -= 1000000;
    fsSteadyNow += 1500 * fsMillisecond - 1;
    EXPECT_EQ(timer.TimeLeft(), std::chrono::milliseconds(1));
    EXPECT_EQ(timer.QueryTimeLeft(), 1);
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    fsSteadyNow += 1;
    EXPECT_EQ(timer.TimeLeft(), std::chrono::milliseconds(0));
    Serve();
    EXPECT_EQ(event->Wait(0), 0);
    EXPECT_EQ(timer.QueryPostTime(), 0u);
}

TEST_F(TimerClock, DurationsAreNeverShorterThanAsked) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    fsSteadyNow += 1; // within a millisecond
    timer.Set(std::chrono::microseconds(2500));
    fsSteadyNow += 3 * fsMillisecond - 1;
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    fsSteadyNow += fsMillisecond;
    Serve();
    EXPECT_EQ(event->Wait(0), 0);
}

TEST_F(TimerClock, DurationsThatHavePassedPostAtOnceAndTheLongestAreKept) {
    using namespace std::chrono;
    TEvent const event = NewEvent();
    TTimer timer(event);
    auto const postsAtOnce = [&](auto fromNow) {
        timer.Set(fromNow);
        EXPECT_EQ(event->Wait(fsPatience), 0);
        EXPECT_EQ(timer.TimeLeft(), milliseconds(0));
    };
    postsAtOnce(seconds(0));
    postsAtOnce(nanoseconds(-1));
    postsAtOnce(hours::min());
    timer.Set(hours::max());
    EXPECT_EQ(timer.TimeLeft(), milliseconds(2199023255552)); // 2 to the power of 41
    EXPECT_EQ(timer.QueryTimeLeft(), 2147483647);
    fsSteadyNow = 2199023255560 * fsMillisecond;
    timer.Set(hours::max());
    EXPECT_EQ(timer.TimeLeft(), milliseconds(2199023255543)); // until the last time that has 42 bits
}

TEST_F(TimerClock, OfOneMillisecondTheOneSetLastIsPostedFirst) {
    TEvent const events[] = {NewEvent(), NewEvent()};
    TTimer first(events[0]);
    TTimer second(events[1]);
    for (int round = 0; round < 200; ++round) {
        {
            TMutexSemaphoreEntry const entry(TMasterTimer::fsLock, -1);
            first.Set(std::chrono::milliseconds(0));
            second.Set(std::chrono::milliseconds(0));
        }
        while (first.QueryPostTime() != 0)
            std::this_thread::yield();
        ASSERT_EQ(second.QueryPostTime(), 0u);
    }
}

TEST_F(TimerClock, OneTimerMayChangeItsClock) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(10);
    timer.Set(std::chrono::seconds(20));
    EXPECT_EQ(timer.QueryTimeLeft(), 20);
    fsNow += 15;
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    timer.Set(10);
    fsSteadyNow += 25000 * fsMillisecond;
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    EXPECT_EQ(timer.TimeLeft(), std::chrono::seconds(10));
    timer.Set(std::chrono::seconds(20));
    TTimer copy(timer);
    EXPECT_EQ(copy.TimeLeft(), std::chrono::seconds(20));
    timer.Cancel();
    EXPECT_EQ(timer.TimeLeft(), std::chrono::seconds(0));
    fsSteadyNow += 25000 * fsMillisecond;
    Serve();
    EXPECT_EQ(event->Wait(0), 1);
    copy = timer;
    EXPECT_EQ(copy.QueryPostTime(), 0u);
}

TEST_F(TimerClock, ThreadIsThereWhileThereAreTimers) {
    EXPECT_EQ(fsThreads, 0);
    {
        TTimer const one(nullptr);
        EXPECT_EQ(fsThreads, 1);
        TTimer const two(nullptr);
        EXPECT_EQ(fsThreads, 1);
    }
    while (fsThreads != 0)
        std::this_thread::yield();
    TTimer const three(nullptr);
    EXPECT_EQ(fsThreads, 1);
}

TEST_F(TimerClock, WithoutAThreadWaitsUntilThereIsOne) {
    TEvent const event = NewEvent();
    TCapture capture(TTrace::error);
    fsHasThreads = false;
    TTimer timer(event);
    capture.ExpectOne(TTrace::error, "Utility", "Unable to start thread", "src/utility/THREAD");
    timer.Set(0);
    capture.ExpectOne(TTrace::error, "Utility", "Unable to start thread", "src/utility/THREAD");
    timer.Cancel();
    capture.ExpectNone();
    capture.trace.SetLevel(TTrace::severe);
    timer.Set(0);
    capture.ExpectNone(); // nobody wants to hear it
    capture.trace.SetLevel(TTrace::error);
    timer.Set(0);
    capture.Entries().clear();
    EXPECT_EQ(event->Wait(0), 1);
    fsHasThreads = true;
    TTimer const other(nullptr);
    EXPECT_EQ(event->Wait(fsPatience), 0);
    capture.ExpectNone();
}

TEST_F(TimerClock, ShutdownEndsTheThreadAndStartsNoOther) {
    TEvent const event = NewEvent();
    {
        TTimer timer(event);
        timer.Set(10);
        TMasterTimer::Shutdown();
        while (fsThreads != 0)
            std::this_thread::yield();
        timer.Set(0);
        TTimer const other(timer);
        EXPECT_EQ(fsThreads, 0);
        EXPECT_EQ(event->Wait(0), 1);
    }
    TMasterTimer::Shutdown(); // a second time
    TMasterTimer::fsIsOver = false;
    Serve();
}

#if !defined(_WIN32) // where a program's memory is the library's as well

namespace {
thread_local int fsRefusals = 0; // of the next requests of this thread that may be refused
std::atomic<bool> fsServiceLacksMemory{false};
std::atomic<int> fsServiceRefusals{0};
} // namespace

__attribute__((visibility("default"))) void *operator new(std::size_t size, std::nothrow_t const &) noexcept {
    if (fsRefusals > 0) {
        --fsRefusals;
        return nullptr;
    }
    if (fsIsService && fsServiceLacksMemory) {
        ++fsServiceRefusals;
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (std::bad_alloc const &) {
        return nullptr;
    }
}

TEST_F(TimerClock, ThreadWithoutMemoryForItsFirstLockWaitsForItAndThenForTheLock) {
    TTimer timer(nullptr);
    std::atomic<bool> isSet{false};
    TSemaphore begun;
    std::thread other;
    {
        TMutexSemaphoreEntry const entry(TMasterTimer::fsLock, -1);
        other = std::thread([&] {
            begun.Post();
            fsRefusals = 5;
            timer.Set(10);
            EXPECT_EQ(fsRefusals, 0); // it was asked for
            isSet = true;
        });
        begun.Wait(-1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // long enough for one that does not wait
        EXPECT_FALSE(isSet);
        EXPECT_EQ(timer.QueryPostTime(), 0u);
    }
    other.join();
    EXPECT_EQ(timer.QueryPostTime(), 1000010u);
}

// A thread forks that could not take the lock, while another one may be changing the queues.
TEST_F(TimerClock, LostTimersOfAChildNeverPostAndStartNoThread) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(10);
    int const threads = fsThreads;
    EXPECT_EQ(InChild([&] {
                  TMasterTimer::LoseTimers();
                  fsNow += 10;
                  TTimer other(event);
                  other.Set(0);
                  other.Set(std::chrono::seconds(0));
                  timer.Set(0);
                  timer.Cancel();
                  return event->Wait(50) == 1 && fsThreads == threads ? 0 : 1;
              }),
              0);
    fsNow += 10;
    EXPECT_EQ(event->Wait(fsPatience), 0);
}

// The thread has no memory to take the lock, and gives up after a while. It must not post without the lock.
TEST_F(TimerClock, ServiceWithoutMemoryForItsFirstLockPostsLater) {
    TEvent const event = NewEvent();
    fsServiceLacksMemory = true;
    TTimer timer(event);
    timer.Set(0);
    int last = -1;
    while (fsServiceRefusals == 0 || last != fsServiceRefusals) { // until it has given up for now
        last = fsServiceRefusals;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(event->Wait(0), 1);
    EXPECT_NE(timer.QueryPostTime(), 0u);
    fsServiceLacksMemory = false;
    EXPECT_EQ(event->Wait(fsPatience), 0);
}

// A timer that was made by a thread without memory for its first lock does not count, unless it is set later.
TEST_F(TimerClock, TimerOfAThreadWithoutMemoryLeavesTheOthersServed) {
    TEvent const event = NewEvent();
    TTimer timer(event);
    timer.Set(10);
    std::thread([] {
        fsRefusals = 0x7FFFFFFF;
        std::optional<TTimer> unserved(std::in_place, nullptr);
        fsRefusals = 0;
        unserved.reset();
    }).join();
    fsNow += 10;
    EXPECT_EQ(event->Wait(fsPatience), 0);
}

// The event could not be made: posting and clearing it are traced, and what hears of it may set timers itself.
TEST_F(TimerClock, MissingEventIsTracedWithoutTheLock) {
    TEvent const marker = NewEvent();
    TTimer timer([] {
        fsRefusals = 1;
        return TEvent(new TSemaphore);
    }());
    class TArming : public TTrace::Base {
    public:
        ~TArming() override { Unlink(); }
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
            std::thread([this] { // would wait for ever for the lock of who traces
                timer.Set(1000);
            })
                .join();
            ++written;
            told.Post();
        }
        TTimer timer{nullptr};
        std::atomic<int> written{0};
        TSemaphore told;
    };
    TTrace trace;
    auto *const destination = new TArming;
    trace.QueryPointer() = TTrace::Pointer(destination);
    timer.Set(0);
    EXPECT_EQ(destination->told.Wait(fsPatience), 0);
    while (destination->written < 2) // "reset", and "post"
        std::this_thread::yield();
    Serve();
    EXPECT_EQ(destination->written, 2);
    EXPECT_EQ(timer.QueryPostTime(), 0u);
}

#endif

// The queue against the plain rule: a timer stands before the first whose second is not below its own.
TEST(TimerQueue, KeepsTheOrderOfAPlainList) {
    struct Row {
        std::uint32_t times; // how many different ones
        std::uint64_t distance;
    };
    for (Row const row : {Row{3, 1}, Row{40, 1}, Row{200, 1}, Row{5000, 1}, Row{2, 0x80000000}, Row{60, 0x04000001},
                          Row{60, 0x100000001}, Row{1000, 0xFFFFFFFF}, Row{2, 0x20000000000}}) {
        std::minstd_rand random(row.times);
        TTimerQueue queue;
        std::vector<TTimerLink> links(100, TTimerLink{nullptr});
        std::list<TTimerLink *> model;
        for (int step = 0; step < 30000; ++step) {
            TTimerLink &link = links[random() % links.size()];
            model.remove(&link);
            if (random() % 4 == 0) {
                queue.Remove(link);
            } else {
                queue.Set(link, 1 + random() % row.times * row.distance);
                model.insert(
                    std::find_if(model.begin(), model.end(), [&](auto *other) { return other->due >= link.due; }),
                    &link);
            }
            ASSERT_EQ(queue.IsEmpty(), model.empty());
            if (model.empty())
                continue;
            // The clock may stand anywhere, also before an earlier time.
            std::uint64_t const now = random() % (row.times + 2) * row.distance;
            std::uint64_t const first = model.front()->due;
            ASSERT_LE(static_cast<std::uint64_t>(queue.NoneBefore()), first) << step;
            ASSERT_EQ(queue.FirstDue(static_cast<std::int64_t>(now)), first <= now ? model.front() : nullptr) << step;
            std::uint64_t const begin = first > now ? now + 1 : 0;
            ASSERT_GE(static_cast<std::uint64_t>(queue.NoneBefore()), begin) << step;
            ASSERT_LE(static_cast<std::uint64_t>(queue.NoneBefore()), first) << step;
        }
        while (TTimerLink *const first = queue.FirstDue(INT64_MAX)) {
            ASSERT_EQ(first, model.front());
            queue.Remove(*first);
            model.pop_front();
        }
        EXPECT_TRUE(model.empty());
    }
}

TEST(TimerQueue, HoldsTheFirstAndTheLastSecond) {
    TTimerQueue queue;
    TTimerLink links[] = {TTimerLink{nullptr, 0xFFFFFFFF}, TTimerLink{nullptr, 1}, TTimerLink{nullptr, 0xFFFFFFFE},
                          TTimerLink{nullptr, 0xFFFFFFFF}};
    for (TTimerLink &link : links)
        queue.Set(link, link.due);
    for (int which : {1, 2, 3, 0}) {
        ASSERT_EQ(queue.FirstDue(INT64_MAX), &links[which]);
        queue.Remove(links[which]);
    }
    EXPECT_EQ(queue.FirstDue(INT64_MAX), nullptr);
}
