#include "tuzutil/THREAD.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/PureCall.h"
#include "tuzutil/EXCEPTN.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

char const fsFile[] = "src/utility/THREAD";

// A body given as a function; tells when the object is gone.
class TTask : public TThread {
public:
    explicit TTask(std::function<int()> body, TSemaphore *gone = nullptr) : fBody(std::move(body)), fGone(gone) {}
    TTask(TTask const &) = default;
    ~TTask() override {
        if (fGone)
            fGone->Post();
    }
    int Run() override { return fBody(); }

private:
    std::function<int()> fBody;
    TSemaphore *fGone;
};

using TTaskReference = TReference<TTask>;

TTaskReference Task(std::function<int()> body) {
    return TTaskReference(new TTask(std::move(body)));
}

int RunToTheEnd(TTaskReference const &task) {
    EXPECT_EQ(task->Start(), 0);
    task->WaitForTermination(-1);
    EXPECT_EQ(task->IsRunning(), 0);
    return task->QueryResult();
}

class TFetch : public TThread {
public:
    int Run() override { return 17; }
};

class TWithoutBody : public TThread {};

} // namespace

TEST(Thread, Example) {
    TReference<TFetch> const fetch(new TFetch);
    ASSERT_EQ(fetch->Start(), 0);
    fetch->WaitForTermination(-1);
    EXPECT_EQ(fetch->QueryResult(), 17);
}

TEST(Thread, RunsTheBodyOnAnotherThread) {
    std::thread::id id;
    RunToTheEnd(Task([&] {
        id = std::this_thread::get_id();
        return 0;
    }));
    EXPECT_NE(id, std::thread::id());
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(Thread, RunsWhenStartReturnsAndHasTheResultMinusOneMeanwhile) {
    TSemaphore end;
    TTaskReference const task = Task([&] { return end.Wait(-1) + 5; });
    EXPECT_EQ(task->IsRunning(), 0);
    EXPECT_EQ(task->QueryResult(), 0);
    ASSERT_EQ(task->Start(), 0);
    EXPECT_EQ(task->IsRunning(), 1);
    EXPECT_EQ(task->QueryResult(), -1);
    end.Post();
    task->WaitForTermination(-1);
    EXPECT_EQ(task->IsRunning(), 0);
    EXPECT_EQ(task->QueryResult(), 5);
}

TEST(Thread, WaitReturnsAtOnceWhereNoBodyRuns) {
    TTaskReference const task = Task([] { return 1; });
    task->WaitForTermination(-1);
    RunToTheEnd(task);
    task->WaitForTermination(-1);
    task->WaitForTermination(-1);
}

TEST(Thread, WaitEndsWithItsTime) {
    TSemaphore end;
    TTaskReference const task = Task([&] { return end.Wait(-1); });
    ASSERT_EQ(task->Start(), 0);
    for (long timeout : {0L, 1L, 20L}) {
        task->WaitForTermination(timeout);
        EXPECT_EQ(task->IsRunning(), 1);
    }
    end.Post();
    task->WaitForTermination(-1);
}

TEST(Thread, MainThreadRunsTheBodyOnTheCallingThread) {
    std::thread::id id;
    int running = 0;
    TTaskReference task;
    task = Task([&] {
        id = std::this_thread::get_id();
        running = task->IsRunning();
        return 23;
    });
    EXPECT_EQ(task->MainThread(), 23);
    EXPECT_EQ(id, std::this_thread::get_id());
    EXPECT_EQ(running, 1);
    EXPECT_EQ(task->IsRunning(), 0);
    EXPECT_EQ(task->QueryResult(), 23);
    task->WaitForTermination(-1);
    EXPECT_EQ(task->QueryReferenceCount(), 1u);
}

TEST(Thread, MainThreadAgainIsWaitedForUntilItsOwnEnd) {
    std::atomic<bool> isInside{false};
    std::atomic<bool> wasInside{true};
    std::thread waiting;
    TTaskReference task;
    task = Task([&] {
        isInside = true;
        TSemaphore begun;
        waiting = std::thread([&] {
            begun.Post();
            task->WaitForTermination(-1);
            wasInside = isInside.load();
        });
        begun.Wait(-1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // long enough for a wait that returns at once
        isInside = false;
        return 0;
    });
    for (int run = 0; run < 2; ++run) {
        task->MainThread();
        waiting.join();
        EXPECT_FALSE(wasInside) << run;
    }
}

TEST(Thread, WithoutABodyTrapsAsAPureCall) {
    CallPure("class .*TWithoutBody does not override TThread::Run", [] {
        TCapture capture(TTrace::severe);
        TReference<TWithoutBody> const thread(new TWithoutBody);
        EXPECT_EQ(thread->MainThread(), 0);
        capture.ExpectOne(TTrace::severe, "Trace", "Pure virtual function called", "src/utility/PURETRAP");
    });
}

// Sanitizers may keep local variables elsewhere, but not what alloca() gives, which is on the stack in every build.
TEST(Thread, OnTheStackIsRefusedUnlessItHasAReference) {
    auto *const local = new (__builtin_alloca(sizeof(TFetch))) TFetch;
    static TFetch lasting;
    for (TThread *const thread : {static_cast<TThread *>(local), static_cast<TThread *>(&lasting)})
        ExpectThrows<TInvalidRequest>(
            {.text = "Thread object without a reference is not allocated by new", .file = fsFile},
            [&] { thread->Start(); });
    EXPECT_EQ(local->IsRunning(), 0);
    EXPECT_EQ(local->MainThread(), 17); // no other thread, and nobody's reference
    local->AddRef();
    EXPECT_EQ(local->Start(), 0);
    local->WaitForTermination(-1);
    EXPECT_EQ(local->QueryResult(), 17);
    while (local->QueryReferenceCount() != 1)
        std::this_thread::yield();
    local->~TFetch();
}

TEST(Thread, ExceptionsThatLeaveTheBodyAreTracedAndEndIt) {
    struct Row {
        char const *name;
        void (*raise)();
        char const *text;
    };
    Row const rows[] = {
        {"library's",
         [] {
             TInvalidRequest problem("broken", 3, TException::unrecoverable);
             problem.setErrorCodeGroup("Mail").addLocation(TExceptionLocation("a.cpp", "f", 9)).Throw();
         },
         "Caught: Exception TInvalidRequest, group Mail, error ID: 3 (x3), unrecoverable\n"
         "with the following text:\n  broken\nat location:\n  [a.cpp, 9] f"},
        {"without a text", [] { TException(nullptr, 1, TException::recoverable).Throw(); },
         "Caught: Exception TException, group unknown, error ID: 1 (x1), recoverable\n"
         "with the following text:\nat location:"},
        {"text with a conversion", [] { TException("%s%n", 1, TException::recoverable).Throw(); },
         "Caught: Exception TException, group unknown, error ID: 1 (x1), recoverable\n"
         "with the following text:\n  %s%n\nat location:"},
        {"by pointer",
         [] {
             static TException problem("p", 1, TException::recoverable);
             throw &problem;
         },
         "Caught unknown exception"},
        {"standard", [] { throw std::runtime_error("x"); }, "Caught unknown exception"},
        {"number", [] { throw 5; }, "Caught unknown exception"},
        {"null", [] { throw nullptr; }, "Caught unknown exception"},
    };
    for (Row const &row : rows) {
        SCOPED_TRACE(row.name);
        TCapture capture(TTrace::severe | TTrace::error);
        TTaskReference const task = Task([&] {
            row.raise();
            return 0;
        });
        EXPECT_EQ(RunToTheEnd(task), -1);
        capture.ExpectOne(TTrace::severe, "Utility", row.text, fsFile);
        EXPECT_EQ(task->MainThread(), -1);
        capture.ExpectOne(TTrace::severe, "Utility", row.text, fsFile);
    }
}

TEST(Thread, ExceptionsAreSilentWhereNobodyListens) {
    TCapture capture(TTrace::error);
    EXPECT_EQ(RunToTheEnd(Task([]() -> int { throw TException("x", 1, TException::recoverable); })), -1);
    capture.ExpectNone();
}

TEST(Thread, StandardStackWhateverSizeWasSet) {
    for (unsigned long size : {1ul, 65536ul, 1048576ul}) {
        TTaskReference const task = Task([] {
            char volatile room[384 * 1024];
            for (std::size_t i = 0; i < sizeof room; i += 1024)
                room[i] = static_cast<char>(i / 1024);
            return static_cast<int>(room[7 * 1024]);
        });
        task->SetStackSize(size);
        EXPECT_EQ(RunToTheEnd(task), 7);
    }
}

TEST(Thread, ObjectLivesAsLongAsItsBodyAndDiesWithItsThread) {
    TSemaphore gone;
    TSemaphore end;
    TTaskReference task(new TTask([&] { return end.Wait(-1); }, &gone));
    ASSERT_EQ(task->Start(), 0);
    EXPECT_EQ(task->QueryReferenceCount(), 2u);
    task = nullptr;
    EXPECT_EQ(gone.Wait(0), 1);
    end.Post();
    EXPECT_EQ(gone.Wait(20000), 0);
}

TEST(Thread, ObjectMayDieBeforeStartReturns) {
    for (int i = 0; i < 500; ++i) {
        TSemaphore gone;
        TTaskReference task;
        TTask *const raw = new TTask(
            [&] {
                task = nullptr; // the starter's own reference is the last but the thread's
                return 0;
            },
            &gone);
        task = raw;
        ASSERT_EQ(raw->Start(), 0);
        ASSERT_EQ(gone.Wait(20000), 0);
    }
}

#if defined(NDEBUG)
TEST(Thread, ObjectThatNobodyRefersToIsDeletedWhenItsBodyEnds) {
    TSemaphore gone;
    TSemaphore end;
    auto *const task = new TTask([&] { return end.Wait(-1); }, &gone);
    ASSERT_EQ(task->Start(), 0);
    EXPECT_EQ(gone.Wait(0), 1);
    end.Post();
    EXPECT_EQ(gone.Wait(20000), 0);
}
#else
TEST(ThreadDeathTest, ObjectThatNobodyRefersToIsNotStarted) {
    auto const task = std::make_unique<TTask>([] { return 0; });
    EXPECT_DEATH(task->Start(), "QueryReferenceCount");
}
#endif

TEST(Thread, ManyThreadsEachRunOnce) {
    std::atomic<int> runs{0};
    std::vector<TTaskReference> tasks;
    for (int i = 0; i < 50; ++i) {
        tasks.push_back(Task([&] { return ++runs; }));
        ASSERT_EQ(tasks.back()->Start(), 0);
    }
    for (TTaskReference const &task : tasks)
        task->WaitForTermination(-1);
    EXPECT_EQ(runs, 50);
}

TEST(Thread, WhatTheBodyDidIsSeenAfterTheWait) {
    for (int i = 0; i < 500; ++i) {
        int before = i;
        int after = 0;
        RunToTheEnd(Task([&] { return after = before + 1; }));
        ASSERT_EQ(after, i + 1);
    }
}

// A wait that begins while the thread is being started must not take the signal of the start for that of the end; nor
// may the end be lost where the body ends before the starter is awake.
TEST(Thread, OthersWaitForTheEndAndNotForTheStart) {
    int const runs = 300;
    for (int i = 0; i < runs; ++i) {
        std::atomic<bool> done{false};
        std::atomic<int> early{0};
        TTaskReference const task = Task([&] {
            if (i % 2)
                std::this_thread::yield();
            done = true;
            return 0;
        });
        std::vector<std::thread> watchers;
        for (int w = 0; w < 2; ++w) {
            watchers.emplace_back([&] {
                while (!task->IsRunning() && !done)
                    std::this_thread::yield();
                task->WaitForTermination(-1);
                early += !done;
            });
        }
        ASSERT_EQ(task->Start(), 0);
        for (std::thread &watcher : watchers)
            watcher.join();
        ASSERT_EQ(early, 0) << i;
        task->WaitForTermination(-1);
    }
}

// The next run begins as soon as the end of the last can be seen; the last one's signal must not end the wait for it.
TEST(Thread, RestartsAndWaitsForTheRightEnd) {
    int run = 0;
    TTaskReference const task = Task([&] {
        std::this_thread::yield();
        return ++run;
    });
    for (int i = 1; i <= 1000; ++i) {
        ASSERT_EQ(task->Start(), 0);
        if (i % 3 == 0) {
            while (task->IsRunning())
                std::this_thread::yield();
        } else {
            task->WaitForTermination(-1);
        }
        ASSERT_EQ(task->IsRunning(), 0);
        ASSERT_EQ(task->QueryResult(), i);
    }
}

TEST(Thread, RestartsAfterAnException) {
    bool fail = true;
    TTaskReference const task = Task([&] {
        if (fail)
            throw 1;
        return 9;
    });
    EXPECT_EQ(RunToTheEnd(task), -1);
    fail = false;
    EXPECT_EQ(RunToTheEnd(task), 9);
}

TEST(Thread, CopiesHaveTheirOwnRuns) {
    auto const awaitLastSteps = [](TThread const &thread) { // where it drops its reference
        while (thread.QueryReferenceCount() != 1)
            std::this_thread::yield();
    };
    int runs = 0;
    TTaskReference const task = Task([&] { return ++runs; });
    EXPECT_EQ(RunToTheEnd(task), 1);
    awaitLastSteps(*task);
    TTask copy(*task); // the count is copied too: 1, of nobody
    EXPECT_EQ(copy.QueryResult(), 1);
    EXPECT_EQ(copy.IsRunning(), 0);
    ASSERT_EQ(copy.Start(), 0);
    copy.WaitForTermination(-1);
    EXPECT_EQ(copy.QueryResult(), 2);
    EXPECT_EQ(task->QueryResult(), 1);
    awaitLastSteps(copy);
    TTask other([] { return 0; });
    other = copy;
    EXPECT_EQ(other.QueryResult(), 2);
    EXPECT_EQ(other.MainThread(), 3);
}
