// The process that deaths.py kills. It does the same work in each round, and checks the data that it finds.
//
//   victim lock NAME ROUNDS           changes two counters under a named lock; if the lock is free, they must be equal
//   victim memory NAME ROUNDS         opens a block, or creates and fills it; an opened block must be filled
//   victim trace FILE ROUNDS          writes records of many lengths to a shared trace file
//
// If ROUNDS is 0, the process works until it is killed. Otherwise it ends after this number of rounds. If it finds
// wrong data, it ends at once with exit status 1.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/SHAREMEM.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESHF.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

namespace {

int Fail(char const *what, int number = 0) {
    std::printf("%s %d\n", what, number);
    return 1;
}

struct TCounters {
    volatile int first;
    volatile int second;
};

int UseLock(std::string const &name, int rounds) {
    ipcSharedMemory const memory =
        ipcSharedMemory::OpenOrCreate((name + ".counters").c_str(), sizeof(TCounters), [](void *block) {
            new (block) TCounters{0, 0};
        });
    if (!memory)
        return Fail("no memory", memory.QueryError());
    auto *const counters = static_cast<TCounters *>(memory.Pointer());
    TMutexSemaphore lock(name.c_str());
    for (int round = 0; rounds == 0 || round < rounds; ++round) {
        TMutexSemaphoreEntry const entry(lock, 20000);
        if (entry.State() != TMutexSemaphore::Locked)
            return Fail("the lock is not to be had", entry.State());
        int const first = counters->first, second = counters->second;
        if (first != second && !entry.WasAbandoned())
            return Fail("half a change, and nobody died", first - second);
        if (first - second > 1 || first < second)
            return Fail("two holders at a time", first - second);
        counters->second = first;
        counters->first = first + 1;
        for (int work = 0; work < 200; ++work) // makes this state last longer, so many processes are killed here
            static_cast<void>(static_cast<int>(counters->first));
        counters->second = first + 1;
    }
    return 0;
}

constexpr int fsBlockSize = 20000;

int UseMemory(std::string const &name, int rounds) {
    for (int round = 0; rounds == 0 || round < rounds; ++round) {
        auto const memory = ipcSharedMemory::OpenOrCreate(name.c_str(), fsBlockSize, [](void *block) {
            for (int i = 0; i < fsBlockSize; ++i)
                static_cast<volatile char *>(block)[i] = 'x';
        });
        if (!memory)
            return Fail("no block", memory.QueryError());
        auto const *const bytes = static_cast<char const *>(memory.Pointer());
        for (int i = 0; i < fsBlockSize; ++i) {
            if (bytes[i] != 'x')
                return Fail("a block that is not filled at", i);
        }
        ipcSharedMemory const opened(name.c_str());
        if (!opened || opened.TrueSize() != fsBlockSize)
            return Fail("the block cannot be opened", opened.QueryError());
    }
    return 0;
}

TTrace::Category const fsCategory(8, "Deaths");

int WriteTrace(std::string const &file, int rounds) {
    TTraceSharedFile const trace(file.c_str());
    for (int round = 0; rounds == 0 || round < rounds; ++round) {
        std::string const text(static_cast<std::size_t>(round * 37 % 1500), 'r');
        TTracePoint::Write(TTrace::error, fsCategory, {"victim.cpp", 1}, "<%s>", text);
        if (round % 8 == 7)
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // keeps the file small
    }
    return 0;
}

} // namespace

int main(int count, char **arguments) {
    if (count != 4)
        return Fail("victim lock|memory|trace NAME ROUNDS");
    std::string const what = arguments[1];
    int const rounds = std::atoi(arguments[3]);
    if (what == "lock")
        return UseLock(arguments[2], rounds);
    if (what == "memory")
        return UseMemory(arguments[2], rounds);
    return WriteTrace(arguments[2], rounds);
}
