// Compares trace points and their records with spdlog, and with a plain write() of the same bytes. Each record is
// passed to the system by itself. The counter "allocations" is the number of allocations for each record.

#include "allocations.h"
#include "support/TempFolder.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TTrace::Category const fsCategory(8, "Bench");

// Ends the program unless each record has become one line of the file.
void CheckLines(benchmark::State const &state, std::filesystem::path const &path) {
    std::ifstream in(path, std::ios_base::binary);
    auto const lines = std::count(std::istreambuf_iterator<char>(in), {}, '\n');
    if (lines != static_cast<std::ptrdiff_t>(state.iterations()))
        std::abort();
}

void Disabled(benchmark::State &state) {
    int number = 17;
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        TTracePoint::Write(TTrace::error, fsCategory, "bench/trace_bench.cpp", "session %d", number);
    }
}

// The least that a disabled trace point must do: read and test two words. As at a trace point, a function that is never
// called takes the argument by value.
[[gnu::noipa, gnu::cold]] void Never(int number) {
    std::exit(number);
}
extern std::atomic<std::uint32_t> fsLevels, fsComponents;
std::atomic<std::uint32_t> fsLevels{0}, fsComponents{0};

void DisabledFloor(benchmark::State &state) {
    int number = 17;
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        if (__builtin_expect((fsLevels.load(std::memory_order_relaxed) & TTrace::error) != 0, 0) &&
            (fsComponents.load(std::memory_order_relaxed) & fsCategory.QueryComponent()) != 0)
            Never(number);
    }
}

void DisabledSpdlog(benchmark::State &state) {
    spdlog::logger logger("bench");
    logger.set_level(spdlog::level::off);
    int number = 17;
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        if (logger.should_log(spdlog::level::err))
            logger.error("session {}", number);
    }
}

// Runs further processes, which do the same work as the row until the row ends.
template <typename Body>
class TOthers {
public:
    TOthers(int count, Body body) {
        for (int i = 0; i < count; ++i) {
            pid_t const child = ::fork();
            if (child == 0) {
                for (;;)
                    body();
            }
            fChildren.push_back(child);
        }
    }
    ~TOthers() {
        for (pid_t const child : fChildren) {
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
    }

private:
    std::vector<pid_t> fChildren;
};

// Drops all bytes.
class TDropBuf : public std::streambuf {
protected:
    std::streamsize xsputn(char const *, std::streamsize count) override { return count; }
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
};

void WriteRecord() {
    TTracePoint::Write(TTrace::error, fsCategory, {"bench/trace_bench.cpp", 100},
                       "session %d of %s: %d bytes were sent to the client", 4711, "anna@example.org", 123456);
}

void WriteRecord(spdlog::logger &logger) {
    logger.log(spdlog::source_loc{"bench/trace_bench.cpp", 100, ""}, spdlog::level::err,
               "session {} of {}: {} bytes were sent to the client", 4711, "anna@example.org", 123456);
}

void RecordToDrop(benchmark::State &state) {
    TDropBuf buffer;
    std::ostream out(&buffer);
    TTraceStream const trace(out);
    allocations::TCounter const counter(state);
    for (auto _ : state)
        WriteRecord();
}

void RecordToDropSpdlog(benchmark::State &state) {
    spdlog::logger logger("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger.set_pattern("%m/%d-%H:%M:%S.%e %t %L [%s:%#] %v");
    logger.flush_on(spdlog::level::trace);
    allocations::TCounter const counter(state);
    for (auto _ : state)
        WriteRecord(logger);
}

void WriteOnly(benchmark::State &state) {
    TTempFolder const folder;
    auto const path = folder.Native("trace.log");
    int const file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
    std::string const record = std::string(109, 'x') + "\n";
    for (auto _ : state) {
        if (::write(file, record.data(), record.size()) != static_cast<ssize_t>(record.size()))
            std::abort();
    }
    ::close(file);
    CheckLines(state, path);
}

template <typename Trace>
void Record(benchmark::State &state) {
    TTempFolder const folder;
    {
        Trace const trace(folder.Name("trace.log").c_str());
        allocations::TCounter const counter(state);
        for (auto _ : state)
            WriteRecord();
    }
    CheckLines(state, folder.Native("trace.log"));
}

// Four processes share a file. The time is that of one of them.
void RecordOfFour(benchmark::State &state) {
    TTempFolder const folder;
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    TOthers const others(3, [] { WriteRecord(); });
    for (auto _ : state)
        WriteRecord();
}

void WriteOnlyOfFour(benchmark::State &state) {
    TTempFolder const folder;
    auto const path = folder.Native("trace.log");
    int const file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
    std::string const record = std::string(109, 'x') + "\n";
    auto const write = [&] {
        if (::write(file, record.data(), record.size()) != static_cast<ssize_t>(record.size()))
            std::abort();
    };
    {
        TOthers const others(3, write);
        for (auto _ : state)
            write();
    }
    ::close(file);
}

void RecordSpdlog(benchmark::State &state) {
    TTempFolder const folder;
    {
        auto const sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(folder.Native("trace.log").string());
        spdlog::logger logger("bench", sink);
        logger.set_pattern("%m/%d-%H:%M:%S.%e %t %L [%s:%#] %v");
        logger.flush_on(spdlog::level::trace);
        for (auto _ : state)
            WriteRecord(logger);
    }
    CheckLines(state, folder.Native("trace.log"));
}

} // namespace

BENCHMARK(Disabled);
BENCHMARK(DisabledFloor);
BENCHMARK(DisabledSpdlog);
BENCHMARK(RecordToDrop);
BENCHMARK(RecordToDropSpdlog);
BENCHMARK(WriteOnly);
BENCHMARK(Record<TTraceStream>)->Name("RecordToFile");
BENCHMARK(Record<TTraceSharedFile>)->Name("RecordToSharedFile");
BENCHMARK(RecordSpdlog);
BENCHMARK(RecordOfFour)->UseRealTime();
BENCHMARK(WriteOnlyOfFour)->UseRealTime();
