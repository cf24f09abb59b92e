// ending WAY: a program in which one thread ends the process while other threads use the library. It prints "ends"
// first.
//   exit, quick_exit, _Exit    ends with the status 7 by that function
//   abort                      ends by abort()
//   throw                      an exception leaves the thread's function
//   main                       main() returns 7
//   thread                     ends with the status 7 by exit(), called by the body of a TThread
//   locks                      ends with the status 7 by exit(), called by the holder of locks for which others wait
//   write, abort_write         exit() with the status 7, or abort(), called by a destination that writes an entry

#include "tuzutil/tuzutil.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

// The objects that threads use until the process ends. They are never destroyed.
struct TShared {
    TMutexSemaphore lock;
    TMutexSemaphore named{"tuzutil.tests.ending"};
    TReference<TSemaphore> const event{new TSemaphore};
    TTimer timer{event};
    std::atomic<int> rounds{0};
};

TShared &Shared() {
    static auto &shared = *new TShared;
    return shared;
}

// Never destroyed, because threads use it to the end, and in static memory, where categories belong.
alignas(TTrace::Category) unsigned char fsPlace[sizeof(TTrace::Category)];
TTrace::Category const &fsCategory = *new (fsPlace) TTrace::Category(8, "Ending");

// A static object of the program, which uses the library when it is constructed and destroyed.
struct TStatic {
    TStatic() { Use("constructed"); }
    ~TStatic() { Use("destroyed"); }

    static void Use(char const *what) {
        TMutexSemaphore lock;
        TMutexSemaphoreEntry const entry(lock, TMutexSemaphore::fsInfinite);
        TTracePoint::Write(TTrace::error, fsCategory, {"ending.cpp", 1}, "%s", what);
    }
} fsStatic;

// Ends the process when it receives the next entry, as soon as it is told how.
class TLastDestination : public TTrace::Base {
public:
    TLastDestination() : Base(joinsLater, TTrace::error, 8) {}
    ~TLastDestination() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
        if (auto *const end = fsEnd.exchange(nullptr))
            end();
    }
    static inline std::atomic<void (*)()> fsEnd{nullptr};
};

// Never destroyed, because it may be writing when the process ends.
TTrace *fsLast = nullptr;

class TEnder : public TThread {
    int Run() override { std::exit(7); }
};

[[noreturn]] void WaitForEver() {
    for (;;)
        std::this_thread::sleep_for(std::chrono::seconds(1));
}

void Work(int number) {
    TShared &shared = Shared();
    for (;;) {
        {
            TMutexSemaphoreEntry const entry(shared.lock, TMutexSemaphore::fsInfinite);
            shared.timer.Set(std::chrono::milliseconds(1));
        }
        TReference<TSemaphore> const event(new TSemaphore);
        TTimer timer(event);
        timer.Set(std::chrono::milliseconds(number % 2));
        if (number % 2 != 0)
            event->Wait(10);
        TTracePoint::Write(TTrace::error, fsCategory, {"ending.cpp", 1}, "round of thread %d", number);
        ++shared.rounds;
    }
}

void End(std::string const &way) {
    while (Shared().rounds < 200)
        std::this_thread::yield();
    std::puts("ends");
    std::fflush(stdout);
    if (way == "exit")
        std::exit(7);
#if !defined(_WIN32)
    if (way == "quick_exit")
        std::quick_exit(7);
#endif
    if (way == "_Exit")
        std::_Exit(7);
    if (way == "abort")
        std::abort();
    if (way == "thread") {
        TReference<TEnder> const ender(new TEnder);
        ender->Start();
        WaitForEver();
    }
    if (way == "locks") {
        TMutexSemaphoreEntry const named(Shared().named, TMutexSemaphore::fsInfinite);
        TMutexSemaphoreEntry const entry(Shared().lock, TMutexSemaphore::fsInfinite);
        TWeakReferenceLock const references;
        std::exit(7);
    }
    if (way == "write" || way == "abort_write") {
        fsLast->SetLevel(TTrace::error);
        TLastDestination::fsEnd = way == "write" ? +[] { std::exit(7); } : +[] { std::abort(); };
        WaitForEver();
    }
    if (way == "throw")
        throw TInvalidRequest("the end of a thread", 1, TException::unrecoverable);
}

} // namespace

int main(int, char **arguments) {
    std::string const way = arguments[1];
    if (way == "write" || way == "abort_write")
        fsLast = new TTrace(TTrace::Make<TLastDestination>());
    for (int i = 0; i < 4; ++i)
        std::thread(Work, i).detach();
    if (way == "main") {
        End(way);
        return 7;
    }
    std::thread(End, way).join();
    return 1;
}
