#include "tuzutil/MEMSTRM.h"

#include "support/MemStream.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <string>
#include <vector>

namespace {

using std::ios_base;

std::vector<unsigned long> UsedSizes(TMemStreamBuf const &buf) {
    std::vector<unsigned long> sizes;
    for (TMemStreamBuffer const *block = buf.QueryFirstBuffer(); block; block = block->QueryNext())
        sizes.push_back(block->QueryUsed());
    return sizes;
}

// Opens what is protected.
class TOpenBuf : public TMemStreamBuf {
public:
    using TMemStreamBuf::DeleteBuffer;
    using TMemStreamBuf::doallocate;
    using TMemStreamBuf::extend;
    using TMemStreamBuf::overflow;
    using TMemStreamBuf::QueryAllocSize;
    using TMemStreamBuf::TMemStreamBuf;
};

} // namespace

TEST(MemStream, Example) {
    TMemStream message;
    message << "Subject: x\r\n\r\nHello\r\n" << std::flush;
    std::string first;
    std::getline(message, first);
    EXPECT_EQ(first, "Subject: x\r");
    std::ostringstream copy;
    EXPECT_EQ(message.rdbuf()->WriteTo(copy), 21u);
    EXPECT_EQ(copy.str(), "Subject: x\r\n\r\nHello\r\n");
}

TEST(MemStream, EmptyOneHasNoBlocksAndNothingToRead) {
    TMemStream stream;
    EXPECT_EQ(stream.rdbuf()->QueryFirstBuffer(), nullptr);
    EXPECT_EQ(Copied(*stream.rdbuf()), "");
    for (auto direction : {ios_base::beg, ios_base::cur, ios_base::end})
        EXPECT_EQ(Seek(*stream.rdbuf(), 5, direction, ios_base::in), 0);
    EXPECT_EQ(stream.get(), EOF);
    EXPECT_EQ(stream.rdbuf()->QueryFirstBuffer(), nullptr);
}

TEST(MemStream, FillsBlocksOneAfterAnother) {
    TMemStream stream;
    std::string const text = Pattern(25000);
    ASSERT_TRUE(stream.write(text.data(), 25000));
    EXPECT_EQ(Copied(*stream.rdbuf()), text);
    EXPECT_EQ(UsedSizes(*stream.rdbuf()), (std::vector<unsigned long>{10000, 10000, 5000}));
    for (TMemStreamBuffer const *block = stream.rdbuf()->QueryFirstBuffer(); block; block = block->QueryNext())
        EXPECT_EQ(block->QueryAllocSize(), 10000u);
}

TEST(MemStream, ReadsFromItsFirstByteWhatWasOnlyWritten) {
    for (unsigned long blockSize : {1ul, 2ul, 3ul, 7ul, 1000ul, 10000ul}) {
        TMemStream stream(blockSize);
        std::string const text = Pattern(5000);
        for (char const byte : text)
            stream.put(byte);
        EXPECT_EQ(ReadAll(*stream.rdbuf()), text) << blockSize;
        EXPECT_EQ(stream.rdbuf()->sgetc(), EOF);
        stream << "more"; // after the end was met
        EXPECT_EQ(ReadAll(*stream.rdbuf()), "more") << blockSize;
    }
}

TEST(MemStream, SeeksToEveryPlace) {
    TMemStreamBuf buf;
    std::string const text = Pattern(25000);
    buf.sputn(text.data(), 25000);
    EXPECT_EQ(Seek(buf, 0, ios_base::end, ios_base::in), 25000);
    EXPECT_EQ(buf.sgetc(), EOF);
    EXPECT_EQ(Seek(buf, 10000, ios_base::beg, ios_base::in), 10000);
    EXPECT_EQ(buf.in_avail(), 10000); // the second block, from its start
    EXPECT_EQ(buf.sgetc(), static_cast<unsigned char>(text[10000]));
    EXPECT_EQ(Seek(buf, 9999, ios_base::beg, ios_base::in), 9999);
    EXPECT_EQ(buf.in_avail(), 1);
    EXPECT_EQ(Seek(buf, 100, ios_base::cur, ios_base::in), 10099);
    EXPECT_EQ(Seek(buf, 99999, ios_base::beg, ios_base::in), 25000);
    EXPECT_EQ(Seek(buf, 1, ios_base::end, ios_base::in), 25000);
    EXPECT_EQ(std::streamoff(buf.pubseekpos(12345, ios_base::in)), 12345);
    EXPECT_EQ(buf.sgetc(), static_cast<unsigned char>(text[12345]));
}

TEST(MemStream, NegativeOffsetsGoForwardFromTheStart) {
    TMemStreamBuf buf;
    std::string const text = Pattern(100);
    buf.sputn(text.data(), 100);
    char read[10];
    buf.sgetn(read, 10);
    EXPECT_EQ(Seek(buf, -5, ios_base::cur, ios_base::in), 15);
    EXPECT_EQ(buf.sgetc(), static_cast<unsigned char>(text[15]));
    EXPECT_EQ(Seek(buf, -7, ios_base::beg, ios_base::in), 7);
    EXPECT_EQ(Seek(buf, -1, ios_base::end, ios_base::in), 100);
    EXPECT_EQ(Seek(buf, INT64_MIN, ios_base::end, ios_base::in), 100);
    EXPECT_EQ(Seek(buf, INT64_MAX, ios_base::end, ios_base::in), 100);
}

TEST(MemStream, UnknownDirectionFailsAndMovesNothing) {
    TMemStreamBuf buf;
    buf.sputn("abc", 3);
    buf.sbumpc();
    EXPECT_EQ(Seek(buf, 0, static_cast<ios_base::seekdir>(3), ios_base::in), -1);
    EXPECT_EQ(buf.sgetc(), 'b');
}

TEST(MemStream, CurrentPositionOfThePutSideIsThatOfTheStartWhereNothingWasRead) {
    TMemStream stream;
    stream << "abcdef";
    EXPECT_EQ(stream.tellp(), 0);
    stream << "XY";
    EXPECT_EQ(Copied(*stream.rdbuf()), "XYcdef");
}

TEST(MemStream, CurrentPositionOfThePutSideCountsFromTheBlockThatIsRead) {
    TMemStreamBuf buf(10);
    std::string const text = Pattern(25);
    buf.sputn(text.data(), 25);
    char read[12];
    buf.sgetn(read, 12);                                       // in the second block
    EXPECT_EQ(Seek(buf, 0, ios_base::cur, ios_base::out), 15); // 10 + 5, the put pointer being at 5 of the third
    EXPECT_EQ(Seek(buf, 1, ios_base::cur, ios_base::openmode()), 11);
}

TEST(MemStream, WritingInTheMiddleReplacesBytesAndCutsNothingOff) {
    TMemStream stream(10);
    stream << "0123456789abcdefghijKLMNO";
    stream.seekp(8);
    stream << "wxyz";
    EXPECT_EQ(Copied(*stream.rdbuf()), "01234567wxyzcdefghijKLMNO");
    stream.seekp(18);
    stream << "1234567890";
    EXPECT_EQ(Copied(*stream.rdbuf()), "01234567wxyzcdefgh1234567890");
    EXPECT_EQ(UsedSizes(*stream.rdbuf()), (std::vector<unsigned long>{10, 10, 8}));
    stream.seekp(0, ios_base::end);
    stream << "++" << std::flush;
    EXPECT_EQ(UsedSizes(*stream.rdbuf()), (std::vector<unsigned long>{10, 10, 10}));
    EXPECT_EQ(ReadAll(*stream.rdbuf()), "01234567wxyzcdefgh1234567890++");
}

TEST(MemStream, ReadingSeesWhatIsWrittenBehindIt) {
    TMemStream stream(4);
    std::string word;
    stream << "one ";
    stream >> word;
    EXPECT_EQ(word, "one");
    stream << "two ";
    stream >> word;
    EXPECT_EQ(word, "two");
    EXPECT_EQ(stream.tellg(), 7);
}

TEST(MemStream, SuccessOfASingleByteIsZero) {
    TOpenBuf buf(2);
    EXPECT_EQ(buf.overflow('a'), 0);
    EXPECT_EQ(buf.overflow(EOF), 0); // counts what is there
    EXPECT_EQ(UsedSizes(buf), (std::vector<unsigned long>{1}));
    EXPECT_EQ(buf.overflow('b'), 0);
    EXPECT_EQ(buf.overflow(0xFF), 0);
    EXPECT_EQ(Copied(buf), "ab\xFF");
}

TEST(MemStream, ProtectedPartsDoWhatTheySay) {
    TOpenBuf buf(5);
    EXPECT_EQ(buf.QueryAllocSize(), 5u);
    EXPECT_EQ(buf.doallocate(), 0);
    TMemStreamBuffer const *const first = buf.QueryFirstBuffer();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(buf.doallocate(), 0);
    EXPECT_EQ(first->QueryNext(), nullptr);
    buf.sputn("abcde", 5);
    EXPECT_EQ(buf.extend(), 0);
    EXPECT_NE(first->QueryNext(), nullptr);
    EXPECT_EQ(ReadAll(buf), "abcde");
    buf.DeleteBuffer();
    EXPECT_EQ(buf.QueryFirstBuffer(), nullptr);
    EXPECT_EQ(buf.sgetc(), EOF);
    buf.sputn("again", 5);
    EXPECT_EQ(ReadAll(buf), "again");
}

TEST(MemStream, BlockSizesHaveTheirLimits) {
    EXPECT_EQ(TOpenBuf().QueryAllocSize(), 10000u);
    EXPECT_EQ(TOpenBuf(0).QueryAllocSize(), 1u);
    EXPECT_EQ(TOpenBuf(0xFFFFFFFF).QueryAllocSize(), 1073741824u);
    TMemStream stream(0);
    stream << "abc";
    EXPECT_EQ(Copied(*stream.rdbuf()), "abc");
    EXPECT_EQ(UsedSizes(*stream.rdbuf()), (std::vector<unsigned long>{1, 1, 1}));
}

TEST(MemStream, SinkThatFailsGetsNoMore) {
    TMemStream stream(10);
    stream << "0123456789abcdefghij!";
    struct TShort : std::stringbuf {
        std::streamsize xsputn(char const *bytes, std::streamsize count) override {
            return str().empty() ? std::stringbuf::xsputn(bytes, count) : 0;
        }
    } sink;
    std::ostream out(&sink);
    EXPECT_EQ(stream.rdbuf()->WriteTo(out), 10u);
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(sink.str(), "0123456789");
    EXPECT_EQ(Copied(*stream.rdbuf()), "0123456789abcdefghij!");
}

TEST(MemStream, IsNotWrittenToItself) {
    TMemStream stream;
    stream << "abc";
    EXPECT_EQ(stream.rdbuf()->WriteTo(stream), 0u);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(Copied(*stream.rdbuf()), "abc");
}

TEST(MemStreamBuffer, OwnsWhatFollows) {
    TMemStreamBuffer first(7);
    EXPECT_EQ(first.QueryAllocSize(), 7u);
    EXPECT_EQ(first.QueryUsed(), 0u);
    EXPECT_EQ(first.QueryNext(), nullptr);
    auto *const second = new TMemStreamBuffer(1);
    first.SetNext(second);
    second->SetNext(new TMemStreamBuffer(2));
    auto *const other = new TMemStreamBuffer(3);
    first.SetNext(other); // the two are gone
    EXPECT_EQ(first.QueryNext(), other);
}

TEST(MemStreamBuffer, LongChainsAreDestroyedWithoutRecursion) {
    TMemStream stream(1);
    std::string const text = Pattern(300000);
    stream.write(text.data(), 300000);
    EXPECT_EQ(Copied(*stream.rdbuf()).size(), 300000u);
}

TEST(MemStream, DoesWhatTheModelDoes) {
    for (unsigned int seed = 0; seed < 300; ++seed) {
        std::minstd_rand random(seed);
        auto const blockSize = static_cast<unsigned long>(DrawBlockSize(random));
        TMemStreamBuf buf(blockSize);
        TMemoryModel model(blockSize);
        for (int step = 0; step < 60; ++step) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << " block " << blockSize << " step " << step);
            ASSERT_NO_FATAL_FAILURE(WorkOnBoth(buf, model, blockSize, random));
        }
        ASSERT_EQ(Copied(buf), model.data) << seed;
    }
}

TEST(MemStreamBuf, UnderflowWithBytesInTheAreaTakesNone) {
    class TReader : public TMemStreamBuf {
    public:
        using TMemStreamBuf::underflow;
    } buf;
    EXPECT_EQ(buf.sputn("ab", 2), 2);
    EXPECT_EQ(buf.sgetc(), 'a');
    EXPECT_EQ(buf.underflow(), 'a');
    EXPECT_EQ(buf.sbumpc(), 'a');
    EXPECT_EQ(buf.underflow(), 'b');
}
