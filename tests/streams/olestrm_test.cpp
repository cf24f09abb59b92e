#include "tuzutil/OLESTRM.h"

#include "support/CaptureTrace.h"
#include "support/OleStream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Counts = std::vector<unsigned long>;

class OleStream : public testing::Test {
protected:
    ~OleStream() override { EXPECT_EQ(behaviour.references, 0); }

    // The text of an entry about this object.
    std::string Entry(char const *begin, std::int32_t result) const {
        char text[200];
        std::snprintf(text, sizeof text, "%s from IStream interface, fStream=x%0*llX, rc=%d", begin,
                      static_cast<int>(2 * sizeof(void *)),
                      static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(object.Stream())), result);
        return text;
    }

    TOleBehaviour behaviour;
    TOleObject object{behaviour};
};

// Opens what is protected.
class TOpenBuf : public TOleStreamBuf {
public:
    using TOleStreamBuf::Close;
    using TOleStreamBuf::doallocate;
    using TOleStreamBuf::Init;
    using TOleStreamBuf::overflow;
    using TOleStreamBuf::TOleStreamBuf;
    TOpenBuf(unsigned long size, Type type) : TOleStreamBuf(size, type) {}
    explicit TOpenBuf(Type type) : TOleStreamBuf(type) {}
};

} // namespace

TEST_F(OleStream, Example) {
    ToOleStream out(object.Stream());
    out << "Subject: x\r\n" << std::flush;
    EXPECT_EQ(out.QueryBytesWritten(), 12u);
    EXPECT_EQ(behaviour.content, "Subject: x\r\n");
}

TEST_F(OleStream, WritesOnceWhenFlushed) {
    ToOleStream out(object.Stream());
    out << "0123456789";
    EXPECT_EQ(out.QueryBytesWritten(), 10u);
    EXPECT_EQ(behaviour.writes, Counts());
    out.flush();
    EXPECT_EQ(behaviour.writes, Counts({10}));
    EXPECT_EQ(out.QueryBytesWritten(), 10u);
    out.flush();
    EXPECT_EQ(behaviour.writes, Counts({10}));
}

TEST_F(OleStream, BufferIsLaidOutByType) {
    struct Row {
        TOleStreamBuf::Type type;
        unsigned long size;
        unsigned long reads;
        unsigned long writes;
    };
    Row const rows[] = {{TOleStreamBuf::reading, 100, 100, 0},
                        {TOleStreamBuf::writing, 100, 0, 100},
                        {TOleStreamBuf::readingWriting, 100, 50, 50},
                        {TOleStreamBuf::readingWriting, 7, 3, 4},
                        {TOleStreamBuf::reading, 0, 2, 0},
                        {TOleStreamBuf::writing, 1, 0, 2},
                        {TOleStreamBuf::readingWriting, 0, 1, 1}};
    for (Row const &row : rows) {
        SCOPED_TRACE(testing::Message() << int{row.type} << ' ' << row.size);
        behaviour = TOleBehaviour();
        behaviour.content = std::string(1000, 'x');
        TOleStreamBuf buf(row.size, object.Stream(), row.type);
        EXPECT_EQ(buf.sgetc(), row.reads ? 'x' : EOF);
        EXPECT_EQ(behaviour.reads, Counts({row.reads}));
        std::string const text(1000, 'y');
        EXPECT_EQ(buf.sputn(text.data(), 1000), row.writes ? 1000 : 0);
        EXPECT_EQ(behaviour.writes.empty() ? 0 : behaviour.writes[0], row.writes);
    }
    behaviour = TOleBehaviour();
    TiOleStream in(object.Stream());
    TOleStream both(object.Stream());
    in.get();
    both.get();
    EXPECT_EQ(behaviour.reads, Counts({10240, 5120}));
}

TEST_F(OleStream, ReadsToTheEndInWhateverPiecesComeAndNeverMixesBothWays) {
    for (unsigned long most : {1ul, 2ul, 3ul, 7ul, 100000ul}) {
        for (unsigned long size : {0ul, 2ul, 10ul, 10240ul}) {
            behaviour = TOleBehaviour();
            behaviour.most = most;
            for (int i = 0; i < 5000; ++i)
                behaviour.content += static_cast<char>(i * 7);
            std::string const expected = behaviour.content;
            TOleStream stream(size, object.Stream());
            std::ostringstream read;
            read << stream.rdbuf();
            EXPECT_EQ(read.str(), expected);
            stream.clear();
            EXPECT_EQ(stream.get(), EOF);
        }
    }
}

TEST_F(OleStream, NothingReadIsTheEnd) {
    TiOleStream in(object.Stream());
    EXPECT_EQ(in.get(), EOF);
    EXPECT_TRUE(in.eof());
    EXPECT_EQ(behaviour.reads.size(), 1u);
}

TEST_F(OleStream, FailedReadIsTracedAndTheEnd) {
    for (std::int32_t result : {-2147287035, 1}) { // also a success with information
        TCapture capture(TTrace::error);
        behaviour.content = "lost";
        behaviour.position = 0;
        behaviour.readResult = result;
        TiOleStream in(object.Stream());
        EXPECT_EQ(in.get(), EOF);
        ASSERT_EQ(capture.Entries().size(), 1u);
        EXPECT_EQ(capture.Entries()[0].line, 247u);
        capture.ExpectOne(TTrace::error, "OleStream", Entry("error reading", result).c_str(), "src/utility/OLESTRM");
        behaviour.readResult = 0;
        behaviour.position = 0;
        in.clear();
        EXPECT_EQ(in.get(), 'l');
        capture.ExpectNone();
    }
}

TEST_F(OleStream, FailedWriteIsTracedAndLosesNothing) {
    for (std::int32_t result : {-2147286928, 1}) {
        TCapture capture(TTrace::error);
        behaviour = TOleBehaviour();
        behaviour.writeResult = result;
        behaviour.most = 2; // are written all the same
        ToOleStream out(object.Stream());
        out << "abcde" << std::flush;
        EXPECT_TRUE(out.bad());
        ASSERT_EQ(capture.Entries().size(), 1u);
        EXPECT_EQ(capture.Entries()[0].line, 190u);
        capture.ExpectOne(TTrace::error, "OleStream", Entry("Error writing", result).c_str(), "src/utility/OLESTRM");
        EXPECT_EQ(out.QueryBytesWritten(), 5u);
        behaviour.writeResult = 0;
        behaviour.most = 100;
        out.clear();
        out << "f" << std::flush;
        EXPECT_TRUE(out.good());
        EXPECT_EQ(behaviour.content, "abcdef");
        EXPECT_EQ(out.QueryBytesWritten(), 6u);
        capture.ExpectNone();
    }
}

TEST_F(OleStream, ShortWriteIsTheEndAndLosesNothing) {
    TCapture capture(TTrace::error);
    behaviour.room = 7;
    ToOleStream out(4, object.Stream());
    std::string accepted;
    for (char c = 'a'; c < 'z' && out.put(c).good(); ++c)
        accepted += c;
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(behaviour.content, "abcdefg");
    EXPECT_EQ(out.QueryBytesWritten(), accepted.size());
    out.clear();
    EXPECT_TRUE(out.flush().bad());
    behaviour.room = 100;
    out.clear();
    EXPECT_TRUE(out.flush().good());
    EXPECT_EQ(behaviour.content, accepted);
    capture.ExpectNone();
}

TEST_F(OleStream, CountsBeyondWhatWasAskedForAreNotBelieved) {
    behaviour.content = std::string(10, 'x');
    behaviour.tellsTooMuch = true;
    TOleStream stream(10, object.Stream());
    char read[5];
    EXPECT_TRUE(stream.read(read, 5));
    stream << "abc" << std::flush;
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(stream.QueryBytesWritten(), 3u);
}

TEST_F(OleStream, BytesAreUnsigned) {
    behaviour.content = "\xFF";
    TOpenBuf buf(object.Stream(), TOleStreamBuf::readingWriting);
    EXPECT_EQ(buf.sbumpc(), 255);
    EXPECT_EQ(buf.overflow(255), 255);
    EXPECT_EQ(buf.overflow(EOF), 0);
    EXPECT_EQ(behaviour.content, "\xFF\xFF");
}

TEST_F(OleStream, DestructorReleasesAndDoesNotFlush) {
    {
        ToOleStream out(object.Stream());
        EXPECT_EQ(behaviour.references, 1);
        out << "abc";
    }
    EXPECT_EQ(behaviour.references, 0);
    EXPECT_EQ(behaviour.content, "");
}

TEST_F(OleStream, InitWithThePresentStreamChangesNothing) {
    TOpenBuf buf(object.Stream(), TOleStreamBuf::writing);
    buf.sputn("abc", 3);
    buf.pubsync();
    buf.Init(object.Stream());
    EXPECT_EQ(behaviour.references, 1);
    EXPECT_EQ(buf.QueryBytesWritten(), 3u);
}

TEST_F(OleStream, InitWithAnotherStreamCountsAnew) {
    TOleBehaviour otherBehaviour;
    TOleObject const other(otherBehaviour);
    TOpenBuf buf(object.Stream(), TOleStreamBuf::writing);
    buf.sputn("abc", 3);
    buf.pubsync();
    buf.Init(other.Stream());
    EXPECT_EQ(behaviour.references, 0);
    EXPECT_EQ(otherBehaviour.references, 1);
    EXPECT_EQ(buf.QueryBytesWritten(), 0u);
    buf.sputn("de", 2);
    buf.pubsync();
    EXPECT_EQ(buf.QueryBytesWritten(), 2u);
    EXPECT_EQ(otherBehaviour.content, "de");
    buf.Init(nullptr);
    EXPECT_EQ(otherBehaviour.references, 0);
}

TEST_F(OleStream, InitWithAnotherStreamTakesAlongWhatWaits) {
    behaviour.content = "0123456789";
    TOleBehaviour otherBehaviour;
    otherBehaviour.content = "abc";
    TOleObject const other(otherBehaviour);
    TOpenBuf buf(8, TOleStreamBuf::readingWriting);
    buf.Init(object.Stream());
    EXPECT_EQ(buf.sbumpc(), '0');
    buf.sputn("xyz", 3);
    buf.Init(other.Stream());
    EXPECT_EQ(buf.QueryBytesWritten(), 3u); // those that wait
    std::string read;
    for (int c = buf.sbumpc(); c != EOF; c = buf.sbumpc())
        read += static_cast<char>(c);
    EXPECT_EQ(read, "123abc");
    EXPECT_EQ(buf.pubsync(), 0);
    EXPECT_EQ(buf.QueryBytesWritten(), 3u);
    EXPECT_EQ(behaviour.content, "0123456789");
    EXPECT_EQ(otherBehaviour.content, "abcxyz");
    EXPECT_EQ(behaviour.references, 0);
}

TEST_F(OleStream, WithoutAStreamMeetsTheEnd) {
    for (auto type : {TOleStreamBuf::reading, TOleStreamBuf::writing, TOleStreamBuf::readingWriting}) {
        TOpenBuf buf(10, type);
        EXPECT_EQ(buf.sgetc(), EOF);
        EXPECT_EQ(buf.pubsync(), 0);
        std::string const text(20, 'x');
        EXPECT_EQ(buf.sputn(text.data(), 20), type == TOleStreamBuf::reading   ? 0
                                              : type == TOleStreamBuf::writing ? 10
                                                                               : 5);
        EXPECT_EQ(buf.pubsync(), type == TOleStreamBuf::reading ? 0 : -1);
        buf.Init(object.Stream());
        EXPECT_EQ(buf.pubsync(), 0);
    }
    EXPECT_EQ(behaviour.content.size(), 15u);
}

TEST_F(OleStream, CloseLetsTheStreamGo) {
    TOpenBuf buf(TOleStreamBuf::writing);
    buf.Init(object.Stream());
    buf.sputn("abc", 3);
    buf.Close();
    EXPECT_EQ(behaviour.references, 0);
    EXPECT_EQ(buf.pubsync(), 0);
    EXPECT_EQ(buf.doallocate(), 0);
    EXPECT_EQ(buf.doallocate(), 0);
    buf.Init(object.Stream());
    buf.sputn("def", 3);
    EXPECT_EQ(buf.pubsync(), 0);
    EXPECT_EQ(behaviour.content, "def");
}

TEST_F(OleStream, DoesNotSeek) {
    TOleStream stream(object.Stream());
    EXPECT_EQ(std::streamoff(stream.rdbuf()->pubseekoff(0, std::ios_base::beg)), -1);
}

// The stream is a part of an object of a derived class, so another form of its constructor runs.
TEST_F(OleStream, MayBeABase) {
    struct TBoth : TOleStream {
        using TOleStream::TOleStream;
    };
    struct TReader : TiOleStream {
        using TiOleStream::TiOleStream;
    };
    struct TWriter : ToOleStream {
        using ToOleStream::ToOleStream;
    };
    std::string word;
    TWriter(object.Stream()) << "one " << std::flush;
    TWriter(20ul, object.Stream()) << "two " << std::flush;
    TBoth(object.Stream()) << "three " << std::flush;
    TBoth(20ul, object.Stream()) << "four " << std::flush;
    EXPECT_EQ(behaviour.content, "one two three four ");
    TReader(object.Stream()) >> word;
    EXPECT_EQ(word, "one");
    behaviour.position = 4;
    TReader(20ul, object.Stream()) >> word;
    EXPECT_EQ(word, "two");
}

TEST_F(OleStream, UnderflowWithBytesInTheAreaReadsNone) {
    class TReader : public TOleStreamBuf {
    public:
        using TOleStreamBuf::TOleStreamBuf;
        using TOleStreamBuf::underflow;
    };
    behaviour.content = "ab";
    {
        TReader buf(object.Stream(), TOleStreamBuf::reading);
        EXPECT_EQ(buf.sgetc(), 'a');
        std::size_t const reads = behaviour.reads.size();
        EXPECT_EQ(buf.underflow(), 'a');
        EXPECT_EQ(behaviour.reads.size(), reads);
    }
    behaviour.position = 0;
    TiOleStream in(20ul, object.Stream());
    EXPECT_EQ(in.get(), 'a');
}
