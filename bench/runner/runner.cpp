// The main program of the benchmarks that use this folder's runner. It takes these options of Google Benchmark:
// --benchmark_filter, --benchmark_repetitions, --benchmark_min_time and --benchmark_out.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <regex>

namespace {

using benchmark::State;
using benchmark::internal::Benchmark;

std::vector<std::unique_ptr<Benchmark>> &AllBenchmarks() {
    static std::vector<std::unique_ptr<Benchmark>> all;
    return all;
}

struct TOptions {
    std::regex filter{"."};
    int repetitions = 1;
    double nanoseconds = 0.5e9; // the least time of a run
    std::string out;            // the file for the results; empty: none
};

TOptions Options(int count, char **words) {
    TOptions options;
    for (int i = 1; i < count; ++i) {
        std::string const word(words[i]);
        std::size_t const equals = std::min(word.find('='), word.size() - 1);
        std::string const name = word.substr(0, equals);
        std::string const value = word.substr(equals + 1);
        if (name == "--benchmark_filter")
            options.filter = value;
        else if (name == "--benchmark_repetitions")
            options.repetitions = std::atoi(value.c_str());
        else if (name == "--benchmark_min_time")
            options.nanoseconds = std::atof(value.c_str()) * 1e9;
        else if (name == "--benchmark_out")
            options.out = value;
        else {
            std::fprintf(stderr, "unknown option: %s\n", word.c_str());
            std::exit(2);
        }
    }
    return options;
}

// A benchmark with one set of arguments.
struct TRow {
    Benchmark const *benchmark;
    std::vector<std::int64_t> arguments;
    std::string name;
    std::int64_t iterations = 1;
    std::vector<double> times; // nanoseconds of an iteration, for each round
    std::string error;
    std::map<std::string, double> counters;
};

std::vector<TRow> ChosenRows(std::regex const &filter) {
    std::vector<TRow> rows;
    for (auto const &benchmark : AllBenchmarks()) {
        auto sets = benchmark->fSets;
        if (sets.empty())
            sets.emplace_back();
        for (auto const &arguments : sets) {
            std::string name = benchmark->fName;
            for (std::int64_t const argument : arguments)
                name += "/" + std::to_string(argument);
            name += benchmark->fSuffix;
            if (std::regex_search(name, filter))
                rows.push_back({benchmark.get(), arguments, name, 1, {}, {}, {}});
        }
    }
    return rows;
}

double Run(TRow &row) {
    State state(row.arguments, row.iterations);
    row.benchmark->fWork(state);
    if (!state.Error().empty())
        row.error = state.Error();
    row.counters = state.counters;
    return state.Elapsed().count();
}

// Finds the number of iterations that takes the wanted time.
void Calibrate(TRow &row, double wanted) {
    for (;;) {
        double const took = std::max(Run(row), 1.0);
        if (took >= wanted || !row.error.empty())
            return;
        double const factor = std::clamp(wanted / took * 1.2, 1.5, 10.0);
        row.iterations = static_cast<std::int64_t>(std::min(static_cast<double>(row.iterations) * factor, 1e9)) + 1;
    }
}

double Median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void Print(TRow const &row) {
    if (!row.error.empty()) {
        std::printf("%-40s %s\n", row.name.c_str(), row.error.c_str());
        return;
    }
    std::printf("%-40s %14.1f ns", row.name.c_str(), Median(row.times));
    for (auto const &[name, value] : row.counters)
        std::printf("  %s=%g", name.c_str(), value);
    std::printf("\n");
}

bool Write(std::vector<TRow> const &rows, std::string const &path) {
    std::ofstream out(path);
    char const *separator = "\n";
    out << "{\"benchmarks\": [";
    for (TRow const &row : rows) {
        for (double const time : row.times) {
            out << separator << R"({"name": ")" << row.name << R"(", "run_type": "iteration", "error_occurred": )"
                << (row.error.empty() ? "false" : "true") << ", \"iterations\": " << row.iterations
                << ", \"real_time\": " << time << ", \"cpu_time\": " << time << "}";
            separator = ",\n";
        }
    }
    out << "\n]}\n";
    return bool(out.flush());
}

} // namespace

Benchmark *benchmark::internal::Register(std::string name, std::function<void(State &)> work) {
    AllBenchmarks().push_back(std::make_unique<Benchmark>(std::move(name), std::move(work)));
    return AllBenchmarks().back().get();
}

int main(int count, char **words) {
    TOptions const options = Options(count, words);
    std::vector<TRow> rows = ChosenRows(options.filter);
    for (TRow &row : rows)
        Calibrate(row, options.nanoseconds);
    std::vector<TRow *> order;
    for (TRow &row : rows)
        order.push_back(&row);
    std::mt19937 random(std::random_device{}());
    for (int round = 0; round < options.repetitions; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (TRow *const row : order)
            row->times.push_back(Run(*row) / static_cast<double>(row->iterations));
    }
    bool isRight = true;
    for (TRow const &row : rows) {
        Print(row);
        isRight = isRight && row.error.empty();
    }
    if (!options.out.empty() && !Write(rows, options.out)) {
        std::fprintf(stderr, "cannot write %s\n", options.out.c_str());
        return 1;
    }
    return isRight && !rows.empty() ? 0 : 1;
}
