// Timers in every interleaving of a few threads. The sources of the timers are included here, with model atomics in
// place of the standard ones, and with models of locks, events, threads and clocks. The time passes only while the
// thread of the timers waits, so a test knows exactly when a timer must post.

#include "support/interleavings.h"
#include "support/model_locks.h"
#include "support/model_reporter.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cassert>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "tuzutil/EXPORT.h"
#include "utility/kernel/debug_check.h"

// The parts below take the places of the headers that are named before them.

namespace modelled {

#include "utility/TREFCNT.cpp"

static TMutexSemaphore fsWeakLock;
TMutexSemaphore &TWeakReferenceLock::fsSem = fsWeakLock;

struct TWaitTime {
    template <typename Duration>
    static long long Milliseconds(Duration const &duration, long long) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
    }
};

} // namespace modelled

// The counts of references above take no step of their own. They have a suite of their own.
namespace std {
using interleavings::TModelAtomic;
} // namespace std
#define atomic TModelAtomic

namespace modelled {

class TSemaphore : public TRefCounted, public TModelEvent {
public:
    void *fHandle = this; // the event exists
};

#define TUZUTIL_THREAD_H // tuzutil/THREAD.h
class TThread : public TRefCounted {
public:
    static inline int fsObjects = 0;           // the number of objects
    static inline int fsRunning = 0;           // the number of threads that run
    static inline int fsStarted = 0;           // the number of threads that were started
    static inline TThread *fsLatest = nullptr; // the object of the thread that was started last

    TThread() { ++fsObjects; }
    ~TThread() override { --fsObjects; }

    virtual int Run() = 0;
    void WaitForTermination(long timeout) { fEnd.Wait(timeout); }

    TModelEvent fEnd;
    bool fHasEnded = false;
};

#define TUZUTIL_THREAD_LAUNCH // utility/threads/thread_launch.h
struct TThreadLaunch {
    static bool HasAll(TThread &) { return true; }
    static bool StartUnannounced(TThread &thread) {
        ++TThread::fsRunning;
        ++TThread::fsStarted;
        TThread::fsLatest = &thread;
        TScheduler::Start([&thread] {
            thread.Run();
            --TThread::fsRunning;
            thread.fHasEnded = true;
            thread.fEnd.Post();
            thread.RemoveRef();
        });
        return true;
    }
    static void ReportNotStarted() { std::abort(); }
    static void ForgetRun(TThread &) {}
};

#define TUZUTIL_PLATFORM // platform/platform.h
namespace platform {

constexpr bool threadsEndFirst = false;

inline std::int64_t SteadyTime() {
    TScheduler::Step();
    return fsNow * 1000000;
}
inline std::int64_t CurrentTime() {
    TScheduler::Step();
    return fsNow / 1000;
}

} // namespace platform

#include "utility/TIMER.cpp"
#include "utility/threads/timer_queue.cpp"
#include "utility/threads/timer_thread.cpp"

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

} // namespace modelled
#undef atomic

namespace {

using interleavings::TResult;
using interleavings::TScenario;
using interleavings::TScheduler;
using modelled::fsNow;
using modelled::TReference;
using modelled::TSemaphore;
using modelled::TThread;
using modelled::TTimer;

constexpr int fsPreemptions = 2;
constexpr std::int64_t fsBegin = 5000; // the time at which a run begins

// An event with its timer.
struct TAlarm {
    TReference<TSemaphore> event = new TSemaphore;
    std::optional<TTimer> timer;
    std::string fault;
    std::optional<std::size_t> lastPosts; // the number of posts after which there must be no other

    // Sets the timer and waits until it posts. The timer must not post early. Nor may it post late, because the time
    // passes only while the thread of the timers waits.
    void SetAndWait(int milliseconds) {
        std::int64_t const earliest = fsNow + milliseconds;
        timer->Set(std::chrono::milliseconds(milliseconds));
        std::int64_t const latest = fsNow + milliseconds;
        event->Wait(-1);
        std::int64_t const posted = event->Posts().back();
        if (posted < earliest || posted > latest)
            fault = "posted at " + std::to_string(posted) + " instead of " + std::to_string(earliest);
    }

    void ExpectNoMorePosts() { lastPosts = event->Posts().size(); }

    std::string Fault() const {
        if (fault.empty() && lastPosts && event->Posts().size() != *lastPosts)
            return "posted although it was cancelled or destroyed";
        return fault;
    }

    void MakeSetWaitAndDestroy(int milliseconds) {
        timer.emplace(event);
        SetAndWait(milliseconds);
        timer.reset();
    }
};

// Two alarms, and the state of the library from which each run begins.
struct TShared {
    TAlarm first;
    TAlarm second;

    TShared() {
        using modelled::TMasterTimer;
        fsNow = fsBegin;
        TMasterTimer::fsIsOver = false;
        TThread::fsObjects = 0;
        TThread::fsRunning = 0;
    }

    std::string Fault() const {
        std::string const fault = first.Fault() + second.Fault();
        if (!fault.empty())
            return fault;
        if (TThread::fsRunning != 0)
            return std::to_string(TThread::fsRunning) + " threads run without timers";
        return TThread::fsObjects == 0 ? "" : "the object of a thread is left";
    }
};

// Explores a scenario of two threads, which use an alarm each.
template <typename First, typename Second>
void ExpectNoFault(First first, Second second, long leastRuns, int preemptions = fsPreemptions) {
    TResult const result = TScheduler::Explore(
        [&] {
            auto const shared = std::make_shared<TShared>();
            return TScenario{{[shared, first] { first(shared->first); }, [shared, second] { second(shared->second); }},
                             [shared] { return shared->Fault(); }};
        },
        preemptions);
    EXPECT_EQ(result.fault, "");
    EXPECT_GE(result.runs, leastRuns); // if there are fewer, the threads have lost their steps
}

} // namespace

TEST(TimerInterleavings, PostEachTimerInItsTimeAndEndTheThreadAfterTheLast) {
    ExpectNoFault([](TAlarm &alarm) { alarm.MakeSetWaitAndDestroy(20); },
                  [](TAlarm &alarm) { alarm.MakeSetWaitAndDestroy(10); }, 1000);
}

TEST(TimerInterleavings, StartAnotherThreadForATimerThatIsMadeAfterTheLastOne) {
    ExpectNoFault(
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            alarm.timer.reset();
            alarm.MakeSetWaitAndDestroy(10);
        },
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            alarm.timer.reset();
        },
        1000, 1);
}

TEST(TimerInterleavings, PostNothingForATimeThatWasReplaced) {
    ExpectNoFault(
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            alarm.timer->Set(std::chrono::milliseconds(10));
            alarm.SetAndWait(30);
            alarm.timer.reset();
        },
        [](TAlarm &alarm) { alarm.MakeSetWaitAndDestroy(10); }, 1000);
}

TEST(TimerInterleavings, PostNothingAfterATimerWasCancelled) {
    ExpectNoFault(
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            alarm.timer->Set(std::chrono::milliseconds(10));
            alarm.timer->Cancel();
            alarm.ExpectNoMorePosts();
            alarm.timer.reset();
        },
        [](TAlarm &alarm) { alarm.MakeSetWaitAndDestroy(20); }, 1000);
}

TEST(TimerInterleavings, PostNothingAfterATimerWasDestroyed) {
    ExpectNoFault(
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            alarm.timer->Set(std::chrono::milliseconds(10));
            alarm.timer.reset();
            alarm.ExpectNoMorePosts();
        },
        [](TAlarm &alarm) { alarm.MakeSetWaitAndDestroy(20); }, 1000);
}

// A timer by the calendar clock may be late by a second. It is set for the second that has begun, so it posts at once.
TEST(TimerInterleavings, WakeTheThreadForTimersOfBothClocks) {
    ExpectNoFault(
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            std::int64_t const second = fsNow / 1000;
            alarm.timer->Set(1);
            std::int64_t const latest = (fsNow / 1000 + 1) * 1000 + 999;
            alarm.event->Wait(-1);
            std::int64_t const posted = alarm.event->Posts().back();
            if (posted / 1000 <= second || posted > latest)
                alarm.fault = "posted at " + std::to_string(posted);
            alarm.timer.reset();
        },
        [](TAlarm &alarm) { alarm.MakeSetWaitAndDestroy(10); }, 1000);
}

TEST(TimerInterleavings, LeaveNoThreadAfterTheEndOfTheTimers) {
    ExpectNoFault(
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            alarm.timer->Set(std::chrono::milliseconds(10));
            alarm.timer.reset();
        },
        [](TAlarm &alarm) {
            alarm.timer.emplace(alarm.event);
            TReference<TThread> const thread(TThread::fsLatest);
            modelled::TMasterTimer::Shutdown();
            int const started = TThread::fsStarted;
            if (!thread->fHasEnded)
                alarm.fault = "the thread runs after Shutdown()";
            alarm.timer->Set(std::chrono::milliseconds(0));
            alarm.timer.reset();
            alarm.timer.emplace(alarm.event);
            if (TThread::fsStarted != started)
                alarm.fault = "a thread is started after Shutdown()";
            alarm.timer.reset();
        },
        300);
}
