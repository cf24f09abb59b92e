// Measures how long a binary stream takes to write and read values in network order. The peers are calls of the
// standard library.

#include "tuzutil/BINSTRM.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <sstream>
#include <streambuf>
#include <vector>

namespace {

constexpr int fsItems = 1000;

// A block of memory that is written and read again and again.
class TBlock : public std::streambuf {
public:
    explicit TBlock(std::size_t size) : fBytes(size) {}
    void Rewind() {
        setp(fBytes.data(), fBytes.data() + fBytes.size());
        setg(fBytes.data(), fBytes.data(), fBytes.data() + fBytes.size());
    }

private:
    std::vector<char> fBytes;
};

template <typename Work>
void Run(benchmark::State &state, Work work) {
    TBlock block(fsItems * 32);
    std::iostream stream(&block);
    TBinaryStream binary(stream, 1);
    for (auto step : state) {
        block.Rewind();
        for (int i = 0; i < fsItems; ++i)
            work(binary, stream, i);
    }
    if (!stream)
        std::abort();
    state.SetItemsProcessed(state.iterations() * fsItems);
}

void WriteInt(benchmark::State &state) {
    Run(state, [](TBinaryStream &binary, std::iostream &, int i) { binary << i; });
}

void ReadInt(benchmark::State &state) {
    Run(state, [](TBinaryStream &binary, std::iostream &, int) {
        int value;
        binary >> value;
        benchmark::DoNotOptimize(value);
    });
}

void WriteIntOstream(benchmark::State &state) {
    Run(state, [](TBinaryStream &, std::iostream &stream, int i) {
        auto const reversed = __builtin_bswap32(static_cast<unsigned int>(i));
        stream.write(reinterpret_cast<char const *>(&reversed), 4);
    });
}

void ReadIntIstream(benchmark::State &state) {
    Run(state, [](TBinaryStream &, std::iostream &stream, int) {
        unsigned int value = 0;
        stream.read(reinterpret_cast<char *>(&value), 4);
        benchmark::DoNotOptimize(value = __builtin_bswap32(value));
    });
}

void WriteIntSputn(benchmark::State &state) {
    Run(state, [](TBinaryStream &, std::iostream &stream, int i) {
        auto const reversed = __builtin_bswap32(static_cast<unsigned int>(i));
        stream.rdbuf()->sputn(reinterpret_cast<char const *>(&reversed), 4);
    });
}

void ReadIntSgetn(benchmark::State &state) {
    Run(state, [](TBinaryStream &, std::iostream &stream, int) {
        unsigned int value = 0;
        stream.rdbuf()->sgetn(reinterpret_cast<char *>(&value), 4);
        benchmark::DoNotOptimize(value = __builtin_bswap32(value));
    });
}

void WriteString(benchmark::State &state) {
    TString const text("twelve chars");
    Run(state, [&](TBinaryStream &binary, std::iostream &, int) { binary << text; });
}

void ReadString(benchmark::State &state) {
    TBlock block(fsItems * 32);
    std::iostream stream(&block);
    block.Rewind();
    TBinaryStream binary(stream, 1);
    TString text("twelve chars");
    for (int i = 0; i < fsItems; ++i)
        binary << text;
    for (auto step : state) {
        block.Rewind();
        for (int i = 0; i < fsItems; ++i)
            binary >> text;
    }
    if (!stream || text != "twelve chars")
        std::abort();
    state.SetItemsProcessed(state.iterations() * fsItems);
}

} // namespace

BENCHMARK(WriteInt);
BENCHMARK(WriteIntOstream);
BENCHMARK(WriteIntSputn);
BENCHMARK(ReadInt);
BENCHMARK(ReadIntIstream);
BENCHMARK(ReadIntSgetn);
BENCHMARK(WriteString);
BENCHMARK(ReadString);
