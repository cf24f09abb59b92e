// Compares line-oriented streams with floors: the times of work that no library can avoid, such as copying. The text
// has 1 MiB, in lines of 64 bytes on average.

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <istream>
#include <ostream>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

constexpr std::size_t fsSize = 1u << 20;
constexpr std::size_t fsPiece = 4096;

// Returns lines that end with CR LF. Most lines have 66 to 76 bytes, and some are empty. One line in 16 begins with a
// dot.
std::string MakeBody() {
    std::mt19937 random(4711);
    std::string body;
    while (body.size() < fsSize) {
        std::size_t const length = random() % 8 == 0 ? 0 : 64 + random() % 11;
        std::string line(length, 'x');
        for (char &c : line)
            c = static_cast<char>('a' + random() % 26);
        if (length != 0 && random() % 16 == 0)
            line[0] = '.';
        body += line + "\r\n";
    }
    return body;
}

std::string const &Body() {
    static std::string const body = MakeBody();
    return body;
}

std::string MakeWire() {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << Body();
    out.WriteTermination();
    return sink.str();
}

std::string const &Wire() {
    static std::string const wire = MakeWire();
    return wire;
}

class TMemorySourceBuf : public std::streambuf {
public:
    explicit TMemorySourceBuf(std::string const &text) {
        char *const begin = const_cast<char *>(text.data());
        setg(begin, begin, begin + text.size());
    }
};

class TMemorySinkBuf : public std::streambuf {
public:
    explicit TMemorySinkBuf(std::vector<char> &memory) { setp(memory.data(), memory.data() + memory.size()); }
    std::size_t Count() const { return static_cast<std::size_t>(pptr() - pbase()); }
};

class TCountingSinkBuf : public std::streambuf {
public:
    std::size_t count = 0;

protected:
    std::streamsize xsputn(char const *, std::streamsize size) override {
        count += static_cast<std::size_t>(size);
        return size;
    }
    int_type overflow(int_type c) override {
        ++count;
        return traits_type::not_eof(c);
    }
};

void SetBytes(benchmark::State &state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
}

void Check(benchmark::State &state, bool right) {
    if (!right)
        state.SkipWithError("wrong result");
}

void Memcpy(benchmark::State &state) {
    std::string const &body = Body();
    std::vector<char> memory(body.size());
    for (auto _ : state) {
        std::memcpy(memory.data(), body.data(), body.size());
        benchmark::DoNotOptimize(memory.data());
        benchmark::ClobberMemory();
    }
    SetBytes(state, body.size());
}

void MemchrPerLine(benchmark::State &state) {
    std::string const &body = Body();
    std::size_t lines = 0;
    for (auto _ : state) {
        char const *at = body.data();
        char const *const end = at + body.size();
        lines = 0;
        while (auto const *const found =
                   static_cast<char const *>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)))) {
            at = found + 1;
            ++lines;
        }
        benchmark::DoNotOptimize(lines);
    }
    Check(state, lines == static_cast<std::size_t>(std::count(body.begin(), body.end(), '\n')));
    SetBytes(state, body.size());
}

void WritePieces(std::ostream &out) {
    std::string const &body = Body();
    for (std::size_t at = 0; at < body.size(); at += fsPiece)
        out.write(body.data() + at, static_cast<std::streamsize>(std::min(fsPiece, body.size() - at)));
}

void DotByteWriteToMemory(benchmark::State &state) {
    std::vector<char> memory(Wire().size());
    std::size_t count = 0;
    for (auto _ : state) {
        TMemorySinkBuf buffer(memory);
        std::ostream sink(&buffer);
        ToDotByteStream out(sink);
        WritePieces(out);
        out.WriteTermination();
        count = buffer.Count();
        benchmark::ClobberMemory();
    }
    Check(state, count == Wire().size() && std::memcmp(memory.data(), Wire().data(), count) == 0);
    SetBytes(state, Body().size());
}

void DotByteWriteToNull(benchmark::State &state) {
    std::size_t count = 0;
    for (auto _ : state) {
        TCountingSinkBuf buffer;
        std::ostream sink(&buffer);
        ToDotByteStream out(sink);
        WritePieces(out);
        out.WriteTermination();
        count = buffer.count;
    }
    Check(state, count == Wire().size());
    SetBytes(state, Body().size());
}

void DotByteWriteLimited(benchmark::State &state) {
    std::size_t count = 0;
    for (auto _ : state) {
        TCountingSinkBuf buffer;
        std::ostream sink(&buffer);
        ToDotByteStream out(sink, 10'000'000);
        WritePieces(out);
        out.WriteTermination();
        count = buffer.count;
    }
    Check(state, count == Wire().size());
    SetBytes(state, Body().size());
}

// The ways to open a source. The functions below read the opened stream to its end.
auto const fsStraight = [](std::istream &source) -> std::istream & { return source; };
auto const fsDotted = [](std::istream &source) { return TiDotByteStream(source); };
auto const fsByLine = [](std::istream &source) { return TiLineStream(&source); };
auto const fsToCrLf = [](std::istream &source) { return TiConcatStream(1, source); };

void ReadPieces(benchmark::State &state, std::istream &in) {
    char piece[fsPiece];
    std::size_t count = 0;
    do {
        in.read(piece, fsPiece);
        benchmark::DoNotOptimize(piece);
        count += static_cast<std::size_t>(in.gcount());
    } while (in);
    Check(state, count == Body().size());
}

void ReadLines(benchmark::State &state, std::istream &in) {
    std::string line;
    std::size_t bytes = 0;
    while (std::getline(in, line))
        bytes += line.size() + 1;
    Check(state, bytes == Body().size());
}

void ReadCharLines(benchmark::State &state, std::istream &in) {
    char line[200];
    std::size_t bytes = 0;
    while (in.getline(line, sizeof line))
        bytes += static_cast<std::size_t>(in.gcount());
    Check(state, bytes == Body().size());
}

void ReadLinesWithLimit(benchmark::State &state, TiLineStream &in) {
    std::string line;
    std::size_t bytes = 0;
    while (in.ReadLine(line, 1000) == TLineRead::line)
        bytes += line.size() + 2;
    Check(state, bytes == Body().size());
}

void ReadWholeLines(benchmark::State &state, TiConcatStream &in) {
    in.SetWholeLines(1);
    ReadPieces(state, in);
}

template <typename Open, typename Read>
void ReadBody(benchmark::State &state, std::string const &text, Open open, Read read) {
    for (auto _ : state) {
        TMemorySourceBuf buffer(text);
        std::istream source(&buffer);
        auto &&in = open(source);
        read(state, in);
    }
    SetBytes(state, Body().size());
}

// The simplest loop that removes the dots: it copies one byte after the other.
void DotByteByteLoop(benchmark::State &state) {
    std::vector<char> memory(Wire().size());
    std::size_t count = 0;
    for (auto _ : state) {
        count = 0;
        bool isLineStart = true;
        for (char const *at = Wire().data(); !(isLineStart && at[0] == '.' && at[1] == '\r'); ++at) {
            if (isLineStart && *at == '.')
                ++at;
            memory[count++] = *at;
            isLineStart = *at == '\n';
        }
        benchmark::ClobberMemory();
    }
    Check(state, count == Body().size());
    SetBytes(state, Body().size());
}

std::string const &WithoutCr() {
    static std::string const text = [] {
        std::string body(Body());
        body.erase(std::remove(body.begin(), body.end(), '\r'), body.end());
        return body;
    }();
    return text;
}

void DotByteReadRuns(benchmark::State &state) {
    ReadBody(state, Wire(), fsDotted, ReadPieces);
}

void DotByteReadLines(benchmark::State &state) {
    ReadBody(state, Wire(), fsDotted, ReadLines);
}

void LineReadLines(benchmark::State &state) {
    ReadBody(state, Body(), fsByLine, ReadLines);
}

void LineReadLinesWithLimit(benchmark::State &state) {
    ReadBody(state, Body(), fsByLine, ReadLinesWithLimit);
}

void LineReadRuns(benchmark::State &state) {
    ReadBody(state, Body(), fsByLine, ReadPieces);
}

void StraightGetline(benchmark::State &state) {
    ReadBody(state, Body(), fsStraight, ReadLines);
}

void StraightCharGetline(benchmark::State &state) {
    ReadBody(state, Body(), fsStraight, ReadCharLines);
}

void LineReadCharLines(benchmark::State &state) {
    ReadBody(state, Body(), fsByLine, ReadCharLines);
}

void ConcatReadRuns(benchmark::State &state) {
    ReadBody(state, WithoutCr(), fsToCrLf, ReadWholeLines);
}

void LineWriteToMemory(benchmark::State &state) {
    std::vector<char> memory(Body().size());
    for (auto _ : state) {
        TMemorySinkBuf buffer(memory);
        std::ostream sink(&buffer);
        ToLineStream out(&sink);
        WritePieces(out);
        out.flush();
        benchmark::ClobberMemory();
    }
    Check(state, std::memcmp(memory.data(), Body().data(), Body().size()) == 0);
    SetBytes(state, Body().size());
}

void StringStreamGetline(benchmark::State &state) {
    std::istringstream in(Body());
    for (auto _ : state) {
        in.clear();
        in.seekg(0);
        ReadLines(state, in);
    }
    SetBytes(state, Body().size());
}

BENCHMARK(Memcpy);
BENCHMARK(MemchrPerLine);
BENCHMARK(StringStreamGetline);
BENCHMARK(DotByteWriteToMemory);
BENCHMARK(DotByteWriteToNull);
BENCHMARK(DotByteWriteLimited);
BENCHMARK(DotByteByteLoop);
BENCHMARK(DotByteReadRuns);
BENCHMARK(DotByteReadLines);
BENCHMARK(LineReadLines);
BENCHMARK(LineReadLinesWithLimit);
BENCHMARK(LineReadRuns);
BENCHMARK(StraightGetline);
BENCHMARK(StraightCharGetline);
BENCHMARK(LineReadCharLines);
BENCHMARK(ConcatReadRuns);
BENCHMARK(LineWriteToMemory);

} // namespace
