// Locks, events, threads and timers while calls of the system fail. failing_calls.h says what is tested.

#include "failing_calls.h"

#include "tuzutil/tuzutil.h"

#include <atomic>
#include <cerrno>
#include <functional>
#include <string_view>
#include <system_error>

namespace {

using namespace std::chrono_literals;

TOutcome Takes(std::string const &name) {
    TMutexSemaphore lock(name.c_str());
    if (!lock.GetHandle()) {
        fsToldError = TMutexSemaphore::QueryError();
        return fsToldError != 0 ? reported : wrong;
    }
    TMutexSemaphoreEntry const entry(lock, 1000);
    if (entry.State() == TMutexSemaphore::Locked)
        return lock.WasAbandoned() ? wrong : done;
    fsToldError = TMutexSemaphore::QueryError();
    return entry.State() == TMutexSemaphore::Error ? reported : wrong;
}

TOutcome TakesANamedLock() {
    return Takes(Name("lock"));
}

#if !defined(_WIN32)
// The folder remains, so the test removes it before each try.
TOutcome MakesTheFolderOfLocks() {
    Remove("run\\tuzutil");
    return Takes(Name("lock"));
}

// The file of a named lock remains, so the test removes it before each try. After a failure, no half-made file may keep
// others from the lock.
TOutcome MakesANamedLock() {
    {
        calls::TOwn const own;
        Folder().AddFolder("run\\tuzutil");
        ::chmod(Folder().Native("run\\tuzutil").c_str(), 0700);
        for (auto const &each : std::filesystem::directory_iterator(Folder().Native("run\\tuzutil")))
            std::filesystem::remove(each.path());
    }
    TOutcome const outcome = Takes(Name("lock"));
    int const told = fsToldError;
    calls::TOwn const own;
    for (auto const &each : std::filesystem::directory_iterator(Folder().Native("run\\tuzutil"))) {
        bool const isUnfinished = each.path().filename().string().rfind("new-", 0) == 0;
        if (isUnfinished && calls::Failed("unlinkat") == 0)
            return wrong;
    }
    if (Takes(Name("lock")) != done)
        return wrong;
    fsToldError = told;
    return outcome;
}
#endif

#if defined(_WIN32)
constexpr int fsNoMemory = ERROR_NOT_ENOUGH_MEMORY;
char const fsWaitFailed[] = "Unable to wait for semaphore, return=xFFFFFFFF, error=x00000057";
#else
constexpr int fsNoMemory = ENOMEM;
char const fsWaitFailed[] = "Unable to wait for semaphore, return=xFFFFFFFF, error=x00000016";
#endif

// The library keeps a record of each thread that takes a lock.
TOutcome TakesALockInANewThread() {
    TMutexSemaphore lock;
    TOutcome outcome = wrong;
    try {
        std::thread([&] {
            TMutexSemaphoreEntry const entry(lock, 1000);
            bool const isFailure =
                entry.State() == TMutexSemaphore::Error && TMutexSemaphore::QueryError() == fsNoMemory;
            outcome = entry.State() == TMutexSemaphore::Locked ? done : isFailure ? reported : wrong;
        }).join();
    } catch (std::system_error const &) {
        return reported; // there is no thread
    }
    return outcome;
}

// Makes a thread wait, and lets only its calls fail. When it waits or has ended, `release` is called.
void WithWaiter(std::function<void()> const &wait, std::function<void()> const &release) {
    calls::TExempt const exempt;
    calls::TCountWaits const counting;
    std::atomic<bool> hasEnded = false;
    long const before = calls::AwaitedWords();
    std::thread waiter([&] {
        wait();
        hasEnded = true;
    });
    while (!hasEnded && calls::AwaitedWords() == before)
        std::this_thread::yield();
    release();
    waiter.join();
}

TOutcome AwaitsALock(char const *name) {
    TMutexSemaphore lock(name);
    TOutcome outcome = wrong;
    std::atomic<bool> isReleased = false;
    {
        calls::TExempt const exempt;
        if (!lock.GetHandle())
            return reported;
        lock.lock();
    }
    WithWaiter(
        [&] {
            TMutexSemaphoreEntry const entry(lock, 60000);
            int const error = TMutexSemaphore::QueryError();
            if (entry.State() == TMutexSemaphore::Locked)
                outcome = isReleased && !lock.WasAbandoned() ? done : wrong;
            else
                outcome = entry.State() == TMutexSemaphore::Error && error != 0 ? reported : wrong;
            fsToldError = outcome == reported ? error : 0;
        },
        [&] {
            isReleased = true;
            lock.unlock();
        });
    // Nobody holds the lock now.
    calls::TOwn const own;
    TMutexSemaphoreEntry const free(lock, 0);
    return free.State() == TMutexSemaphore::Locked ? outcome : wrong;
}

TOutcome AwaitsALockWithoutAName() {
    return AwaitsALock(nullptr);
}

TOutcome AwaitsANamedLock() {
    static std::string const name = Name("awaited");
    return AwaitsALock(name.c_str());
}

TOutcome TriesANamedLock() {
    TMutexSemaphore lock(Name("lock").c_str());
    if (!lock.GetHandle())
        return reported;
    TMutexSemaphoreEntry const entry(lock, 0);
    if (entry.State() == TMutexSemaphore::Locked)
        return done;
    fsToldError = TMutexSemaphore::QueryError();
    return entry.State() == TMutexSemaphore::Error ? reported : wrong;
}

// The event is posted when another thread waits for it.
TOutcome AwaitsAnEvent() {
    TReference<TSemaphore> const event(new TSemaphore);
    TOutcome outcome = wrong;
    std::atomic<bool> isPosted = false;
    int posted = 1;
    TCapture capture(TTrace::error);
    WithWaiter(
        [&] {
            int const result = event->Wait(60000);
            outcome = result == 0 ? (isPosted ? done : wrong) : result == -1 ? reported : wrong;
        },
        [&] {
            isPosted = true;
            posted = event->Post();
        });
    bool const isTraced = capture.Entries().size() == 1 && capture.Entries()[0].text == fsWaitFailed;
    if (posted != 0 || isTraced != (outcome == reported))
        return wrong;
    calls::TOwn const own;
    return event->Wait(0) == 0 && event->Clear() == 0 && event->Wait(0) == 1 ? outcome : wrong;
}

// Nobody posts the event, so the wait ends when its time is over.
TOutcome AwaitsAnEventInVain() {
    calls::TCountWaits const counting;
    TReference<TSemaphore> const event(new TSemaphore);
    TCapture capture(TTrace::error);
    int const result = event->Wait(1);
    if (result == 1)
        return capture.Entries().empty() ? done : wrong;
    return result == -1 && capture.Entries().size() == 1 ? reported : wrong;
}

#if !defined(_WIN32)
// Whoever posts an event does not depend on the system's answer.
TOutcome PostsAnEvent() {
    TReference<TSemaphore> const event(new TSemaphore);
    TOutcome outcome = wrong;
    calls::TCountWaits const counting;
    long const before = calls::AwaitedWords();
    std::thread waiter;
    {
        calls::TExempt const exempt;
        waiter = std::thread([&] {
            calls::TExempt const alsoExempt;
            outcome = event->Wait(60000) == 0 ? done : wrong;
        });
    }
    while (calls::AwaitedWords() == before)
        std::this_thread::yield();
    int const posted = event->Post();
    waiter.join();
    return posted == 0 ? outcome : wrong;
}
#endif

class TWorker : public TThread {
public:
    int Run() override {
        ++runs;
        return 17;
    }
    std::atomic<int> runs = 0;
};

TOutcome RunsAThread() {
    TCapture capture(TTrace::error);
    TReference<TWorker> const worker(new TWorker);
    if (worker->Start() != 0) {
        fsToldError = TMutexSemaphore::QueryError();
        bool const isTraced = capture.Entries().size() == 1 && capture.Entries()[0].text == "Unable to start thread";
        return isTraced && !worker->IsRunning() && worker->runs == 0 ? reported : wrong;
    }
    worker->WaitForTermination(-1);
    return worker->QueryResult() == 17 && worker->runs == 1 ? done : wrong;
}

#if !defined(_WIN32)
// A thread object on the stack, to which nobody has a reference, is refused. It must not be started if the system does
// not tell where the stack is, because it would be deleted at its end. Sanitizers may keep local variables elsewhere,
// but not what alloca() gives, which is on the stack in every build.
TOutcome RefusesAThreadOnTheStack() {
    TCapture capture(TTrace::error);
    TWorker &worker = *new (__builtin_alloca(sizeof(TWorker))) TWorker;
    struct TEnd {
        ~TEnd() { worker.~TWorker(); }
        TWorker &worker;
    } const end{worker};
    try {
        if (worker.Start() == 0)
            std::abort(); // the object is about to be deleted
    } catch (TInvalidRequest const &) {
        return done;
    }
    fsToldError = TMutexSemaphore::QueryError();
    return HasTraced(capture, "Unable to start thread") && !worker.IsRunning() ? reported : wrong;
}
#endif

// The library's timer thread ends with the last timer. If the thread cannot be started, no timer posts its event, and
// the library traces the failure. If the thread has no memory for its first lock, the event is posted later.
TOutcome SetsATimer() {
    TCapture capture(TTrace::error);
    TReference<TSemaphore> const event(new TSemaphore);
    TTimer timer(event);
    timer.Set(1ms);
    bool isTraced = false;
    bool isPosted = false;
    for (int i = 0; i < 100 && !isPosted && !isTraced; ++i) {
        isPosted = event->Wait(5) == 0;
        TMutexSemaphoreEntry const lock(TTrace::Base::fsMutex, TMutexSemaphore::fsInfinite);
        isTraced = HasTraced(capture, "Unable to start thread");
    }
    if (CountFailed(names::threadStarts) != 0 && !isTraced)
        return wrong;
    calls::TOwn const own;
    if (!isPosted && isTraced)
        timer.Set(1ms); // tries to start the thread again
    if (!isPosted && event->Wait(60000) != 0)
        return wrong;
    return isTraced ? reported : done;
}

#if !defined(_WIN32)
// The kernel closes and unmaps what it is asked to, whatever it says. If a lock's unfinished file is not removed,
// nobody uses it. A thread without a record tries again to make one. Who wakes a thread has nothing to do if there is
// none.
TOperation const fsOperations[] = {
    {"TakesANamedLock", TakesANamedLock, {"close", "munmap"}, true},
    {"MakesANamedLock", MakesANamedLock, {"close", "munmap", "unlinkat"}, true},
    {"MakesTheFolderOfLocks", MakesTheFolderOfLocks, {"close", "munmap", "unlinkat"}, true},
    {"TriesANamedLock", TriesANamedLock, {"close", "munmap"}, true},
    {"TakesALockInANewThread", TakesALockInANewThread},
    {"AwaitsALockWithoutAName", AwaitsALockWithoutAName, {"futex wake"}, true},
    {"AwaitsANamedLock", AwaitsANamedLock, {"close", "munmap"}, true},
    {"AwaitsAnEvent", AwaitsAnEvent, {}, true},
    {"AwaitsAnEventInVain", AwaitsAnEventInVain, {}, true},
    {"PostsAnEvent", PostsAnEvent, {"futex wake"}},
    {"RunsAThread", RunsAThread, {"pthread_setspecific"}},
    {"RefusesAThreadOnTheStack", RefusesAThreadOnTheStack},
    {"SetsATimer", SetsATimer, {"pthread_setspecific"}},
};
#else
// A handle is closed whatever the system says. Who posts an event that wakes a thread has nothing to do if there is
// none, and a thread that waits looks at the lock every second. If it is unknown whether the owner of a lock lives, the
// thread only waits. A thread without a record tries again to make one, and takes a lock with a name without it.
TOperation const fsOperations[] = {
    {"TakesANamedLock", TakesANamedLock, {"CloseHandle"}},
    {"TriesANamedLock", TriesANamedLock, {"CloseHandle"}},
    {"TakesALockInANewThread", TakesALockInANewThread},
    {"AwaitsALockWithoutAName",
     AwaitsALockWithoutAName,
     {"CloseHandle", "OpenThread", "SetEvent", "WaitForSingleObject"}},
    {"AwaitsANamedLock", AwaitsANamedLock, {"CloseHandle", "FlsSetValue"}},
    {"AwaitsAnEvent", AwaitsAnEvent},
    {"AwaitsAnEventInVain", AwaitsAnEventInVain},
    {"RunsAThread", RunsAThread, {"FlsSetValue"}},
    {"SetsATimer", SetsATimer, {"FlsSetValue"}},
};
#endif

INSTANTIATE_TEST_SUITE_P(Threads, FailingCalls, testing::ValuesIn(fsOperations), NameOf);

} // namespace
