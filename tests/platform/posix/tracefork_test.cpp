// A process that forks while its other threads trace.

#include "platform/posix/InChild.h"
#include "support/CaptureTrace.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"

#include <atomic>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TTrace::Category const fsSession(8, "Session");

} // namespace

#if defined(__SANITIZE_THREAD__)
// A child of a fork does not have the threads of its parent. The thread sanitizer reports them as never joined there.
extern "C" __attribute__((visibility("default"))) char const *__tsan_default_options();
char const *__tsan_default_options() {
    return "report_thread_leaks=0";
}
#endif

namespace {

class TCountingObserver : public TTraceNotify {
public:
    TCountingObserver() : TTraceNotify(joinsLater) { Join(); }
    ~TCountingObserver() override { Leave(); }
    void Notify() override { ++count; }
    int count = 0;
};

// What a thread does to destinations and observers until it is told to stop.
void Disturb(std::atomic<bool> const &stop) {
    while (!stop) {
        TCapture passing(4, 8);
        TCountingObserver const observer;
        passing.trace.AddCategory(fsSession, 1);
        TTracePoint::Write(TTrace::error, fsSession, "file", "%d", 17);
        { TTrace::SaveState const saved(passing.trace, 8, fsSession); }
        passing.trace.RemoveCategory(fsSession);
    }
}

// What the child does; 0 where all of it worked.
int TraceInChild(TCapture &stays) {
    std::size_t const before = stays.Entries().size();
    TTracePoint::Write(TTrace::error, fsSession, "file", "child");
    if (stays.Entries().size() != before + 1 || stays.Entries().back().text != "child")
        return 1;
    TCountingObserver const observer;
    {
        TCapture own(8, 8);
        own.trace.AddCategory(fsSession, 0);
        TTracePoint::Write(TTrace::error, fsSession, "file", "again");
        if (!own.Entries().empty())
            return 2;
    }
    return observer.count == 4 ? 0 : 3; // two words when it came, and when it went
}

} // namespace

TEST(TraceFork, TheChildTracesWhateverTheOtherThreadsWereDoing) {
    TCapture stays(4, 8);
    std::atomic<bool> stop{false};
    std::vector<std::thread> others;
    for (int i = 0; i < 3; ++i)
        others.emplace_back([&] { Disturb(stop); });
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(InChild([&] { return TraceInChild(stays); }), 0) << "round " << i;
    }
    stop = true;
    for (std::thread &other : others)
        other.join();
}

TEST(TraceFork, TheChildFindsNoEntryHalfWritten) {
    class TSlow : public TTrace::Base {
    public:
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
            isHalf = true;
            begun.Post();
            ::usleep(100000);
            isHalf = false;
        }
        std::atomic<bool> isHalf{false};
        TSemaphore begun;
    };
    TTrace trace;
    auto *const destination = new TSlow;
    trace.QueryPointer() = TTrace::Pointer(destination);
    std::thread writer([] { TTracePoint::Write(TTrace::error, fsSession, "file", "text"); });
    destination->begun.Wait(-1);
    EXPECT_EQ(InChild([&] { return destination->isHalf ? 1 : 0; }), 0);
    writer.join();
}

TEST(TraceFork, ADestinationMayForkWhileItWrites) {
    class TForking : public TTrace::Base {
    public:
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
            levelInChild = InChild([this] {
                SetLevel(8);
                return static_cast<int>(QueryLevel());
            });
        }
        int levelInChild = -1;
    };
    TTrace trace;
    auto *const destination = new TForking;
    trace.QueryPointer() = TTrace::Pointer(destination);
    TTracePoint::Write(TTrace::error, fsSession, "file", "text");
    EXPECT_EQ(destination->levelInChild, 8);
    // The lock is free again: another thread gets it.
    std::thread([&] { trace.SetLevel(2); }).join();
    EXPECT_EQ(trace.QueryLevel(), 2u);
}

TEST(TraceFork, ADestinationMaySetTimersWhileAnotherThreadForks) {
    class TArming : public TTrace::Base {
    public:
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
            begun.Post();
            ::usleep(50000); // by then the other one has begun to fork
            timer.Set(1000);
        }
        TSemaphore begun;
        TTimer timer{TReference<TSemaphore>(new TSemaphore)};
    };
    // Where both wait for each other, it is a child that does not end.
    EXPECT_EQ(InChild([] {
                  TTrace trace;
                  auto *const destination = new TArming;
                  trace.QueryPointer() = TTrace::Pointer(destination);
                  std::thread writer([] { TTracePoint::Write(TTrace::error, fsSession, "file", "text"); });
                  destination->begun.Wait(-1);
                  int const result = InChild([&] {
                      destination->timer.Set(100);
                      return destination->timer.QueryTimeLeft() > 50 ? 17 : 18;
                  });
                  writer.join();
                  return result;
              }),
              17);
}
