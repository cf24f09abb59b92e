#include "tuzutil/LINESTRM.h"

#include "support/streams.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

int const fsEnd = std::char_traits<char>::eof();

// The protected side of the buffer.
class TOpenBuf : public TLineStreamBuf {
public:
    using TLineStreamBuf::TLineStreamBuf;
    TOpenBuf() = default;
    explicit TOpenBuf(unsigned long size) : TLineStreamBuf(size) {}
    using TLineStreamBuf::Close;
    using TLineStreamBuf::doallocate;
    using TLineStreamBuf::Init;
    using TLineStreamBuf::overflow;
    using TLineStreamBuf::sync;
    using TLineStreamBuf::underflow;

    std::string Piece() {
        underflow();
        std::string const piece(gptr(), egptr());
        setg(eback(), egptr(), egptr());
        return piece;
    }
    std::ptrdiff_t PutRoom() const { return epptr() - pbase(); }
    std::ptrdiff_t PutBackRoom() const { return gptr() - eback(); }
};

} // namespace

TEST(LineStream, Example) {
    std::istringstream connection("USER joe\r\nPASS secret\r\n");
    TiLineStream commands(&connection);
    std::string line;
    TLineRead read = commands.ReadLine(line, 512);
    unsigned long n = commands.QueryLinesRead();
    EXPECT_EQ(read, TLineRead::line);
    EXPECT_EQ(line, "USER joe");
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(connection.peek(), 'P');
}

TEST(LineStream, CarriageReturnIsDataAndTheEndCountsOneLineMore) {
    std::istringstream source("ab\r\n");
    TiLineStream in(&source);
    char bytes[4];
    in.read(bytes, 4);
    EXPECT_EQ(std::string(bytes, 4), "ab\r\n");
    EXPECT_EQ(in.QueryLinesRead(), 1u);
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_EQ(in.QueryLinesRead(), 2u);
    EXPECT_EQ(in.rdbuf()->sgetc(), fsEnd);
    EXPECT_EQ(in.QueryLinesRead(), 2u);
    EXPECT_EQ(source.rdstate(), std::ios::eofbit);
}

TEST(LineStream, LineWithoutItsEndCountsOnce) {
    std::istringstream source("ab\ncd");
    TiLineStream in(&source);
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), "ab\ncd");
    EXPECT_EQ(in.QueryLinesRead(), 2u);
    EXPECT_EQ(source.rdstate(), std::ios::eofbit);
}

TEST(LineStream, EmptySourceCountsOneLine) {
    std::istringstream source;
    TiLineStream in(&source);
    EXPECT_EQ(in.QueryLinesRead(), 0u);
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_EQ(in.QueryLinesRead(), 1u);
}

TEST(LineStream, EmptyLinesAreLinesAndLeaveTheSourceGood) {
    std::istringstream source("\n\n\nx");
    TOpenBuf buffer(&source);
    EXPECT_EQ(buffer.Piece(), "\n");
    EXPECT_EQ(buffer.Piece(), "\n");
    EXPECT_EQ(buffer.QueryLinesRead(), 2u);
    EXPECT_EQ(source.rdstate(), std::ios::goodbit);
    EXPECT_EQ(source.tellg(), std::streampos(2));
}

TEST(LineStream, LongLineComesInPiecesAndCountsOnce) {
    for (std::size_t const split : {std::size_t(0), std::size_t(1), std::size_t(7), support::fsAll}) {
        support::TSplitSource source(std::string(999, 'x') + "\nnext", split);
        TOpenBuf buffer(500, &source);
        EXPECT_EQ(buffer.Piece(), std::string(488, 'x'));
        EXPECT_EQ(source.Taken(), 488u);
        EXPECT_EQ(buffer.Piece(), std::string(488, 'x'));
        EXPECT_EQ(buffer.Piece(), std::string(23, 'x') + "\n");
        EXPECT_EQ(source.Rest(), "next");
        EXPECT_EQ(buffer.QueryLinesRead(), 1u);
    }
}

TEST(LineStream, LineFeedRightBehindAFullPieceBelongsToIt) {
    std::istringstream source(std::string(488, 'x') + "\n" + std::string(489, 'y') + "\n");
    TOpenBuf buffer(500, &source);
    EXPECT_EQ(buffer.Piece(), std::string(488, 'x') + "\n");
    EXPECT_EQ(buffer.Piece(), std::string(488, 'y'));
    EXPECT_EQ(buffer.QueryLinesRead(), 2u);
    EXPECT_EQ(buffer.Piece(), "y\n");
    EXPECT_EQ(buffer.QueryLinesRead(), 2u);
}

TEST(LineStream, BufferSizeIsRaisedTo500) {
    for (unsigned long const size : {0ul, 1ul, 100ul, 499ul, 500ul}) {
        std::istringstream source(std::string(1000, 'x'));
        TOpenBuf reader(size, &source);
        EXPECT_EQ(reader.Piece().size(), 488u);
        std::ostringstream sink;
        TOpenBuf writer(size, &sink);
        writer.doallocate();
        EXPECT_EQ(writer.PutRoom(), 500);
    }
}

TEST(LineStream, DefaultSizeIs10240) {
    std::istringstream source(std::string(20000, 'x'));
    EXPECT_EQ(TOpenBuf(&source).Piece().size(), 10228u);
    std::ostringstream sink;
    TOpenBuf writer(&sink);
    EXPECT_EQ(writer.doallocate(), 0);
    EXPECT_EQ(writer.doallocate(), 0);
    EXPECT_EQ(writer.PutRoom(), 10240);
}

TEST(LineStream, BothDirectionsShareTheBufferByHalves) {
    std::stringstream stream(std::string(20000, 'x'));
    TOpenBuf buffer(&stream);
    EXPECT_EQ(buffer.Piece().size(), 5108u);
    EXPECT_EQ(buffer.PutRoom(), 5120);
    std::stringstream odd(std::string(1000, 'x'));
    TOpenBuf uneven(501, &odd);
    EXPECT_EQ(uneven.Piece().size(), 238u);
    EXPECT_EQ(uneven.PutRoom(), 251);
}

TEST(LineStream, ReadingAndWritingAtOnceKeepOutOfEachOthersWay) {
    std::stringstream stream(std::string(5200, 'x') + "\n", std::ios::in | std::ios::out | std::ios::ate);
    TLineStream both(&stream);
    both << std::string(5000, 'y');
    EXPECT_EQ(support::ReadBytes(*both.rdbuf()), std::string(5200, 'x') + "\n");
    EXPECT_EQ(both.QueryLinesRead(), 2u);
    stream.clear();
    both.flush();
    EXPECT_EQ(stream.str(), std::string(5200, 'x') + "\n" + std::string(5000, 'y'));
}

TEST(LineStream, TenCharactersCanBePutBackInFrontOfAPiece) {
    std::istringstream source("one\ntwo\n");
    TiLineStream in(&source);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(in.peek(), 't');
    for (char c = '0'; c <= '9'; ++c)
        EXPECT_TRUE(in.putback(c)) << c;
    EXPECT_FALSE(in.putback('a'));
    in.clear();
    std::getline(in, line);
    EXPECT_EQ(line, "9876543210two");
}

TEST(LineStream, WhateverCharacterIsPutBackIsRead) {
    std::istringstream source("abc\n");
    TiLineStream in(&source);
    in.get();
    EXPECT_TRUE(in.putback('x'));
    EXPECT_TRUE(in.putback('\xff'));
    EXPECT_EQ(in.get(), 0xff);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, "xbc");
}

TEST(LineStream, NothingStandsBeforeTheFirstPiece) {
    std::istringstream source("abc\n");
    TiLineStream in(&source);
    EXPECT_EQ(in.rdbuf()->sungetc(), fsEnd); // nothing read yet
    EXPECT_EQ(in.peek(), 'a');
    EXPECT_EQ(in.rdbuf()->sungetc(), fsEnd);
    EXPECT_EQ(in.rdbuf()->sputbackc('x'), 'x'); // although there is room for it
    EXPECT_EQ(in.rdbuf()->sungetc(), fsEnd);
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), "xabc\n");
}

TEST(LineStream, SteppingBackOverAPieceGivesWhatWasRead) {
    std::istringstream source("Subject: a\n folded\n\n!\n");
    TiLineStream in(&source);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(in.peek(), ' ');
    EXPECT_TRUE(in.unget());
    EXPECT_EQ(in.get(), '\n');
    std::getline(in, line);
    EXPECT_EQ(line, " folded");
    EXPECT_EQ(in.get(), '\n');
    EXPECT_EQ(in.get(), '!');
    std::string back; // the last ten before the present piece, out of three
    for (int c = in.rdbuf()->sungetc(); c != fsEnd; c = in.rdbuf()->sungetc())
        back.insert(back.begin(), static_cast<char>(c));
    EXPECT_EQ(back, "\n folded\n\n!");
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), back + "\n");
}

TEST(LineStream, CharactersArePutBackInPlaceOfThoseThatWereRead) {
    std::istringstream source("0123456789\nabc\n");
    TiLineStream in(&source);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(in.peek(), 'a');
    EXPECT_TRUE(in.unget());
    for (char c = 'A'; c <= 'I'; ++c)
        EXPECT_TRUE(in.putback(c)) << c;
    EXPECT_FALSE(in.putback('J'));
    in.clear();
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), "IHGFEDCBA\nabc\n");
}

TEST(LineStream, LastByteCanBeTakenBackAfterTheEnd) {
    std::istringstream source("ab");
    TiLineStream in(&source);
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), "ab");
    EXPECT_EQ(in.rdbuf()->sungetc(), 'b');
    EXPECT_EQ(in.rdbuf()->sbumpc(), 'b');
    EXPECT_EQ(in.rdbuf()->sbumpc(), fsEnd);
}

TEST(LineStream, ArrayBoundsALineThatAStringDoesNot) {
    std::string const endless(100000, 'x');
    std::istringstream source(endless);
    TiLineStream in(&source);
    char line[512];
    EXPECT_FALSE(in.getline(line, sizeof line));
    EXPECT_EQ(in.gcount(), 511);
    EXPECT_FALSE(in.eof());
    in.clear();
    std::string rest;
    std::getline(in, rest);
    EXPECT_EQ(rest.size(), endless.size() - 511);
}

TEST(LineStream, WrittenBytesWaitUntilTheBufferIsFullOrFlushed) {
    support::TSplitSink sink;
    ToLineStream out(500, &sink);
    out << std::string(500, 'x');
    EXPECT_EQ(sink.Text(), "");
    out << 'y';
    EXPECT_EQ(sink.Text(), std::string(500, 'x'));
    out.flush();
    EXPECT_EQ(sink.Text(), std::string(500, 'x') + "y");
    EXPECT_EQ(sink.Syncs(), 0); // flushing passes the bytes on, not the flush
}

TEST(LineStream, BytesThatWereNotFlushedAreLost) {
    std::ostringstream sink;
    {
        ToLineStream out(&sink);
        out << "lost";
    }
    EXPECT_EQ(sink.str(), "");
}

TEST(LineStream, OverflowGivesTheByteUnsignedAndZeroForEndOfFile) {
    std::ostringstream sink;
    TOpenBuf buffer(&sink);
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(buffer.overflow(fsEnd), 0);
    EXPECT_EQ(buffer.overflow(0xff), 0xff);
    EXPECT_EQ(sink.str(), "");
    EXPECT_EQ(buffer.overflow('b'), 'b');
    EXPECT_EQ(sink.str(), "\xff");
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(sink.str(), "\xff"
                          "b");
}

TEST(LineStream, MissingStreamsGiveEndOfFile) {
    std::ostringstream sink;
    TOpenBuf writer(&sink);
    EXPECT_EQ(writer.underflow(), fsEnd);
    EXPECT_EQ(writer.QueryLinesRead(), 0u);
    std::istringstream source("a");
    TOpenBuf reader(&source);
    EXPECT_EQ(reader.overflow('x'), fsEnd);
    EXPECT_EQ(reader.sputn("xyz", 3), 0);
    EXPECT_EQ(reader.sync(), 0);
    TOpenBuf neither;
    EXPECT_EQ(neither.underflow(), fsEnd);
    EXPECT_EQ(neither.overflow('x'), fsEnd);
    TiLineStream null(static_cast<std::istream *>(nullptr));
    EXPECT_EQ(null.get(), fsEnd);
    EXPECT_TRUE(null.eof());
}

TEST(LineStream, InitAttachesOneSideAndClearsTheOther) {
    std::istringstream source("one\ntwo\n");
    std::ostringstream sink;
    std::stringstream both("three\n", std::ios::in | std::ios::out | std::ios::ate);
    TOpenBuf buffer(600);
    buffer.Init(&source);
    EXPECT_EQ(buffer.Piece(), "one\n");
    EXPECT_EQ(buffer.overflow('x'), fsEnd);
    buffer.Init(&sink);
    EXPECT_EQ(buffer.underflow(), fsEnd);
    EXPECT_EQ(buffer.overflow('x'), 'x');
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(sink.str(), "x");
    EXPECT_EQ(buffer.PutRoom(), 600);
    buffer.Init(&both);
    EXPECT_EQ(buffer.Piece(), "three\n");
    EXPECT_EQ(buffer.PutRoom(), 300);
    EXPECT_EQ(buffer.QueryLinesRead(), 2u);
    buffer.Init(static_cast<std::iostream *>(nullptr));
    EXPECT_EQ(buffer.underflow(), fsEnd);
    EXPECT_EQ(buffer.overflow('x'), fsEnd);
}

TEST(LineStream, CloseDropsTheStorageAndTheNextUseTakesItAgain) {
    std::stringstream stream("one\ntwo\n", std::ios::in | std::ios::out | std::ios::ate);
    TOpenBuf buffer(&stream);
    EXPECT_EQ(buffer.underflow(), 'o');
    EXPECT_EQ(buffer.sputn("abc", 3), 3);
    buffer.Close();
    EXPECT_EQ(buffer.PutBackRoom(), 0);
    EXPECT_EQ(buffer.sputbackc('x'), fsEnd);
    EXPECT_EQ(buffer.PutRoom(), 0);
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(buffer.Piece(), "two\n");
    EXPECT_EQ(buffer.sputn("def", 3), 3);
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(stream.str(), "one\ntwo\ndef");
    buffer.Close();
    buffer.Close();
}

TEST(LineStream, FailedSourceEndsTheDataAndKeepsItsState) {
    std::istringstream source("abc\n");
    source.setstate(std::ios::failbit);
    TiLineStream in(&source);
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_EQ(source.rdstate(), std::ios::failbit);
}

TEST(LineStream, EndOfTheSourceThrowsNothingEvenIfTheSourceWould) {
    std::istringstream source("abc");
    source.exceptions(std::ios::eofbit | std::ios::failbit);
    TiLineStream in(&source);
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), "abc");
    EXPECT_EQ(source.rdstate(), std::ios::eofbit);
}

TEST(LineStream, TiedStreamOfTheSourceIsFlushedBeforeReading) {
    support::TSplitSink prompt(100);
    support::TSplitSource source("answer\n");
    source.tie(&prompt);
    TiLineStream in(&source);
    prompt << "question";
    EXPECT_EQ(in.get(), 'a');
    EXPECT_EQ(prompt.Syncs(), 1);
}

TEST(LineStream, NothingIsReadIfTheFlushOfATiedStreamThrows) {
    struct TThrowing : std::stringbuf {
        int sync() override { throw 17; }
    } buffer;
    std::ostream prompt(&buffer);
    prompt.exceptions(std::ios::badbit);
    std::istringstream source("answer\n");
    source.tie(&prompt);
    TiLineStream in(&source);
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_TRUE(source.bad());
    EXPECT_EQ(source.rdbuf()->in_avail(), 7);
}

TEST(LineStream, FailedSinkShowsInItsOwnState) {
    support::TSplitSink sink(0, support::Failing::end, 2);
    ToLineStream out(&sink);
    out << "abcd" << std::flush;
    EXPECT_TRUE(out);
    EXPECT_TRUE(sink.bad());
    EXPECT_EQ(sink.Text(), "ab");
}

TEST(LineStream, ExceptionOfTheSinkLosesWhatWasOnItsWayAndSendsNothingTwice) {
    support::TSplitSink sink(0, support::Failing::throws, 2);
    sink.exceptions(std::ios::badbit);
    TLineStreamBuf buffer(&sink);
    buffer.sputn("abcd", 4);
    EXPECT_THROW(buffer.pubsync(), std::runtime_error);
    sink.clear();
    buffer.sputn("ef", 2);
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_EQ(sink.Text(), "abef");
}

TEST(LineStream, StreamsGiveTheirOwnBuffer) {
    std::stringstream stream("a\n");
    TLineStream both(600, &stream);
    TiLineStream in(600, &stream);
    ToLineStream out(600, &stream);
    EXPECT_EQ(static_cast<std::ios &>(both).rdbuf(), both.rdbuf());
    EXPECT_EQ(static_cast<std::ios &>(in).rdbuf(), in.rdbuf());
    EXPECT_EQ(static_cast<std::ios &>(out).rdbuf(), out.rdbuf());
    EXPECT_TRUE(both.good() && in.good() && out.good());
    EXPECT_EQ(both.rdbuf()->QueryLinesRead(), 0u);
}
