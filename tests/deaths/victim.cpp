// The process that deaths.py kills. It does the same work in each round, and checks the data that it finds.
//
//   victim lock NAME ROUNDS           changes two counters under a named lock; if the lock is free, they must be equal
//   victim memory NAME ROUNDS         opens a block, or creates and fills it; an opened block must be filled
//   victim trace FILE ROUNDS          writes records of many lengths to a shared trace file
//
// Two further arguments are the number of the process and a file. The process writes into this file what it is doing,
// as one letter: "s" after its start, "h" while it holds the lock, "f" while it fills a new block, "w" while it writes
// a record, and "o" otherwise.
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

// The file that says what this process is doing.
std::FILE *fsPhase = nullptr;

void Enter(char phase) {
    std::rewind(fsPhase);
    std::fputc(phase, fsPhase);
    std::fflush(fsPhase);
}

// For a scope: this process does what the letter says.
struct TPhase {
    explicit TPhase(char phase) { Enter(phase); }
    TPhase(TPhase const &) = delete;
    TPhase &operator=(TPhase const &) = delete;
    ~TPhase() { Enter('o'); }
};

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
        TPhase const phase('h');
        int const first = counters->first, second = counters->second;
        if (first != second && !entry.WasAbandoned())
            return Fail("half a change, and nobody died", first - second);
        if (first - second > 1 || first < second)
            return Fail("two holders at a time", first - second);
        counters->second = first;
        counters->first = first + 1;
        for (int work = 0; work < 200000; ++work) // makes this state last longer, so many processes are killed here
            static_cast<void>(static_cast<int>(counters->first));
        counters->second = first + 1;
    }
    return 0;
}

constexpr int fsBlockSize = 20000;

int UseMemory(std::string const &name, int rounds) {
    for (int round = 0; rounds == 0 || round < rounds; ++round) {
        // With several names, there is often a block to be made, and often one that another process has or fills.
        std::string const block = name + "." + std::to_string(round % 3);
        auto const memory = ipcSharedMemory::OpenOrCreate(block.c_str(), fsBlockSize, [](void *bytes) {
            TPhase const phase('f');
            for (int i = 0; i < 50 * fsBlockSize; ++i) // slowly, so many processes are killed here
                static_cast<volatile char *>(bytes)[i / 50] = 'x';
        });
        if (!memory)
            return Fail("no block", memory.QueryError());
        auto const *const bytes = static_cast<char const *>(memory.Pointer());
        for (int i = 0; i < fsBlockSize; ++i) {
            if (bytes[i] != 'x')
                return Fail("a block that is not filled at", i);
        }
        ipcSharedMemory const opened(block.c_str());
        if (!opened || opened.TrueSize() != fsBlockSize)
            return Fail("the block cannot be opened", opened.QueryError());
    }
    return 0;
}

TTrace::Category const fsCategory(8, "Deaths");

int WriteTrace(std::string const &file, int rounds, char const *number) {
    TTraceSharedFile const trace(file.c_str());
    for (int round = 0; rounds == 0 || round < rounds; ++round) {
        std::string const text(static_cast<std::size_t>(round * 37 % 300), 'r');
        {
            TPhase const phase('w');
            TTracePoint::Write(TTrace::error, fsCategory, {"victim.cpp", 1}, "<%s %d %s>", number, round, text);
        }
        if (round % 64 == 63)
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // keeps the file small
    }
    return 0;
}

} // namespace

int main(int count, char **arguments) {
    if (count != 6)
        return Fail("victim lock|memory|trace NAME ROUNDS NUMBER FILE");
    fsPhase = std::fopen(arguments[5], "wb");
    if (!fsPhase)
        return Fail("the file for the phase cannot be made");
    Enter('s');
    std::string const what = arguments[1];
    int const rounds = std::atoi(arguments[3]);
    if (what == "lock")
        return UseLock(arguments[2], rounds);
    if (what == "memory")
        return UseMemory(arguments[2], rounds);
    return WriteTrace(arguments[2], rounds, arguments[4]);
}
