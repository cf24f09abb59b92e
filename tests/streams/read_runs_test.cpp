// Reading many bytes at once is the same as reading them one by one: the bytes, what is left in the source, what can be
// put back, and what the stream says of the lines.

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>
#include <string>

namespace {

// Lines of all lengths and line ends, with dots where they matter.
std::string MakeText(std::mt19937 &random) {
    std::string text;
    for (std::size_t lines = random() % 40; lines != 0; --lines) {
        if (random() % 3 == 0)
            text += '.';
        std::size_t const length = random() % 9 == 0 ? random() % 3000 : random() % 20;
        for (std::size_t i = 0; i < length; ++i)
            text += "abcdefghij.\r"[random() % 60 < 58 ? random() % 10 : 10 + random() % 2];
        char const *const ends[] = {"\r\n", "\r\n", "\r\n", "\n", "\n", "\r", "\r\r\n", ""};
        text += ends[random() % std::size(ends)];
        if (random() % 60 == 0)
            text += ".\r\n";
    }
    return text;
}

// A stream with its source. `Facts()` is what can be seen of both beside the bytes.
struct TDot {
    explicit TDot(std::string const &text, unsigned int) : source(text), in(source) {}
    std::string Facts() {
        return std::to_string(in.IsTerminated()) + std::to_string(in.SawBareLineFeed()) +
               std::to_string(in.SawBareCarriageReturn());
    }
    std::istringstream source;
    TiDotByteStream in;
};
struct TLines {
    explicit TLines(std::string const &text, unsigned int kind) : source(text), in(kind % 2 ? 500 : 10240, &source) {}
    std::string Facts() { return std::to_string(in.QueryLinesRead()); }
    std::istringstream source;
    TiLineStream in;
};
struct TConcat {
    explicit TConcat(std::string const &text, unsigned int kind)
        : source(text), second(text), in(static_cast<int>(kind % 2), kind % 4 < 2 ? 1024 : 20, source, second) {
        in.SetWholeLines(kind % 8 < 4);
    }
    std::string Facts() { return std::to_string(second.rdbuf()->in_avail()); }
    std::istringstream source;
    std::istringstream second;
    TiConcatStream in;
};

std::string ReadOneByOne(std::istream &in, std::size_t count) {
    std::string text;
    while (text.size() < count) {
        int const c = in.rdbuf()->sbumpc();
        if (c == std::char_traits<char>::eof())
            break;
        text += static_cast<char>(c);
    }
    return text;
}

std::string ReadAtOnce(std::istream &in, std::size_t count) {
    std::string text(count, '?');
    text.resize(static_cast<std::size_t>(in.rdbuf()->sgetn(text.data(), static_cast<std::streamsize>(count))));
    return text;
}

// Takes bytes back as long as that works, and reads them again.
std::string TakeBack(std::istream &in) {
    std::string text;
    while (in.rdbuf()->sungetc() != std::char_traits<char>::eof())
        text += static_cast<char>(in.rdbuf()->sgetc());
    for (std::size_t i = 0; i < text.size(); ++i)
        in.rdbuf()->sbumpc();
    return text;
}

template <typename Stream>
void Compare(unsigned int seed) {
    std::mt19937 random(seed);
    for (unsigned int round = 0; round < 3000; ++round) {
        std::string const text = MakeText(random);
        Stream one(text, round);
        Stream many(text, round);
        for (int step = 0; step < 30; ++step) {
            std::size_t const count = random() % 4 == 0 ? random() % 5000 : random() % 50;
            std::string const expected = ReadOneByOne(one.in, count);
            ASSERT_EQ(ReadAtOnce(many.in, count), expected) << round;
            ASSERT_EQ(many.source.rdbuf()->in_avail(), one.source.rdbuf()->in_avail()) << round;
            ASSERT_EQ(many.in.rdbuf()->in_avail(), one.in.rdbuf()->in_avail()) << round;
            ASSERT_EQ(many.source.rdstate(), one.source.rdstate()) << round;
            ASSERT_EQ(many.Facts(), one.Facts()) << round;
            if (random() % 3 == 0) {
                ASSERT_EQ(TakeBack(many.in), TakeBack(one.in)) << round;
            }
        }
    }
}

} // namespace

TEST(ReadRuns, OfADotStreamAreItsSingleBytes) {
    Compare<TDot>(4711);
}

TEST(ReadRuns, OfALineStreamAreItsSingleBytes) {
    Compare<TLines>(4712);
}

TEST(ReadRuns, OfAConcatStreamAreItsSingleBytes) {
    Compare<TConcat>(4713);
}

TEST(ReadRuns, ACancelledStreamThrowsAtOnce) {
    std::istringstream source("a\r\nb\r\nc\r\n.\r\n");
    TiDotByteStream in(source);
    char text[9];
    in.read(text, 1);
    in.Cancel();
    EXPECT_THROW(in.read(text, 8), TDotByteError);
    EXPECT_EQ(source.rdbuf()->in_avail(), 9); // the lines b and c, and the end, are still there
}

TEST(ReadRuns, ATiedStreamIsFlushedBeforeEachPiece) {
    struct TCountingBuf : std::stringbuf {
        int count = 0;
        int sync() override { return ++count, 0; }
    } buffer;
    std::ostream prompt(&buffer);
    std::istringstream source("a\r\nb\r\nc\r\nd");
    source.tie(&prompt);
    TiLineStream in(&source);
    char text[10];
    in.read(text, 10);
    EXPECT_EQ(std::string(text, 10), "a\r\nb\r\nc\r\nd");
    EXPECT_EQ(buffer.count, 4);
}
