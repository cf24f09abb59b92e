// Forks while other threads use what the library guards by locks. The child must find all of it complete.

#include "platform/posix/InChild.h"
#include "support/CaptureTrace.h"
#include "support/TempFolder.h"
#include "tuzutil/DIRECTRY.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/SHAREMEM.h"
#include "tuzutil/THREAD.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TREFCNT.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <pthread.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TTrace::Category const fsSession(8, "Session");

class TStream : public TTraceStreamBase {
public:
    TStream() : TTraceStreamBase(new std::ostringstream) {}
    void Renew() { SetStream(new std::ostringstream); }
};

class TFile : public TTraceSharedFileBase {
public:
    explicit TFile(char const *name) : TTraceSharedFileBase(name) {}
};

// What all tests and all their threads use.
struct TShared {
    TCapture capture{4, 8};
    TStream stream;
    TReference<TSemaphore> event{new TSemaphore};
    TTempFolder folder;
    TMutexSemaphore lock;
    std::string blockName = Name("block");
    std::string lockName = Name("lock");
    TMutexSemaphore named{lockName.c_str()};
    ipcSharedMemory block{blockName.c_str(), 10};

    TShared() { folder.AddFile("searched\\entry"); }

private:
    // A name that is this test's in this folder, the same in every run.
    static std::string Name(char const *what) {
        return std::string("tuzutil.forklocks.") + what + "." +
               testing::UnitTest::GetInstance()->current_test_info()->name() + "." +
               std::to_string(std::hash<std::string>()(std::filesystem::current_path().string()));
    }
};

class TLoader : public TFactoryLoaderBase {};

class TStore : public TTextMessageStore {
public:
    explicit TStore(TTextMessage::StoreID const &id) : TTextMessageStore(id) {}
    using TTextMessageStore::GetMsg;
    TString GetMsg(long, long, int) override { return "kept text"; }
};

TTextMessage::StoreID const fsMail(TString("ForkedMail"), ExplicitInit);
TStore fsStore(fsMail);
TLoader fsLoader;
int fsFactory = 0;
struct TRegistered {
    TRegistered() { fsLoader.Add(TFactoryType("registered[none]"), &fsFactory); }
} const fsRegistered;

class TObserver : public TTraceNotify {
public:
    TObserver() : TTraceNotify(joinsLater) { Join(); }
    ~TObserver() override { Leave(); }
    void Notify() override {}
};

class TCounted : public TWeakRefCounted {};

class TShortThread : public TThread {
public:
    int Run() override { return 17; }
};

// Something that the library does under a lock. `run` returns whether its result is right.
struct TWork {
    char const *name;
    bool (*run)(TShared &shared);
    bool waitsForTheFork; // whether it begins only after a fork that another thread has begun
};

TWork const fsWorks[] = {
    {"destinations", [](TShared &) { return std::make_unique<TCapture>(4, 8)->trace.QueryLevel() == 4; }, true},
    {"traces",
     [](TShared &) {
         TTracePoint::Write(TTrace::error, fsSession, "file", "%d", 17);
         return true;
     },
     true},
    {"observers",
     [](TShared &) {
         auto const observer = std::make_unique<TObserver>(); // the child reuses the stacks of other threads
         return true;
     },
     true},
    {"timers",
     [](TShared &shared) {
         auto const timer = std::make_unique<TTimer>(shared.event);
         timer->Set(1000);
         return timer->QueryTimeLeft() > 500;
     },
     true},
    {"categories",
     [](TShared &) {
         auto const category = std::make_unique<TTrace::Category>(16, "Forked");
         return true;
     },
     true},
    {"streams of destinations",
     [](TShared &shared) {
         shared.stream.Renew();
         shared.stream.Write(TTrace::error, fsSession, TTextMessage("text"));
         return shared.stream.QueryOpenError() == 0;
     },
     true},
    {"message stores",
     [](TShared &) {
         return TTextMessage(fsMail, 1, 17, "default").QueryMessage() == TString("kept text") &&
                TTextMessageStore::Find(fsMail) == &fsStore;
     },
     true},
    {"library directories",
     [](TShared &) {
         TFactoryLoaderBase::AddLibpath("dir");
         return true;
     },
     true},
    {"registered factories",
     [](TShared &) {
         static std::atomic<int> count{0};
         TFactoryType const other(("other" + std::to_string(++count) + "[none]").c_str());
         fsLoader.Add(other, &fsFactory);
         fsLoader.Remove(other);
         return fsLoader.Find(0) == &fsFactory;
     },
     true},
    {"directory searches",
     [](TShared &shared) {
         TString name;
         TDirectory(shared.folder.Name("searched").c_str()).FindFirst(nullptr, &name);
         return name == TString("entry");
     },
     true},
    {"new locks", [](TShared &) { return TMutexSemaphore().GetHandle() != nullptr; }, true},
    {"new named locks", [](TShared &shared) { return TMutexSemaphore(shared.lockName.c_str()).GetHandle() != nullptr; },
     true},
    {"blocks", [](TShared &shared) { return ipcSharedMemory(shared.blockName.c_str()).rdstate() == 0; }, true},
    {"locks", [](TShared &shared) { return TMutexSemaphoreEntry(shared.lock, -1).State() == TMutexSemaphore::Locked; },
     false},
    {"named locks",
     [](TShared &shared) { return TMutexSemaphoreEntry(shared.named, -1).State() == TMutexSemaphore::Locked; }, false},
    {"events",
     [](TShared &) {
         TSemaphore event;
         event.Post();
         return event.Wait(0) == 0;
     },
     false},
    {"counted objects",
     [](TShared &) {
         TReference<TCounted> const first(new TCounted);
         TReference<TCounted> const second = first;
         return first->QueryReferenceCount() == 2;
     },
     false},
    {"threads",
     [](TShared &) {
         TReference<TShortThread> const thread(new TShortThread);
         if (thread->Start() != 0)
             return false;
         thread->WaitForTermination(-1);
         return thread->QueryResult() == 17;
     },
     false},
    {"shared trace files",
     [](TShared &shared) {
         auto const file = std::make_unique<TFile>(shared.folder.Name("log").c_str());
         file->Write(TTrace::error, fsSession, TTextMessage("text"));
         return file->IsOpen();
     },
     true},
};
constexpr std::size_t fsCount = std::size(fsWorks);

// Called at the end of the preparations for a fork, after those of the library, because it was registered before them.
std::function<void()> *fsAtFork = nullptr;

void Prepare() {
    if (fsAtFork)
        (*fsAtFork)();
}

void RegisterFirst() {
    ::pthread_atfork(Prepare, nullptr, nullptr);
}
// The functions of this section run before the constructors of the libraries.
__attribute__((section(".preinit_array"), used)) void (*const fsRegisterFirst)() = RegisterFirst;

} // namespace

// A thread that begins to use guarded data during a fork waits until the fork is over. So no thread can have left these
// data half changed.
TEST(ForkLocks, AreHeldDuringAFork) {
    TShared shared;
    std::array<std::atomic<bool>, fsCount> isDone{};
    std::array<bool, fsCount> wasDone{};
    std::vector<std::thread> threads;
    std::function<void()> begin = [&] {
        for (std::size_t i = 0; i < fsCount; ++i)
            if (fsWorks[i].waitsForTheFork)
                threads.emplace_back([&, i] {
                    fsWorks[i].run(shared);
                    isDone[i] = true;
                });
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        for (std::size_t i = 0; i < fsCount; ++i)
            wasDone[i] = isDone[i];
    };
    fsAtFork = &begin;
    int const result = InChild([] { return 17; });
    fsAtFork = nullptr;
    ASSERT_EQ(result, 17);
    ASSERT_FALSE(threads.empty());
    for (std::thread &thread : threads)
        thread.join();
    for (std::size_t i = 0; i < fsCount; ++i) {
        EXPECT_FALSE(wasDone[i]) << fsWorks[i].name;
        EXPECT_EQ(isDone[i], fsWorks[i].waitsForTheFork) << fsWorks[i].name;
    }
}

// A sanitizer's own locks are not released in a child, and it takes a new thread of the child for an old one. So under
// a sanitizer, the child cannot use memory or threads.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// Each kind of work is done by two threads while the process forks. The child then does work of every kind.
TEST(ForkLocks, LetTheChildUseWhateverTheOtherThreadsWereUsing) {
    TShared shared;
    for (TWork const &work : fsWorks) {
        std::atomic<bool> stop{false};
        std::atomic<int> failures{0};
        std::atomic<int> rounds{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 2; ++i)
            threads.emplace_back([&] {
                while (!stop) {
                    failures += work.run(shared) ? 0 : 1;
                    ++rounds;
                }
            });
        for (int i = 0; i < 15; ++i) {
            int const before = rounds;
            while (rounds == before)
                std::this_thread::yield();
            int const failed = InChild([&] {
                for (std::size_t k = 0; k < fsCount; ++k)
                    if (!fsWorks[k].run(shared))
                        return static_cast<int>(k + 1);
                return 0;
            });
            EXPECT_EQ(failed, 0) << "during " << work.name << ", in the child: "
                                 << (failed > 0 && failed <= int{fsCount} ? fsWorks[failed - 1].name : "it ended");
            if (failed != 0)
                break;
        }
        stop = true;
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(failures, 0) << work.name;
    }
}

namespace {

// A thread that waits, and a moment in which it does.
class TWaiter {
public:
    explicit TWaiter(std::function<void()> wait)
        : fThread([this, wait = std::move(wait)] {
              fIsWaiting = true;
              wait();
              fHasWaited = true;
          }) {
        while (!fIsWaiting)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ~TWaiter() { fThread.join(); }
    bool HasWaited() const { return fHasWaited; }

private:
    std::atomic<bool> fIsWaiting{false};
    std::atomic<bool> fHasWaited{false};
    std::thread fThread;
};

// Returns whether two threads of this process can exchange a lock.
bool CanBeExchanged(TMutexSemaphore &mutex) {
    bool isLocked = false;
    auto held = std::make_unique<TMutexSemaphoreEntry>(mutex, 0);
    if (held->State() != TMutexSemaphore::Locked)
        return false;
    std::thread other([&] { isLocked = TMutexSemaphoreEntry(mutex, 10000).State() == TMutexSemaphore::Locked; });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    held.reset();
    other.join();
    return isLocked;
}

} // namespace

TEST(ForkLocks, OfTheForkingThreadForWhichAnotherWaits) {
    TMutexSemaphore mutex;
    auto held = std::make_unique<TMutexSemaphoreEntry>(mutex, 0);
    TWaiter const waiter([&] { TMutexSemaphoreEntry const entry(mutex, -1); });
    EXPECT_EQ(InChild([&] {
                  held.reset();
                  return CanBeExchanged(mutex) ? 17 : 18;
              }),
              17);
    EXPECT_FALSE(waiter.HasWaited());
    held.reset();
}

TEST(ForkLocks, OfAnotherThreadForWhichAThirdWaits) {
    TMutexSemaphore mutex;
    TSemaphore held;
    TSemaphore done;
    TWaiter const holder([&] {
        TMutexSemaphoreEntry const entry(mutex, -1);
        held.Post();
        done.Wait(-1);
    });
    held.Wait(-1);
    TWaiter const waiter([&] { TMutexSemaphoreEntry const entry(mutex, -1); });
    EXPECT_EQ(InChild([&] { return CanBeExchanged(mutex) ? 17 : 18; }), 17);
    EXPECT_FALSE(waiter.HasWaited());
    done.Post();
}

TEST(ForkLocks, AnEventForWhichAnotherThreadWaitsIsTheChildsOwn) {
    TSemaphore event;
    TWaiter const waiter([&] { event.Wait(-1); });
    EXPECT_EQ(InChild([&] {
                  bool isReleased = false;
                  std::thread other([&] { isReleased = event.Wait(10000) == 0; });
                  std::this_thread::sleep_for(std::chrono::milliseconds(20));
                  event.Post();
                  other.join();
                  return isReleased && event.Wait(0) == 0 ? 17 : 18;
              }),
              17);
    EXPECT_FALSE(waiter.HasWaited());
    event.Post();
}

TEST(ForkLocks, ANamedLockOfAnotherThreadComesToTheChildAfterThatThread) {
    TShared shared;
    TSemaphore held;
    TSemaphore done;
    TWaiter const holder([&] {
        TMutexSemaphoreEntry const entry(shared.named, -1);
        held.Post();
        done.Wait(-1);
    });
    held.Wait(-1);
    TWaiter const waiter([&] { TMutexSemaphoreEntry const entry(shared.named, -1); });
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::thread release([&] {
        char byte = 0;
        EXPECT_EQ(::read(ends[0], &byte, 1), 1);
        done.Post();
    });
    EXPECT_EQ(InChild([&] {
                  if (TMutexSemaphoreEntry(shared.named, 0).State() != TMutexSemaphore::TimedOut)
                      return 18;
                  if (::write(ends[1], "x", 1) != 1)
                      return 19;
                  TMutexSemaphoreEntry const entry(shared.named, 10000);
                  return entry.State() == TMutexSemaphore::Locked && !shared.named.WasAbandoned() ? 17 : 20;
              }),
              17);
    release.join();
    ::close(ends[0]);
    ::close(ends[1]);
}

#endif
