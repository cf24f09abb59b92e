// Compares memory streams and temporary streams with the streams of the standard library. Each stream is written in
// pieces of 4 KiB and read back.

#include "tuzutil/TMPSTRM.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr std::size_t fsPiece = 4096;

template <typename Stream>
void WriteAndRead(Stream &stream, std::size_t size) {
    static std::vector<char> const piece(fsPiece, 'x');
    static std::vector<char> read(fsPiece);
    for (std::size_t done = 0; done < size; done += fsPiece)
        stream.write(piece.data(), fsPiece);
    stream.seekg(0);
    std::size_t count = 0;
    while (stream.read(read.data(), fsPiece))
        count += fsPiece;
    if (count != size)
        std::abort();
}

std::size_t Size(benchmark::State &state) {
    return static_cast<std::size_t>(state.range(0));
}

void Memory(benchmark::State &state) {
    std::size_t const size = Size(state);
    for (auto _ : state) {
        TMemStream stream(static_cast<unsigned long>(state.range(1)));
        WriteAndRead(stream, size);
    }
}

void StandardMemory(benchmark::State &state) {
    std::size_t const size = Size(state);
    for (auto _ : state) {
        std::stringstream stream;
        WriteAndRead(stream, size);
    }
}

class TAtOnce : public TTempStreamTest {
public:
    int Test(TTempStreamBuf *) override { return 1; }
};

void File(benchmark::State &state) {
    std::size_t const size = Size(state);
    TReference<TTempStreamTest> const test(new TAtOnce);
    for (auto _ : state) {
        TTempStream stream(static_cast<unsigned long>(state.range(1)), "bench", test);
        WriteAndRead(stream, size);
    }
}

void StandardFile(benchmark::State &state) {
    std::size_t const size = Size(state);
    std::vector<char> buffer(static_cast<std::size_t>(state.range(1)));
    std::vector<char> const piece(fsPiece, 'x');
    std::vector<char> read(fsPiece);
    for (auto _ : state) {
        std::FILE *const file = std::tmpfile();
        if (!file || std::setvbuf(file, buffer.data(), _IOFBF, buffer.size()) != 0)
            std::abort();
        for (std::size_t done = 0; done < size; done += fsPiece)
            std::fwrite(piece.data(), 1, fsPiece, file);
        std::rewind(file);
        std::size_t count = 0;
        while (std::fread(read.data(), 1, fsPiece, file) == fsPiece)
            count += fsPiece;
        std::fclose(file);
        if (count != size)
            std::abort();
    }
}

BENCHMARK(Memory)->Args({65536, 10000})->Args({65536, 65536})->Args({64 << 20, 10000})->Args({64 << 20, 65536});
BENCHMARK(StandardMemory)->Arg(65536)->Arg(64 << 20);
BENCHMARK(File)->Args({65536, 10000})->Args({65536, 131072})->Args({64 << 20, 10000})->Args({64 << 20, 131072});
BENCHMARK(StandardFile)->Args({65536, 65536})->Args({64 << 20, 65536});

} // namespace
