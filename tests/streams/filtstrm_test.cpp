#include "tuzutil/FILTSTRM.h"

#include "tuzutil/EXCEPTN.h"

#include "support/streams.h"

#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <sstream>
#include <string>

namespace {

int const fsEnd = std::char_traits<char>::eof();

class TCapitalsBuf : public TFilterStreamBuf {
public:
    explicit TCapitalsBuf(std::ostream &sink) : fSink(sink) {}

private:
    int doallocate() override {
        SetPutArea(fArea, fArea + sizeof fArea);
        return 0;
    }
    bool IsWritable() const noexcept override { return true; }
    void WriteThrough(char const *bytes, std::size_t count) override {
        for (; count > 0; --count)
            fSink.put(static_cast<char>(std::toupper(static_cast<unsigned char>(*bytes++))));
    }
    bool IsReadable() const noexcept override { return false; }
    TPiece ReadPiece() override { return {}; }

    std::ostream &fSink;
    char fArea[4];
};

// No memory at all, or no put area.
class TBareBuf : public TFilterStreamBuf {
public:
    explicit TBareBuf(int allocated) : fAllocated(allocated) {}
    std::string written;

private:
    int doallocate() override { return fAllocated; }
    bool IsWritable() const noexcept override { return true; }
    void WriteThrough(char const *bytes, std::size_t count) override { written.append(bytes, count); }
    bool IsReadable() const noexcept override { return true; }
    TPiece ReadPiece() override { return {}; }

    int fAllocated;
};

} // namespace

TEST(FilterStreamBuf, Example) {
    std::ostringstream sink;
    TCapitalsBuf capitals(sink);
    std::ostream out(&capitals);
    out << "abc"
        << "defg" << 'h';
    EXPECT_EQ(sink.str(), "ABCD");
    out.flush();
    EXPECT_EQ(sink.str(), "ABCDEFGH");
    EXPECT_EQ(capitals.sgetc(), fsEnd);
}

TEST(FilterStreamBuf, AreaThatIsExactlyFullWaitsForTheNextByte) {
    std::ostringstream sink;
    TCapitalsBuf capitals(sink);
    EXPECT_EQ(capitals.sputn("abcd", 4), 4);
    EXPECT_EQ(sink.str(), "");
    EXPECT_EQ(capitals.sputn("efghi", 5), 5);
    EXPECT_EQ(sink.str(), "ABCDEFGH");
    EXPECT_EQ(capitals.sputn("", 0), 0);
    EXPECT_EQ(capitals.sputn("x", -1), 0);
    EXPECT_EQ(sink.str(), "ABCDEFGH");
}

TEST(FilterStreamBuf, NothingWaitsInAUnitBufferedStream) {
    std::ostringstream sink;
    TCapitalsBuf capitals(sink);
    std::ostream out(&capitals);
    capitals.Attach(&out);
    out << "ab" << std::unitbuf << 'c';
    EXPECT_EQ(sink.str(), "ABC");
    out.rdbuf()->sputc('d');
    EXPECT_EQ(sink.str(), "ABCD");
    out.rdbuf()->sputn("ef", 2);
    EXPECT_EQ(sink.str(), "ABCDEF");
    out << std::nounitbuf << "gh";
    EXPECT_EQ(sink.str(), "ABCDEF");
    capitals.Attach(nullptr);
}

TEST(FilterStreamBuf, AWriteOfNothingPassesNothingOn) {
    std::ostringstream sink;
    TCapitalsBuf capitals(sink);
    std::ostream out(&capitals);
    capitals.Attach(&out);
    EXPECT_EQ(capitals.sputn("ab", 2), 2);
    out << std::unitbuf;
    EXPECT_EQ(capitals.sputn("", 0), 0);
    EXPECT_EQ(sink.str(), "");
    EXPECT_EQ(capitals.sputn("c", 1), 1);
    EXPECT_EQ(sink.str(), "ABC");
    capitals.Attach(nullptr);
}

TEST(FilterStreamBuf, WithoutMemoryReadingAndWritingFail) {
    TBareBuf none(-1);
    EXPECT_EQ(none.sputc('a'), fsEnd);
    EXPECT_EQ(none.sputn("abc", 3), 0);
    EXPECT_THROW(none.sgetc(), TOutOfMemory); // an end of file would pass for the end of the data
    EXPECT_EQ(none.pubsync(), 0);
    EXPECT_EQ(none.written, "");
}

TEST(FilterStreamBuf, WithoutAPutAreaEveryWriteGoesThrough) {
    TBareBuf through(0);
    EXPECT_EQ(through.sputc('a'), 'a');
    EXPECT_EQ(through.sputn("bcd", 3), 3);
    EXPECT_EQ(through.written, "abcd");
    EXPECT_EQ(through.sgetc(), fsEnd);
}

// TakePieces() is optional. Without it, bytes are read a piece at a time.
TEST(FilterStreamBuf, ReadsWithReadPieceAlone) {
    class TPieces : public TFilterStreamBuf {
    private:
        int doallocate() override { return 0; }
        bool IsWritable() const noexcept override { return false; }
        void WriteThrough(char const *, std::size_t) override {}
        bool IsReadable() const noexcept override { return true; }
        TPiece ReadPiece() override {
            char *const begin = fArea + fsPutBackRoom;
            if (fPieces == 0)
                return {fArea, begin, begin};
            --fPieces;
            begin[0] = 'a';
            begin[1] = 'b';
            return {fArea, begin, begin + 2};
        }

        char fArea[20] = {};
        int fPieces = 3;
    } pieces;
    char text[10] = {};
    EXPECT_EQ(pieces.sgetn(text, 5), 5);
    EXPECT_STREQ(text, "ababa");
    EXPECT_EQ(pieces.sgetn(text, 5), 1);
    EXPECT_EQ(pieces.sgetc(), fsEnd);
}
