#include "tuzutil/TMPSTRM.h"

#include "support/CaptureTrace.h"
#include "support/MemStream.h"
#include "support/PureCall.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

namespace {

using std::ios_base;

// Answers what a function does.
class TAsk : public TTempStreamTest {
public:
    explicit TAsk(std::function<int(TTempStreamBuf &)> ask) : fAsk(std::move(ask)) {}
    int Test(TTempStreamBuf *buf) override { return fAsk(*buf); }

private:
    std::function<int(TTempStreamBuf &)> fAsk;
};

TReference<TTempStreamTest> Ask(std::function<int(TTempStreamBuf &)> ask) {
    return TReference<TTempStreamTest>(new TAsk(std::move(ask)));
}

TReference<TTempStreamTest> Always() {
    return Ask([](TTempStreamBuf &) { return 1; });
}

class TAtMost : public TTempStreamTest { // asked before each block of memory
public:
    explicit TAtMost(unsigned long bytes) : fBytes(bytes) {}
    int Test(TTempStreamBuf *buf) override {
        unsigned long size = 0;
        for (TMemStreamBuffer const *block = buf->QueryFirstBuffer(); block; block = block->QueryNext())
            size += block->QueryUsed();
        return size >= fBytes;
    }

private:
    unsigned long fBytes;
};

class TWithoutTest : public TTempStreamTest {};

} // namespace

TEST(TempStream, Example) {
    TTempStream message("message", new TAtMost(65536));
    std::string const text = Pattern(200000);
    std::istringstream in(text);
    message << in.rdbuf();
    message.seekg(0);
    std::ostringstream out;
    EXPECT_EQ(message.rdbuf()->WriteTo(out), 200000u);
    EXPECT_EQ(out.str(), text);
    EXPECT_EQ(message.rdbuf()->QueryFirstBuffer(), nullptr);
}

TEST(TempStream, TestIsAskedBeforeEachBlockAndSeesAllThatWasWritten) {
    std::vector<unsigned long> seen;
    TTempStreamBuf buf(10, "x", Ask([&](TTempStreamBuf &asked) {
                           unsigned long size = 0;
                           for (TMemStreamBuffer const *b = asked.QueryFirstBuffer(); b; b = b->QueryNext())
                               size += b->QueryUsed();
                           seen.push_back(size);
                           return 0;
                       }));
    std::string const text = Pattern(25);
    buf.sputn(text.data(), 25);
    EXPECT_EQ(seen, (std::vector<unsigned long>{0, 10, 20}));
    Seek(buf, 0, ios_base::beg, ios_base::out);
    buf.sputn(text.data(), 25); // through blocks that are there
    EXPECT_EQ(seen.size(), 3u);
    buf.sputn(text.data(), 6);
    EXPECT_EQ(seen, (std::vector<unsigned long>{0, 10, 20, 30}));
}

TEST(TempStream, GoesToTheFileBeforeItsFirstBlock) {
    TCapture capture(TTrace::error);
    TTempStream stream("x", Always());
    stream.put('a');
    capture.ExpectOne(TTrace::error, "MemStream", "Opened temp file", "src/utility/TMPSTRM");
    std::string const text = 'a' + Pattern(30000);
    stream.write(text.data() + 1, 30000);
    EXPECT_EQ(stream.rdbuf()->QueryFirstBuffer(), nullptr);
    stream.seekg(0);
    EXPECT_EQ(Copied(*stream.rdbuf()), text);
    EXPECT_EQ(Copied(*stream.rdbuf()), text); // the position is kept
    EXPECT_EQ(ReadAll(*stream.rdbuf()), text);
    capture.ExpectNone();
}

TEST(TempStream, EntryOfTheOpenedFileHasItsLine) {
    TCapture capture(TTrace::error);
    TTempStreamBuf buf("x", Always());
    buf.sputc('a');
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0].line, 250u);
}

TEST(TempStream, WithoutATestStaysInMemory) {
    TTempStream stream(10, nullptr, nullptr);
    stream << "0123456789abc" << std::flush;
    ASSERT_NE(stream.rdbuf()->QueryFirstBuffer(), nullptr);
    EXPECT_EQ(Copied(*stream.rdbuf()), "0123456789abc");
}

TEST(TempStream, WithoutAnAnswerTheTestTrapsAsAPureCall) {
    CallPure("class .*TWithoutTest does not override TTempStreamTest::Test", [] {
        TCapture capture(TTrace::severe);
        TTempStreamBuf buf("x", new TWithoutTest);
        buf.sputc('a');
        capture.ExpectOne(TTrace::severe, "Trace", "Pure virtual function called", "src/utility/PURETRAP");
        EXPECT_EQ(Copied(buf), "a");
    });
}

// What the test may do with the stream that it is asked about.
TEST(TempStream, TestMaySeekAndLosesNothing) {
    struct Row {
        std::int64_t offset;
        ios_base::seekdir direction;
        char const *content; // of "0123456789" and "ab" where the put side then stands
    };
    Row const rows[] = {{0, ios_base::cur, "ab23456789"},
                        {0, ios_base::beg, "ab23456789"},
                        {5, ios_base::beg, "01234ab789"},
                        {0, ios_base::end, "0123456789ab"}};
    for (Row const &row : rows) {
        int asked = 0;
        TTempStreamBuf buf(5, "x", Ask([&](TTempStreamBuf &given) {
                               if (++asked == 3)
                                   Seek(given, row.offset, row.direction, ios_base::out);
                               return 0;
                           }));
        buf.sputn("0123456789", 10);
        EXPECT_EQ(buf.sputn("ab", 2), 2);
        EXPECT_EQ(Copied(buf), row.content) << row.offset;
    }
}

TEST(TempStream, TestThatSeeksAndThenMovesGoesOnBehindAll) {
    int asked = 0;
    TTempStreamBuf buf(5, "x", Ask([&](TTempStreamBuf &given) {
                           Seek(given, 0, ios_base::beg, ios_base::out);
                           return ++asked == 2;
                       }));
    buf.sputn("01234ab", 7);
    EXPECT_EQ(asked, 2);
    Seek(buf, 0, ios_base::beg);
    EXPECT_EQ(Copied(buf), "01234ab");
}

TEST(TempStream, TestMayWriteAndMovesOnce) {
    int depth = 0;
    TTempStreamBuf buf(4, "x", Ask([&](TTempStreamBuf &given) {
                           if (++depth == 2)
                               given.sputn("XY", 2); // asked again, and filled
                           return depth > 1;
                       }));
    buf.sputn("0123ab", 6);
    Seek(buf, 0, ios_base::beg);
    EXPECT_EQ(Copied(buf), "0123XYab");
}

TEST(TempStream, KeepsItsTest) {
    TReference<TTempStreamTest> const test = Always();
    {
        TTempStream const stream("x", test);
        EXPECT_EQ(test->QueryReferenceCount(), 2u);
    }
    EXPECT_EQ(test->QueryReferenceCount(), 1u);
}

TEST(TempStream, ReadsNothingRightAfterTheMoveAndAllFromTheStart) {
    TTempStreamBuf buf(10, "x", new TAtMost(20));
    std::string const text = Pattern(25);
    buf.sputn(text.data(), 12);
    EXPECT_EQ(buf.sbumpc(), static_cast<unsigned char>(text[0]));
    buf.sputn(text.data() + 12, 13);
    EXPECT_EQ(buf.QueryFirstBuffer(), nullptr);
    EXPECT_EQ(buf.sgetc(), EOF);
    EXPECT_EQ(Seek(buf, 0, ios_base::cur), 25);
    EXPECT_EQ(Seek(buf, 0, ios_base::beg), 0);
    EXPECT_EQ(ReadAll(buf), text);
}

TEST(TempStream, FileOffsetsCountBothWays) {
    TTempStreamBuf buf(10, "x", Always());
    buf.sputn("0123456789", 10);
    EXPECT_EQ(Seek(buf, -3, ios_base::end), 7);
    EXPECT_EQ(buf.sbumpc(), '7');
    EXPECT_EQ(Seek(buf, 0, ios_base::cur), 8); // whatever was read ahead
    EXPECT_EQ(Seek(buf, -2, ios_base::cur), 6);
    EXPECT_EQ(std::streamoff(buf.pubseekpos(2)), 2);
    EXPECT_EQ(buf.sgetc(), '2');
    EXPECT_EQ(Seek(buf, -1, ios_base::beg), -1);
    EXPECT_EQ(Seek(buf, 0, static_cast<ios_base::seekdir>(3)), -1);
    EXPECT_EQ(Seek(buf, 0, ios_base::end), 10);
}

TEST(TempStream, WritesWhereItStandsInTheFile) {
    TTempStreamBuf buf(10, "x", Always());
    buf.sputn("0123456789", 10);
    Seek(buf, 3, ios_base::beg);
    EXPECT_EQ(buf.sputc('x'), 'x');
    EXPECT_EQ(buf.sputc('\xFF'), 0xFF);
    EXPECT_EQ(buf.pubsync(), 0);
    EXPECT_EQ(Copied(buf), "56789");
    Seek(buf, 0, ios_base::beg);
    EXPECT_EQ(Copied(buf), "012x\xFF"
                           "56789");
    Seek(buf, 12, ios_base::beg); // behind the end
    buf.sputc('!');
    Seek(buf, 9, ios_base::beg);
    EXPECT_EQ(Copied(buf), std::string("9\0\0!", 4));
}

TEST(TempStream, FlushesAsAStream) {
    TTempStream stream("x", Always());
    stream << "abc" << std::flush << "def" << std::flush;
    EXPECT_TRUE(stream.good());
    std::string text;
    stream.seekg(0);
    stream >> text;
    EXPECT_EQ(text, "abcdef");
}

TEST(TempStream, ReaderInTheFileLosesNothingToWhatEmptiesTheBuffers) {
    std::string text;
    for (int i = 0; i < 3000; ++i)
        text += "line " + std::to_string(i) + '\n';
    struct Row {
        char const *name;
        std::function<void(TTempStream &)> act;
    };
    Row const rows[] = {
        {"flush", [](TTempStream &stream) { stream.flush(); }},
        {"tellg", [](TTempStream &stream) { stream.tellg(); }},
        {"seek by nothing", [](TTempStream &stream) { stream.seekg(0, ios_base::cur); }},
        {"a tied stream's read",
         [](TTempStream &stream) {
             std::istringstream other("x");
             other.tie(&stream);
             other.get();
         }},
        {"WriteTo", [](TTempStream &stream) { Copied(*stream.rdbuf()); }},
    };
    for (Row const &row : rows) {
        TTempStream stream("x", Always());
        stream << text;
        stream.seekg(0);
        std::string read;
        for (std::string line; std::getline(stream, line);) {
            read += line + '\n';
            row.act(stream);
        }
        EXPECT_EQ(read, text) << row.name;
    }
}

TEST(TempStream, PositionInTheFileIsTheReaders) {
    TTempStream stream("x", Always());
    stream << "line 0\nline 1\nline 2\n";
    stream.seekg(0);
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(std::streamoff(stream.tellg()), 7);
    EXPECT_EQ(Copied(*stream.rdbuf()), "line 1\nline 2\n");
    EXPECT_EQ(std::streamoff(stream.tellg()), 7);
    std::getline(stream, line);
    EXPECT_EQ(line, "line 1");
    stream << std::flush << "LINE" << std::flush; // where the reader stands
    EXPECT_EQ(std::streamoff(stream.tellg()), 18);
    stream.seekg(0);
    EXPECT_EQ(ReadAll(*stream.rdbuf()), "line 0\nline 1\nLINE 2\n");
}

TEST(TempStream, WhatIsFlushedAfterAReadGoesToWhereTheReaderIs) {
    TTempStream stream(20, "x", Always());
    stream << "0123456789abcdefghij";
    stream.seekg(0);
    EXPECT_EQ(stream.get(), '0');
    stream << 'X' << std::flush;
    EXPECT_EQ(stream.get(), '2');
    stream.seekg(0);
    EXPECT_EQ(ReadAll(*stream.rdbuf()), "0X23456789abcdefghij");
}

TEST(TempStream, IsNotWrittenToItself) {
    TTempStream stream("x", Always());
    stream << "abc";
    stream.seekg(0);
    EXPECT_EQ(stream.rdbuf()->WriteTo(stream), 0u);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(Copied(*stream.rdbuf()), "abc");
}

TEST(TempStream, AnExceptionOfTheTestLosesNothing) {
    TTempStream stream(4, "x", Ask([](TTempStreamBuf &buf) -> int {
                           if (buf.QueryFirstBuffer())
                               throw 1;
                           return 0;
                       }));
    stream << "abcdef";
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(Copied(*stream.rdbuf()), "abcd");
}

// Moves when it has been asked so many times: never, at once, or some time.
TEST(TempStream, DoesWhatTheModelDoes) {
    for (unsigned int seed = 0; seed < 400; ++seed) {
        std::minstd_rand random(seed);
        auto const blockSize = static_cast<unsigned long>(DrawBlockSize(random));
        unsigned int const some = 1 + static_cast<unsigned int>(random() % 12);
        unsigned int const movesAt = seed % 4 == 0 ? 0xFFFFFFFF : seed % 4 == 1 ? 1 : some;
        unsigned int asked = 0;
        TTempStreamBuf buf(blockSize, "x", Ask([&](TTempStreamBuf &) { return ++asked == movesAt; }));
        TTempModel model(blockSize, movesAt);
        for (int step = 0; step < 60; ++step) {
            SCOPED_TRACE(testing::Message()
                         << "seed " << seed << " block " << blockSize << " moves " << movesAt << " step " << step);
            ASSERT_NO_FATAL_FAILURE(WorkOnBoth(buf, model, blockSize, random));
            ASSERT_EQ(asked, model.questions);
        }
        ASSERT_EQ(buf.QueryFirstBuffer() != nullptr, model.HasBlocks());
        ASSERT_EQ(Seek(buf, 0, ios_base::beg), model.Seek(0, ios_base::beg, ios_base::in | ios_base::out));
        ASSERT_EQ(Copied(buf), model.Rest()) << seed;
    }
}

TEST(TempStreamBuf, UnderflowWithBytesInTheAreaTakesNone) {
    class TAtOnce : public TTempStreamTest {
    public:
        int Test(TTempStreamBuf *) override { return 1; }
    };
    class TReader : public TTempStreamBuf {
    public:
        using TTempStreamBuf::extend;
        using TTempStreamBuf::TTempStreamBuf;
        using TTempStreamBuf::underflow;
    } buf(2ul, "name", new TAtOnce);
    EXPECT_EQ(buf.sputn("abcdef", 6), 6); // moves to a file
    EXPECT_EQ(buf.extend(), 0);           // has nothing more to do
    EXPECT_EQ(buf.pubseekpos(1), 1);
    EXPECT_EQ(buf.sgetc(), 'b');
    EXPECT_EQ(buf.underflow(), 'b');
    EXPECT_EQ(buf.sbumpc(), 'b');
    EXPECT_EQ(buf.underflow(), 'c');
}
