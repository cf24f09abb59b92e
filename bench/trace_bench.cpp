// Trace points, and records that reach the system one by one, beside spdlog and beside nothing but the write.

#include "support/TempFolder.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

TTrace::Category const fsCategory(8, "Bench");

// Every record has arrived as a line of its own.
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
        for (auto _ : state)
            TTracePoint::Write(TTrace::error, fsCategory, {"bench/trace_bench.cpp", 100},
                               "session %d of %s: %d bytes were sent to the client", 4711, "anna@example.org", 123456);
    }
    CheckLines(state, folder.Native("trace.log"));
}

void RecordSpdlog(benchmark::State &state) {
    TTempFolder const folder;
    {
        auto const sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(folder.Native("trace.log").string());
        spdlog::logger logger("bench", sink);
        logger.set_pattern("%m/%d-%H:%M:%S.%e %t %L [%s:%#] %v");
        logger.flush_on(spdlog::level::trace);
        for (auto _ : state)
            logger.log(spdlog::source_loc{"bench/trace_bench.cpp", 100, ""}, spdlog::level::err,
                       "session {} of {}: {} bytes were sent to the client", 4711, "anna@example.org", 123456);
    }
    CheckLines(state, folder.Native("trace.log"));
}

} // namespace

BENCHMARK(Disabled);
BENCHMARK(DisabledSpdlog);
BENCHMARK(WriteOnly);
BENCHMARK(Record<TTraceStream>)->Name("RecordToFile");
BENCHMARK(Record<TTraceSharedFile>)->Name("RecordToSharedFile");
BENCHMARK(RecordSpdlog);
