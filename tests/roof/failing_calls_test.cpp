// Every operation below is run again and again, and each of its calls of the system is made to fail: once this call
// alone, and once this call and all later ones. The operation must report the failure as the headers say. No file and
// no mapping may stay open, no result may be half written, and the next try must succeed. Then a signal interrupts each
// call, or each call moves half of its bytes. In these two cases, the operation must succeed.

#include "support/Environment.h"
#include "support/FailingCalls.h"
#include "support/TempFolder.h"
#include "tuzutil/tuzutil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <errno.h>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

// The outcome of an operation: it succeeded, it reported a failure, or it claimed success although its result is wrong.
enum TOutcome { done, reported, wrong };

std::string Name(char const *kind) {
    return "tuzutil.failing." + std::to_string(::getpid()) + "." + kind;
}

TTempFolder const &Folder() {
    static TTempFolder const folder;
    return folder;
}

// The folder of named objects.
std::string RunFolder() {
    Folder().AddFolder("run");
    std::string const path = Folder().Native("run");
    ::chmod(path.c_str(), 0700);
    return path;
}

void Remove(char const *name) {
    calls::TOwn const own;
    std::filesystem::remove_all(Folder().Native(name));
}

TOutcome Takes(std::string const &name) {
    TMutexSemaphore lock(name.c_str());
    if (!lock.GetHandle())
        return reported;
    TMutexSemaphoreEntry const entry(lock, 1000);
    return entry.State() == TMutexSemaphore::Locked ? done : reported;
}

TOutcome TakesANamedLock() {
    return Takes(Name("lock"));
}

// The file of a named lock remains. Therefore each try makes a lock with another name.
TOutcome MakesANamedLock() {
    static int count = 0;
    return Takes(Name(("lock" + std::to_string(++count)).c_str()));
}

// The library keeps a record of each thread that takes a lock.
TOutcome TakesALockInANewThread() {
    TMutexSemaphore lock;
    TOutcome outcome = wrong;
    try {
        std::thread([&] {
            TMutexSemaphoreEntry const entry(lock, 1000);
            outcome = entry.State() == TMutexSemaphore::Locked ? done : reported;
        }).join();
    } catch (std::system_error const &) {
        return reported; // there is no thread
    }
    return outcome;
}

TOutcome SharesMemory() {
    ipcSharedMemory const made(Name("block").c_str(), 10000);
    if (!made)
        return made.QueryError() != 0 && made.Pointer() == nullptr ? reported : wrong;
    auto *const bytes = static_cast<char *>(made.Pointer());
    bytes[0] = 'a';
    bytes[9999] = 'z';
    ipcSharedMemory const opened(Name("block").c_str());
    if (!opened)
        return opened.QueryError() != 0 ? reported : wrong;
    auto const *const seen = static_cast<char const *>(opened.Pointer());
    return seen[0] == 'a' && seen[9999] == 'z' && opened.TrueSize() == 10000 ? done : wrong;
}

TOutcome FillsSharedMemory() {
    int filled = 0;
    auto const first = ipcSharedMemory::OpenOrCreate(Name("filled").c_str(), 100, [&](void *block) {
        ++filled;
        *static_cast<char *>(block) = 'x';
    });
    if (!first)
        return first.QueryError() != 0 ? reported : wrong;
    auto const second = ipcSharedMemory::OpenOrCreate(Name("filled").c_str(), 100, [&](void *) { ++filled; });
    if (!second)
        return second.QueryError() != 0 ? reported : wrong;
    return filled == 1 && *static_cast<char const *>(second.Pointer()) == 'x' ? done : wrong;
}

// Opens a block in another thread while this thread fills it, and lets only the calls of the other thread fail. This
// thread goes on when the other one waits for the block, or has given up. After that, this thread publishes the block
// or, if `isGivenUp` is true, closes it without publishing it. In the latter case, the other thread makes the block.
// Stores the error that the other thread is told in `error`.
TOutcome Awaits(bool isGivenUp, int &error) {
    calls::TExempt const exempt;
    std::string const name = Name("awaited");
    std::atomic<bool> hasEnded = false;
    TOutcome outcome = wrong;
    auto const fill = [](void *block) { *static_cast<char *>(block) = 'x'; };
    auto const open = [&] {
        {
            auto const opened =
                isGivenUp ? ipcSharedMemory::OpenOrCreate(name.c_str(), 100, fill) : ipcSharedMemory(name.c_str());
            error = opened.QueryError();
            if (!opened)
                outcome = error != 0 && opened.Pointer() == nullptr ? reported : wrong;
            else if (opened.Pointer() && opened.TrueSize() == 100)
                outcome = *static_cast<char const *>(opened.Pointer()) == 'x' ? done : wrong;
        }
        hasEnded = true;
    };
    std::thread other;
    bool isMade = false;
    try {
        auto const made = ipcSharedMemory::OpenOrCreate(name.c_str(), 100, [&](void *block) {
            long const before = calls::AwaitedSharedLocks();
            other = std::thread(open);
            while (!hasEnded && calls::AwaitedSharedLocks() == before)
                std::this_thread::yield();
            fill(block);
            if (isGivenUp)
                throw std::exception();
        });
        isMade = made.rdstate() == 0;
        if (other.joinable())
            other.join(); // before the block is closed
    } catch (std::exception const &) {
        isMade = isGivenUp;
    }
    if (other.joinable())
        other.join();
    return isMade ? outcome : wrong;
}

TOutcome AwaitsABlock() {
    int error = 0;
    return Awaits(false, error);
}

TOutcome AwaitsABlockThatIsGivenUp() {
    int error = 0;
    return Awaits(true, error);
}

class TWorker : public TThread {
public:
    int Run() override { return 17; }
};

TOutcome RunsAThread() {
    TReference<TWorker> const worker(new TWorker);
    if (worker->Start() != 0)
        return worker->IsRunning() ? wrong : reported;
    worker->WaitForTermination(-1);
    return worker->QueryResult() == 17 ? done : wrong;
}

// The library's timer thread ends with the last timer. If the thread cannot be started, no timer posts its event, and
// the library traces the failure.
TOutcome SetsATimer() {
    TReference<TSemaphore> const event(new TSemaphore);
    TTimer timer(event);
    timer.Set(1ms);
    return event->Wait(200ms) == 0 ? done : reported;
}

TTrace::Category const fsCategory(8, "FailingCalls");

void WriteRecords() {
    for (int i = 0; i < 3; ++i)
        TTracePoint::Write(TTrace::error, fsCategory, {"f", 1}, "record %d", i);
}

// Checks that each line of a file is a record or the beginning of a record, and that no record is in the file twice.
TOutcome HasRecords(std::string const &name, std::string_view prefix) {
    calls::TOwn const own;
    std::filesystem::path const file = Folder().Native(name);
    if (!std::filesystem::exists(file))
        return reported;
    std::ifstream in(file);
    std::size_t whole = 0;
    std::string expected[] = {"record 0", "record 1", "record 2"};
    for (std::string line; std::getline(in, line);) {
        std::size_t const at = line.find(prefix);
        std::string const text = at == line.npos ? "" : line.substr(at + prefix.size());
        bool known = text.empty();
        for (std::string &record : expected) {
            known = known || (!record.empty() && record.compare(0, text.size(), text) == 0);
            if (text == record && !text.empty()) {
                ++whole;
                record.clear();
            }
        }
        if (!known)
            return wrong;
    }
    return whole == 3 ? done : reported; // a record that the system refuses is lost
}

TOutcome TracesToAFile() {
    Remove("traces");
    {
        TTraceStream trace(Folder().Name("traces\\new\\trace.log").c_str());
        trace.SetDisplayPrefix(0);
        WriteRecords();
    }
    return HasRecords("traces\\new\\trace.log", "E [f:1] ");
}

TOutcome TracesToASharedFile() {
    Remove("shared.log");
    {
        TTraceSharedFile const trace(Folder().Name("shared.log").c_str());
        WriteRecords();
    }
    return HasRecords("shared.log", " E [f:1] ");
}

TOutcome MovesToATemporaryFile() {
    class TAlways : public TTempStreamTest {
    public:
        int Test(TTempStreamBuf *) override { return 1; }
    };
    TTempStream stream("message", new TAlways);
    std::string text;
    for (int i = 0; i < 20000; ++i)
        text += std::to_string(i) + ' ';
    stream << text << std::flush;
    if (!stream)
        return reported;
    stream.seekg(0);
    std::string seen(text.size() + 10, '\0');
    stream.read(seen.data(), static_cast<std::streamsize>(seen.size()));
    seen.resize(static_cast<std::size_t>(stream.gcount()));
    if (seen == text)
        return done;
    return seen == text.substr(0, seen.size()) ? reported : wrong; // it ended too early, and its state shows this
}

TOutcome ListsADirectory() {
    TDirectory folder(Folder().Name("listed").c_str());
    int isDirectory = 0;
    std::size_t count = 0;
    TString name;
    for (TString path = folder.FindFirst(&isDirectory, &name); path; path = folder.FindNext(&isDirectory, &name)) {
        if ((name == "sub") != (isDirectory != 0))
            return wrong;
        ++count;
    }
    return count == 3 ? done : count < 3 ? reported : wrong;
}

TOutcome MakesDirectories() {
    Remove("made");
    int const result = TDirectory::MakeTree(Folder().Name("made\\a\\b").c_str());
    calls::TOwn const own;
    bool const isThere = Folder().HasFolder("made\\a\\b");
    return result != 0 ? reported : isThere ? done : wrong;
}

TOutcome LoadsALibrary() {
    try {
        TDll const program("libm.so.6");
        return done;
    } catch (TAccessError const &problem) {
        return problem.code() ? reported : wrong;
    }
}

struct TOperation {
    char const *name;
    TOutcome (*run)();
    bool isInterrupted = false; // whether signals can interrupt some of its calls
    bool movesBytes = false;    // whether some of its calls can move fewer bytes than they are asked to
};

TOperation const fsOperations[] = {
    {"TakesANamedLock", TakesANamedLock, true},
    {"MakesANamedLock", MakesANamedLock, true},
    {"TakesALockInANewThread", TakesALockInANewThread},
    {"SharesMemory", SharesMemory, true},
    {"FillsSharedMemory", FillsSharedMemory, true},
    {"AwaitsABlock", AwaitsABlock, true},
    {"AwaitsABlockThatIsGivenUp", AwaitsABlockThatIsGivenUp, true},
    {"RunsAThread", RunsAThread},
    {"SetsATimer", SetsATimer},
    {"TracesToAFile", TracesToAFile, true, true},
    {"TracesToASharedFile", TracesToASharedFile, true, true},
    {"MovesToATemporaryFile", MovesToATemporaryFile, true, true},
    {"ListsADirectory", ListsADirectory},
    {"MakesDirectories", MakesDirectories},
    {"LoadsALibrary", LoadsALibrary},
};

void PrintTo(TOperation const &operation, std::ostream *out) {
    *out << operation.name;
}

std::size_t OpenFiles() {
    std::filesystem::directory_iterator const files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

std::size_t SharedMappings() {
    std::ifstream maps("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("tuzutil-") != line.npos || line.find("/tuzutil/") != line.npos
                     ? line.find(".so") == line.npos
                     : 0;
    return count;
}

class FailingCalls : public testing::TestWithParam<TOperation> {
protected:
    FailingCalls() {
        Folder().AddFile("listed\\one");
        Folder().AddFile("listed\\two");
        Folder().AddFolder("listed\\sub");
    }

    TEnvironment const fRuntime{"XDG_RUNTIME_DIR", RunFolder().c_str()};

    // Runs the operation with a failure at its first call, then at its second call, and so on. Stops when the operation
    // makes fewer calls than that. Returns the number of calls that failed.
    long FailEach(void (*fail)(long, calls::Kind) noexcept, calls::Kind kind, bool mayFail) {
        TOutcome (*const run)() = GetParam().run;
        EXPECT_EQ(run(), done);
        EXPECT_EQ(run(), done); // now the library has made the objects that it keeps until the process ends
        std::size_t const files = OpenFiles();
        std::size_t const mappings = SharedMappings();
        for (long number = 1;; ++number) {
            fail(number, kind);
            TOutcome const outcome = run();
            long const counted = calls::Stop();
            std::string const what = "call " + std::to_string(number) + ", " + calls::LastFailed();
            EXPECT_NE(outcome, wrong) << what;
            EXPECT_TRUE(mayFail || outcome == done) << what;
            EXPECT_EQ(run(), done) << "after " << what;
            EXPECT_EQ(OpenFiles(), files) << what;
            EXPECT_EQ(SharedMappings(), mappings) << what;
            if (counted < number) {
                EXPECT_EQ(outcome, done);
                return number - 1;
            }
            if (HasFailure())
                return number;
        }
    }
};

TEST_P(FailingCalls, AreToldWhenOneFails) {
    EXPECT_GT(FailEach(calls::FailOnly, calls::Kind::error, true), 0);
}

TEST_P(FailingCalls, AreToldWhenAllFromOneOnFail) {
    EXPECT_GT(FailEach(calls::FailFrom, calls::Kind::error, true), 0);
}

TEST_P(FailingCalls, AreRepeatedIfASignalInterruptsThem) {
    EXPECT_EQ(FailEach(calls::FailOnly, calls::Kind::interrupted, false) > 0, GetParam().isInterrupted);
}

TEST_P(FailingCalls, GoOnAfterHalfOfTheBytes) {
    EXPECT_EQ(FailEach(calls::FailOnly, calls::Kind::partial, false) > 0, GetParam().movesBytes);
}

INSTANTIATE_TEST_SUITE_P(Each, FailingCalls, testing::ValuesIn(fsOperations),
                         [](auto const &each) { return std::string(each.param.name); });

// A failed lock is told as what it is, whatever the system says to the calls that come after it.
TEST(FailingLocks, OfAThreadThatAwaitsABlockAreToldAsTheyAre) {
    TEnvironment const runtime("XDG_RUNTIME_DIR", RunFolder().c_str());
    int told = 0;
    for (long number = 1;; ++number) {
        calls::FailOnly(number, calls::Kind::error);
        int error = 0;
        TOutcome const outcome = Awaits(false, error);
        long const counted = calls::Stop();
        ASSERT_NE(outcome, wrong) << "call " << number;
        if (counted < number)
            break;
        if (outcome == reported && std::string_view(calls::LastFailed()) == "flock") {
            EXPECT_EQ(error, ENOLCK) << "call " << number;
            ++told;
        }
    }
    EXPECT_EQ(told, 4); // the lock on the folder, the wait for the file, the folder again, and the lock that remains
}

} // namespace
