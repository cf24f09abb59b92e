#include "tuzutil/TMPSTRM.h"

#include "support/CaptureTrace.h"
#include "support/memstream_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <random>
#include <sstream>
#include <string>

namespace {

using std::ios_base;

std::string Pattern(std::size_t size) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 7 + i / 256);
    return text;
}

std::int64_t Seek(std::streambuf &buf, std::int64_t offset, ios_base::seekdir direction,
                  ios_base::openmode mode = ios_base::in | ios_base::out) {
    return std::streamoff(buf.pubseekoff(offset, direction, mode));
}

std::string Rest(TMemStreamBuf &buf) {
    std::ostringstream out;
    unsigned long const told = buf.WriteTo(out);
    EXPECT_EQ(told, out.str().size());
    return out.str();
}

std::string ReadAll(std::streambuf &buf) {
    std::string text;
    for (int c = buf.sbumpc(); c != EOF; c = buf.sbumpc())
        text += static_cast<char>(c);
    return text;
}

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
    EXPECT_EQ(Rest(*stream.rdbuf()), text);
    EXPECT_EQ(Rest(*stream.rdbuf()), text); // the position is kept
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
    EXPECT_EQ(Rest(*stream.rdbuf()), "0123456789abc");
}

TEST(TempStream, WithoutAnAnswerTheTestTrapsAsAPureCall) {
    TCapture capture(TTrace::severe);
    TTempStreamBuf buf("x", new TWithoutTest);
    buf.sputc('a');
    capture.ExpectOne(TTrace::severe, "Trace", "Pure virtual function called", "src/utility/PURETRAP");
    EXPECT_EQ(Rest(buf), "a");
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
    EXPECT_EQ(Seek(buf, 0, ios_base::cur), 10); // behind what was read ahead
    EXPECT_EQ(Seek(buf, -4, ios_base::cur), 6);
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
    EXPECT_EQ(Rest(buf), "56789");
    Seek(buf, 0, ios_base::beg);
    EXPECT_EQ(Rest(buf), "012x\xFF"
                         "56789");
    Seek(buf, 12, ios_base::beg); // behind the end
    buf.sputc('!');
    Seek(buf, 9, ios_base::beg);
    EXPECT_EQ(Rest(buf), std::string("9\0\0!", 4));
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

TEST(TempStream, IsNotWrittenToItself) {
    TTempStream stream("x", Always());
    stream << "abc";
    stream.seekg(0);
    EXPECT_EQ(stream.rdbuf()->WriteTo(stream), 0u);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(Rest(*stream.rdbuf()), "abc");
}

TEST(TempStream, AnExceptionOfTheTestLosesNothing) {
    TTempStream stream(4, "x", Ask([](TTempStreamBuf &buf) -> int {
                           if (buf.QueryFirstBuffer())
                               throw 1;
                           return 0;
                       }));
    stream << "abcdef";
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(Rest(*stream.rdbuf()), "abcd");
}

// Moves when it has been asked so many times: never, at once, or some time.
TEST(TempStream, DoesWhatTheModelDoes) {
    for (unsigned int seed = 0; seed < 400; ++seed) {
        std::minstd_rand random(seed);
        std::size_t const sizes[] = {1, 2, 3, 5, 16, 100, 10000, 1 + random() % 10000};
        std::size_t const blockSize = sizes[seed % 8];
        unsigned int const movesAt = seed % 4 == 0   ? 0xFFFFFFFF
                                     : seed % 4 == 1 ? 1
                                                     : 1 + static_cast<unsigned int>(random() % 12);
        unsigned int asked = 0;
        TTempStreamBuf buf(blockSize, "x", Ask([&](TTempStreamBuf &) { return ++asked == movesAt; }));

        TMemoryModel memory(blockSize);
        std::optional<TFileModel> file;
        unsigned int expectedQuestions = 0;
        auto const write = [&](char byte) {
            if (!file && memory.NeedsBlock() && ++expectedQuestions == movesAt)
                file.emplace(std::max<std::size_t>(blockSize, 2), memory.data);
            if (file)
                file->Write(byte);
            else
                memory.Write(byte);
        };
        auto const amount = [&] { return random() % (random() % 4 ? 9 : 3 * blockSize + 1); };
        for (int step = 0; step < 60; ++step) {
            SCOPED_TRACE(testing::Message()
                         << "seed " << seed << " block " << blockSize << " moves " << movesAt << " step " << step);
            switch (random() % 6) {
            case 0:
            case 1: {
                std::string text = Pattern(amount());
                for (char &byte : text) {
                    byte = static_cast<char>(byte + step);
                    write(byte);
                }
                if (text.size() % 2) {
                    ASSERT_EQ(buf.sputn(text.data(), static_cast<std::streamsize>(text.size())),
                              static_cast<std::streamsize>(text.size()));
                } else {
                    for (char const byte : text)
                        ASSERT_NE(buf.sputc(byte), EOF);
                }
                break;
            }
            case 2:
            case 3:
                for (std::size_t n = amount(); n > 0; --n)
                    ASSERT_EQ(buf.sbumpc(), file ? file->Read() : memory.Read());
                break;
            case 4: {
                ios_base::seekdir const directions[] = {ios_base::beg, ios_base::cur, ios_base::end};
                ios_base::openmode const modes[] = {ios_base::in, ios_base::out, ios_base::in | ios_base::out,
                                                    ios_base::openmode()};
                ios_base::seekdir const direction = directions[random() % 3];
                ios_base::openmode const mode = modes[random() % 4];
                std::int64_t const offset = static_cast<std::int64_t>(amount()) - (random() % 3 ? 0 : 5);
                std::int64_t const expected =
                    file ? file->Seek(offset, direction) : memory.Seek(offset, direction, mode);
                ASSERT_EQ(Seek(buf, offset, direction, mode), expected);
                break;
            }
            default:
                if (random() % 2) {
                    ASSERT_EQ(buf.pubsync(), 0);
                    if (file)
                        file->Sync();
                } else {
                    ASSERT_EQ(Rest(buf), file ? file->Rest() : memory.data);
                }
            }
            ASSERT_EQ(asked, expectedQuestions);
        }
        if (file) {
            Seek(buf, 0, ios_base::beg);
            file->Seek(0, ios_base::beg);
        }
        ASSERT_EQ(Rest(buf), file ? file->Rest() : memory.data) << seed;
        ASSERT_EQ(buf.QueryFirstBuffer() == nullptr, file || memory.data.empty());
    }
}
