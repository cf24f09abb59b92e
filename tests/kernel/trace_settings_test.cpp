// Rules of tracing that hold between its parts: levels, stopping, saved settings, observers, threads.

#include "support/CaptureTrace.h"
#include "support/Module.h"
#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

TTrace::Category const fsSession(8, "Session");
TTrace::Category const fsUtility(1, "Other");

// An observer that counts, and does something besides.
class TObserver : public TTraceNotify {
public:
    void Notify() override {
        ++count;
        if (act)
            act();
    }
    int count = 0;
    void (*act)() = nullptr;
};

} // namespace

// Levels

TEST(TTraceLevel, NamedOnesHaveTheirBits) {
    EXPECT_EQ(TTrace::severe, 0x2u);
    EXPECT_EQ(TTrace::error, 0x4u);
    EXPECT_EQ(TTrace::warning, 0x8u);
    EXPECT_EQ(TTrace::information, 0x10u);
    EXPECT_EQ(TTrace::exception, 0x400u);
    EXPECT_EQ(TTrace::functionEntry, 0x1000u);
    EXPECT_EQ(TTrace::functionExit, 0x2000u);
    EXPECT_EQ(TTrace::trap, 0x100000u);
}

TEST(TTraceLevel, EachBitReachesThoseThatListenToItOnly) {
    for (std::uint32_t level = 1; level != 0; level <<= 1) {
        TCapture only(level, 8);
        TCapture others(~level & 0xFFFFFFFFul, 8);
        TTracePoint::Write(level, fsSession, "file", "text");
        EXPECT_EQ(others.Entries().size(), 0u) << level;
        ASSERT_EQ(only.Entries().size(), 1u) << level;
        EXPECT_EQ(only.Entries()[0].level, level);
    }
}

TEST(TTraceLevel, ANewDestinationListensToFive) {
    TTrace trace;
    auto *const destination = new TCaptureDestination;
    trace.QueryPointer() = TTrace::Pointer(destination);
    for (std::uint32_t level = 1; level != 0; level <<= 1)
        TTracePoint::Write(level, fsSession, "file", "text");
    std::vector<unsigned long> seen;
    for (TSeenEntry const &entry : destination->entries)
        seen.push_back(entry.level);
    EXPECT_EQ(seen, (std::vector<unsigned long>{0x1, 0x2, 0x4, 0x8, 0x10000}));
}

// The trap

TEST(TraceTrap, WithoutTheComponentNothingIsWritten) {
    TCapture capture(0x100002, 0xFFFFFFFE);
    EXPECT_EQ(TPureCall::Trap(), 0);
    capture.ExpectNone();
}

TEST(TraceTrap, WithoutTheLevelNothingIsWritten) {
    TCapture capture(0xFFEFFFFD, 1);
    EXPECT_EQ(TPureCall::Trap(), 0);
    capture.ExpectNone();
}

TEST(TraceTrapDeathTest, TheEntryIsWrittenBeforeTheProcessStops) {
    class TPrinting : public TTrace::Base {
    public:
        TPrinting() : Base(0x100002, 1) {}
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &message) override {
            std::fprintf(stderr, "written: %s\n", static_cast<char const *>(message));
            std::fflush(stderr);
        }
    };
    EXPECT_DEATH(
        {
            TTrace trace;
            trace.QueryPointer() = TTrace::Pointer(new TPrinting);
            TPureCall::Trap();
        },
        "written: Pure virtual function called");
}

// Settings

TEST(TTraceSettings, AreReadBack) {
    TCapture capture;
    TTrace &trace = capture.trace;
    for (int const value : {0, 1, 7, -1}) {
        trace.SetDisplayPrefix(value);
        EXPECT_EQ(trace.QueryDisplayPrefix(), value);
        EXPECT_EQ(capture->QueryDisplayPrefix(), value);
        trace.SetDisableRestore(value);
        EXPECT_EQ(trace.QueryDisableRestore(), value);
        EXPECT_EQ(capture->QueryDisableRestore(), value);
        trace.SetDefaultTracing(value);
        EXPECT_EQ(trace.QueryDefaultTracing(), value);
        EXPECT_EQ(capture->QueryDefaultTracing(), value);
    }
    EXPECT_EQ(trace.QueryLevel(), 0xFFFFFFFFu); // nothing else has changed
    EXPECT_EQ(trace.StillTracing(), 1);
}

TEST(TTraceSettings, OneMatchingDestinationIsEnough) {
    TCapture deaf(0x10, 8);
    TCapture hears(4, 8);
    TCapture alsoDeaf(4, 2);
    EXPECT_TRUE(TTrace::IsGlobalTracing(4, 8, fsSession));
    hears.trace.AddCategory(fsSession, 0);
    EXPECT_TRUE(TTrace::IsGlobalTracing(4, 8));
    EXPECT_FALSE(TTrace::IsGlobalTracing(4, 8, fsSession));
    deaf.trace.SetLevel(0x14);
    EXPECT_TRUE(TTrace::IsGlobalTracing(4, 8, fsSession));
    EXPECT_TRUE(deaf.trace.IsTracing(4, 8, fsSession));
    EXPECT_FALSE(hears.trace.IsTracing(4, 8, fsSession));
    EXPECT_FALSE(alsoDeaf.trace.IsTracing(4, 8, fsSession));
}

// Saved settings

TEST(TTraceSaved, NothingIsRestoredWhereThatIsDisabled) {
    TCapture capture(4, 1);
    {
        TTrace::SaveState const saved(capture.trace, 8, fsSession);
        capture.trace.SetComponent(0x10);
        capture.trace.SetDefaultTracing(0);
        capture.trace.SetDisableRestore(1);
    }
    EXPECT_EQ(capture.trace.QueryLevel(), 8u);
    EXPECT_EQ(capture.trace.QueryComponent(), 0x10u);
    EXPECT_EQ(capture.trace.QueryDefaultTracing(), 0);
    EXPECT_EQ(capture.trace.UsesDefault(fsSession), 1);
    EXPECT_EQ(capture.trace.QueryCountSaveState(), 0u);
}

TEST(TTraceSaved, ComponentAndDefaultAreRestoredToo) {
    TCapture capture(4, 1);
    {
        TTrace::SaveState const saved(capture.trace);
        EXPECT_EQ(capture.trace.QueryCountSaveState(), 1u);
        capture.trace.SetComponent(0x10);
        capture.trace.SetDefaultTracing(0);
    }
    EXPECT_EQ(capture.trace.QueryComponent(), 1u);
    EXPECT_EQ(capture.trace.QueryDefaultTracing(), 1);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 1u);
}

TEST(TTraceSaved, AssignmentTakesTheSettingsAndAReference) {
    TTrace first, second;
    first.QueryPointer() = TTrace::Pointer(new TCaptureDestination(4, 1));
    second.QueryPointer() = TTrace::Pointer(new TCaptureDestination(8, 2));
    auto const references = [](TTrace &trace) { return trace.QueryPointer()->QueryReferenceCount(); };
    {
        TTrace::SaveState target(second);
        {
            TTrace::SaveState const source(first);
            EXPECT_EQ(references(first), 2u);
            EXPECT_EQ(references(second), 2u);
            target = source;
            EXPECT_EQ(references(first), 3u);
            EXPECT_EQ(references(second), 1u);
        }
        first.SetLevel(0x10);
        second.SetLevel(0x20);
        EXPECT_EQ(first.QueryCountSaveState(), 0u);
    }
    EXPECT_EQ(first.QueryLevel(), 4u);     // by the one that was assigned to
    EXPECT_EQ(second.QueryLevel(), 0x20u); // nobody's any more
    EXPECT_EQ(first.QueryCountSaveState(), 0xFFFFFFFFu);
    EXPECT_EQ(second.QueryCountSaveState(), 1u);
    EXPECT_EQ(references(first), 1u);
}

// Exit records

TEST(TTraceExitForms, TwoToFiveArguments) {
    TCapture capture(TTrace::functionExit);
    auto const text = [&](auto... values) {
        {
            TTraceExit exit(fsSession);
            exit.SetFormatMsg("%d %d %d %d %d");
            exit.SetArgs(TagVar(values)...);
        }
        return capture.Entries().back().text;
    };
    EXPECT_EQ(text(1, 2), "1 2 0 0 0");
    capture.trace.SetLevel(TTrace::functionExit);
    EXPECT_EQ(text(1, 2, 3), "1 2 3 0 0");
    EXPECT_EQ(text(1, 2, 3, 4), "1 2 3 4 0");
    EXPECT_EQ(text(1, 2, 3, 4, 5), "1 2 3 4 5");
}

TEST(TTraceExitForms, AssignmentSharesTheMessageAndTakesTheCategory) {
    TCapture capture(TTrace::functionExit);
    {
        TTraceExit source(fsSession);
        source.SetFormatMsg("rc=%d");
        source.SetArgs(TagVar(1));
        TTraceExit target(fsUtility);
        target.SetFormatMsg("never written");
        target = source;
        target.SetRC(TagVar(3));
    }
    ASSERT_EQ(capture.Entries().size(), 2u);
    for (TSeenEntry const &entry : capture.Entries()) {
        EXPECT_EQ(entry.category, "Session");
        EXPECT_EQ(entry.text, "rc=3");
    }
}

// Observers

TEST(TTraceObserver, IsToldOnceOfAWordThatAProgramSets) {
    TObserver observer;
    TTrace::SetGlobalComponent(4);
    EXPECT_EQ(observer.count, 1);
    TTrace::SetGlobalComponent(4);
    EXPECT_EQ(observer.count, 2);
    TTrace::SetGlobalLevel(4);
    EXPECT_EQ(observer.count, 3);
    TTrace::SetGlobalTracing();
    EXPECT_EQ(observer.count, 5);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 0u);
}

TEST(TTraceObserver, MayTrace) {
    TCapture capture(4, 8);
    TObserver observer;
    observer.act = [] { TTracePoint::Write(TTrace::error, fsSession, "file", "told"); };
    TTrace::SetGlobalTracing();
    EXPECT_EQ(observer.count, 2);
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[1].text, "told");
    observer.act = nullptr;
}

TEST(TTraceObserver, MayTraceWhileOtherThreadsChangeAndWrite) {
    TCapture capture(4, 8);
    TObserver observer;
    observer.act = [] { TTracePoint::Write(TTrace::error, fsSession, "file", "told"); };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 50; ++k) {
                TCapture passing(2, 8);
                TTracePoint::Write(TTrace::error, fsSession, "file", "text");
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    observer.act = nullptr;
    EXPECT_EQ(observer.count, 3 * 50 * 4);
    EXPECT_EQ(capture.Entries().size(), 3u * 50 * 5);
}

// Threads

TEST(TTraceThreads, ALevelThatIsSetWhileTracingStopsStaysOff) {
    for (int round = 0; round < 200; ++round) {
        TCapture capture(4, 8);
        std::atomic<bool> go{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([&, i] {
                while (!go)
                    std::this_thread::yield();
                for (unsigned long level = 1; level < 20; ++level) {
                    if (i == 0)
                        capture.trace.SetLevel(level);
                    else
                        capture.trace.SetComponent(level);
                }
            });
        }
        go = true;
        capture->StopTracing();
        for (std::thread &thread : threads)
            thread.join();
        ASSERT_EQ(capture.trace.QueryLevel(), 0u) << round;
        ASSERT_EQ(capture.trace.QueryComponent(), 0u) << round;
        ASSERT_EQ(TTrace::QueryGlobalLevel(), 0u) << round;
        ASSERT_EQ(TTrace::QueryGlobalComponent(), 0u) << round;
    }
}

TEST(TTraceThreads, ALibraryMayRegisterItsCategoriesWhileEntriesAreWritten) {
    TCapture capture(4, 8);
    std::atomic<bool> stop{false};
    std::atomic<int> written{0};
    std::thread writer([&] {
        while (!stop) {
            TTracePoint::Write(TTrace::error, fsSession, "file", "text");
            TTrace::FindCategory("no such category");
            ++written;
        }
    });
    while (written < 10)
        std::this_thread::yield();
    EXPECT_EQ(TTrace::FindCategory("Loaded"), nullptr);
    EXPECT_TRUE(TModule("category_module", false).IsLoaded());
    int const before = written;
    while (written < before + 10)
        std::this_thread::yield();
    stop = true;
    writer.join();
    TTrace::Category const *const loaded = TTrace::FindCategory("Loaded");
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->QueryComponent(), 8u);
    EXPECT_EQ(capture.Entries().size(), static_cast<std::size_t>(written.load()));
}
