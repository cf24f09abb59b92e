#ifndef TUZUTIL_TESTS_ROOF_FAILING_CALLS_H
#define TUZUTIL_TESTS_ROOF_FAILING_CALLS_H

// The tests of failing calls of the system, for the suites failing_calls_*. Each suite includes this file once, and
// supplies operations.
//
// Every operation is run again and again, and each of its calls of the system is made to fail: once this call alone,
// and once this call and all later ones. The operation must report the failure as the headers say, and only the calls
// that the operation names as harmless may fail without a report. Nothing may stay open, mapped, allocated, running or
// half written, and the next try must succeed. Then a signal interrupts each call, or each call moves half of its
// bytes. In these two cases, the operation must succeed. Signals interrupt calls only on Linux.

#include "support/CaptureTrace.h"
#include "support/FailingCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#if defined(_WIN32)
#include "failing_calls_win32.h"
#else
#include "failing_calls_posix.h"
#endif

// The sanitizers replace the allocator themselves, and count the bytes that are allocated. The thread sanitizer
// allocates for its own purposes, so the heap is not compared if it is used.
#if defined(__SANITIZE_ADDRESS__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#elif !defined(__SANITIZE_THREAD__)
#include "support/FailingMemory.h"
#endif

// The outcome of an operation: it succeeded, it reported a failure, or it claimed success although its result is wrong.
enum TOutcome { done, reported, wrong };

struct TOperation {
    char const *name;
    TOutcome (*run)();
    std::set<std::string> harmless = {}; // the calls whose failure need not be reported, because nothing is lost
    bool isInterrupted = false;          // whether signals can interrupt some of its calls
    bool movesBytes = false;             // whether some of its calls can move fewer bytes than they are asked to
    bool isRepeated = true; // false if an interrupted call is reported, because the standard library made it
};

inline void PrintTo(TOperation const &operation, std::ostream *out) {
    *out << operation.name;
}

// The operation stores the error number that it was told here. It must be that of the call that failed.
inline int fsToldError = 0;

inline std::string Name(char const *kind) {
    return "tuzutil.failing." + std::to_string(ProcessNumber()) + "." + kind;
}

inline TTempFolder const &Folder() {
    static TTempFolder const folder;
    return folder;
}

inline void Remove(char const *name) {
    calls::TOwn const own;
    std::filesystem::remove_all(Folder().Native(name));
}

// Returns how many calls of these functions have failed.
inline long CountFailed(names::TNames functions) {
    long count = 0;
    for (char const *const name : functions)
        count += calls::Failed(name);
    return count;
}

// Returns whether an entry was captured that begins with a text.
inline bool HasTraced(TCapture &capture, std::string_view text) {
    bool isThere = false;
    for (TSeenEntry const &entry : capture.Entries())
        isThere = isThere || std::string_view(entry.text).substr(0, text.size()) == text;
    return isThere;
}

// Everything that an operation could leave behind.
struct THoldings {
    THoldings() {
        threads = CountThreads();
        files = CountHandles();
        mappings = CountMappings();
        for (auto const &each : std::filesystem::recursive_directory_iterator(Folder().Native("")))
            names.insert(each.path().string());
    }

    // The number of blocks, or of bytes if the sanitizers count them. It is asked for before the other members are
    // filled, because they need memory.
    static std::size_t Heap() {
#if defined(__SANITIZE_ADDRESS__)
        return __sanitizer_get_current_allocated_bytes();
#elif defined(__SANITIZE_THREAD__)
        return 0;
#else
        return static_cast<std::size_t>(memory::LiveBlocks());
#endif
    }

    std::size_t threads = 0;
    std::size_t files = 0;
    std::size_t mappings = 0;
    std::set<std::string> names;
};

// Waits until the threads have ended that end by themselves. Gives up after many seconds.
inline void AwaitThreads(std::size_t expected) {
    for (int i = 0; i < 30000 && CountThreads() > expected; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

class FailingCalls : public testing::TestWithParam<TOperation> {
protected:
    FailingCalls() {
        [[maybe_unused]] static bool const isPrepared = (Prepare(), true);
        Folder().AddFile("listed\\one");
        Folder().AddFile("listed\\two");
        Folder().AddFolder("listed\\sub");
    }

    TOwnObjects const fObjects{Folder()};

#if defined(_WIN32)
    void TearDown() override {
        EXPECT_STREQ(calls::UnknownLookup(), nullptr);
    }
#endif

    // If a thread of the operation still ran when the next one starts, the C library would need another stack, which it
    // keeps.
    TOutcome Run() {
        fsToldError = 0;
        TOutcome const outcome = GetParam().run();
        calls::TOwn const own;
        AwaitThreads(fThreads);
        return outcome;
    }

    // Runs the operation while no call fails.
    TOutcome RunInPeace() {
        calls::FailOnly(0, calls::Kind::error);
        TOutcome const outcome = Run();
        calls::Stop();
        return outcome;
    }

    // Writes the names of the functions that failed in FailEach() into the results of the tests. The test symbols.calls
    // reads them there.
    void RecordFailed() {
        std::string all;
        for (std::string const &each : fFailed)
            all.append(all.empty() ? "" : ",").append(each);
        RecordProperty("failed", all);
    }

    // Runs the operation with a failure at its first call, then at its second call, and so on. Stops when the operation
    // makes fewer calls than that. Returns the number of calls that failed.
    long FailEach(void (*fail)(long, calls::Kind) noexcept, calls::Kind kind, bool mayFail) {
        for (int i = 0; i < 3; ++i) // the library makes the objects that it keeps until the process ends
            EXPECT_EQ(RunInPeace(), done);
        // One failure before the heap is counted, because the C library keeps the text of its loader's last error.
        fail(1, kind);
        Run();
        calls::Stop();
        EXPECT_EQ(RunInPeace(), done);
        std::string what;
        what.reserve(1000);
        THoldings const before;
        std::set<std::string> silent; // the calls whose failure was not reported
        std::size_t heap = 0;
        std::size_t last = THoldings::Heap();
        for (long number = 1;; ++number) {
            fail(number, kind);
            TOutcome const outcome = Run();
            long const counted = calls::Stop();
            what = "call " + std::to_string(number) + ", " + calls::LastFailed();
            EXPECT_NE(outcome, wrong) << what;
            EXPECT_TRUE(mayFail || outcome == done) << what;
            if (counted >= number) {
                std::size_t const own = THoldings::Heap();
                for (std::size_t i = 0; char const *const failed = calls::FailedAt(i); ++i)
                    fFailed.insert(failed);
                if (outcome == done)
                    silent.insert(calls::LastFailed());
                last += THoldings::Heap() - own;
            }
            if (fail == calls::FailOnly && outcome == reported && fsToldError != 0) {
                EXPECT_EQ(fsToldError, calls::LastError()) << what;
            }
            bool const leavesFiles = CountFailed(names::removals) != 0;
            bool const isOver = counted < number;
            EXPECT_EQ(RunInPeace(), done) << "after " << what;
            {
                if (leavesFiles)
                    RemoveUnfinished(Folder());
                THoldings const after;
                EXPECT_EQ(after.threads, before.threads) << what;
                EXPECT_EQ(after.files, before.files) << what;
                EXPECT_EQ(after.mappings, before.mappings) << what;
                EXPECT_EQ(after.names, before.names) << what;
            }
            heap = THoldings::Heap();
            if (!HasFailure()) { // which is in the heap too
                EXPECT_LE(heap, last) << what << ", leaves blocks in the heap";
            }
            last = std::max(heap, last);
            if (isOver) {
                EXPECT_EQ(outcome, done);
                if (mayFail && fail == calls::FailOnly) {
                    EXPECT_EQ(silent, GetParam().harmless);
                }
                return number - 1;
            }
            if (HasFailure())
                return number;
        }
    }

private:
    // The number of threads while no operation runs. The thread sanitizer has a thread of its own, and starts it when
    // the first thread is made. GoogleTest has one on Windows, and starts it when the first trace is noted.
    static std::size_t ThreadsInPeace() {
        SCOPED_TRACE("");
        std::thread([] {}).join();
        static std::size_t const count = [] {
            // The system may list a thread for a moment after it was joined.
            std::size_t least = CountThreads();
            for (int i = 0; i < 100; ++i) {
                std::this_thread::yield();
                least = std::min(least, CountThreads());
            }
            return least;
        }();
        return count;
    }

    std::size_t const fThreads = ThreadsInPeace();
    std::set<std::string> fFailed; // the functions that have failed in FailEach()
};

TEST_P(FailingCalls, AreToldWhenOneFails) {
    EXPECT_GT(FailEach(calls::FailOnly, calls::Kind::error, true), 0);
    RecordFailed();
}

TEST_P(FailingCalls, AreToldWhenAllFromOneOnFail) {
    EXPECT_GT(FailEach(calls::FailFrom, calls::Kind::error, true), 0);
    RecordFailed();
}

#if !defined(_WIN32)
TEST_P(FailingCalls, AreRepeatedIfASignalInterruptsThem) {
    EXPECT_EQ(FailEach(calls::FailOnly, calls::Kind::interrupted, !GetParam().isRepeated) > 0,
              GetParam().isInterrupted);
}
#endif

TEST_P(FailingCalls, GoOnAfterHalfOfTheBytes) {
    EXPECT_EQ(FailEach(calls::FailOnly, calls::Kind::partial, false) > 0, GetParam().movesBytes);
}

inline std::string NameOf(testing::TestParamInfo<TOperation> const &each) {
    return each.param.name;
}

#endif
