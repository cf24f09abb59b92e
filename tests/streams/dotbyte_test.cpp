#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include "support/streams.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <thread>

namespace {

int const fsEnd = std::char_traits<char>::eof();

// The protected side of the buffer.
class TOpenBuf : public TDotByteStreamBuf {
public:
    using TDotByteStreamBuf::doallocate;
    using TDotByteStreamBuf::overflow;
    using TDotByteStreamBuf::sync;
    using TDotByteStreamBuf::TDotByteStreamBuf;
    using TDotByteStreamBuf::underflow;

    std::string Piece() {
        underflow();
        std::string const piece(gptr(), egptr());
        setg(eback(), egptr(), egptr());
        return piece;
    }
    std::ptrdiff_t PutRoom() const { return epptr() - pptr(); }
};

std::string Sent(std::string const &body) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << body;
    EXPECT_EQ(out.WriteTermination(), 0);
    return sink.str();
}

// What reading gives and, behind "|", what is left in the source.
std::string Received(std::string const &wire) {
    support::TSplitSource source(wire);
    TDotByteStreamBuf in(source);
    std::string const data = support::ReadBytes(in);
    EXPECT_FALSE(source.fail());
    return data + "|" + std::string(source.Rest());
}

void ExpectLines(TDotByteLinesException const &problem, unsigned long line) {
    EXPECT_STREQ(problem.name(), "TDotByteLinesException");
    EXPECT_STREQ(problem.text(0), "Lines");
    EXPECT_EQ(problem.textCount(), 1u);
    EXPECT_STREQ(problem.errorCodeGroup(), "Quendix Library");
    ASSERT_EQ(problem.locationCount(), 1u);
    EXPECT_STREQ(problem.locationAtIndex(0)->fileName(), "src/utility/DOTBYTE");
    EXPECT_STREQ(problem.locationAtIndex(0)->functionName(), "TDotByteStreamBuf::CheckStop()");
    EXPECT_EQ(problem.locationAtIndex(0)->lineNumber(), line);
    EXPECT_EQ(problem.errorId(), 0u);
    EXPECT_FALSE(problem.isRecoverable());
}

} // namespace

TEST(DotByteStream, TerminationFailsOnAConnectionThatIsNoLongerGood) {
    std::stringstream connection;
    TDotByteStream stream(connection);
    EXPECT_EQ(stream.get(), EOF); // the connection's reading side has met its end
    ASSERT_TRUE(connection.eof());
    stream.clear();
    stream << "abc\r\n";
    EXPECT_EQ(stream.WriteTermination(), -1);
    EXPECT_EQ(connection.str(), "");
}

TEST(DotByteStream, CarriesABodyEachWayThroughOneConnection) {
    std::stringstream connection;
    {
        TDotByteStream out(connection);
        out << "a\r\n.b\r\n";
        EXPECT_EQ(out.WriteTermination(), 0);
    }
    connection << "NEXT";
    TDotByteStream in(connection);
    EXPECT_EQ(in.get(), 'a');
    EXPECT_EQ(in.ReadToTermination(), 0);
    EXPECT_EQ(connection.get(), 'N');
}

TEST(DotByteStream, NothingThatWasNotDeliveredCanBePutBack) {
    std::istringstream connection("ab\r\n.\r\n");
    TiDotByteStream in(connection);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(in.get(), EOF);
    in.clear();
    in.unget();
    EXPECT_TRUE(in.bad());
}

TEST(DotByteStream, ASourceThatGoesOnAfterItsEndGoesOnInsideTheLine) {
    std::stringstream connection;
    connection << "a\r\n";
    TiDotByteStream in(connection);
    std::string text(3, ' ');
    in.read(text.data(), 3);
    EXPECT_EQ(in.get(), EOF);
    in.clear();
    connection.clear();
    connection << ".\r\n";
    EXPECT_EQ(in.get(), '.');
}

TEST(DotByteStream, Example) {
    std::ostringstream connection;
    ToDotByteStream out(connection);
    out << "a\r\n.b";
    out.EndBody();
    EXPECT_EQ(connection.str(), "a\r\n..b\r\n.\r\n");

    std::istringstream answer("a\r\n..b\r\n.\r\nX");
    TiDotByteStream in(answer);
    TiLineStream lines(&in);
    std::ostringstream shown;
    std::string line;
    while (lines.ReadLine(line, 998) != TLineRead::end)
        shown << line << '\n';
    bool isWhole = in.IsTerminated();
    char next = static_cast<char>(answer.get());
    EXPECT_EQ(shown.str(), "a\n.b\n");
    EXPECT_TRUE(isWhole);
    EXPECT_EQ(next, 'X');
}

TEST(DotByteStream, WritingDoublesTheDotThatBeginsALine) {
    EXPECT_EQ(Sent("a\r\n.b\r\n"), "a\r\n..b\r\n.\r\n");
    EXPECT_EQ(Sent(".\r\n"), "..\r\n.\r\n");
    EXPECT_EQ(Sent("..\r\n"), "...\r\n.\r\n");
    EXPECT_EQ(Sent("a.b\r\n"), "a.b\r\n.\r\n");
    EXPECT_EQ(Sent(""), ".\r\n");
}

TEST(DotByteStream, AnyLineFeedEndsAWrittenLine) {
    EXPECT_EQ(Sent("a\n.b\n"), "a\n..b\n.\r\n");
    EXPECT_EQ(Sent("\n.\n"), "\n..\n.\r\n");
    EXPECT_EQ(Sent("a\r.b\r\n"), "a\r.b\r\n.\r\n"); // CR alone does not
}

TEST(DotByteStream, EndLineIsWrittenAsItIsWithoutCompletingTheLastLine) {
    EXPECT_EQ(Sent("a"), "a.\r\n");
    EXPECT_EQ(Sent("a\r"), "a\r.\r\n");
}

TEST(DotByteStream, BareLineFeedComesBackWithItsDoubledDot) {
    EXPECT_EQ(Received(Sent("a\n.b\r\n")), "a\n..b\r\n|");
}

TEST(DotByteStream, ReadingDropsTheFirstDotAndStopsBehindTheEndLine) {
    EXPECT_EQ(Received("a\r\n..b\r\n.\r\nX"), "a\r\n.b\r\n|X");
    EXPECT_EQ(Received(".\r\nX"), "|X");
    EXPECT_EQ(Received("..\r\n.\r\n"), ".\r\n|");
    EXPECT_EQ(Received(".a\r\n.\r\n"), "a\r\n|");
}

TEST(DotByteStream, DotWithABareLineFeedIsDataAndDoesNotEndIt) {
    EXPECT_EQ(Received("a\r\n.\nb\r\n.\r\nX"), "a\r\n.\nb\r\n|X");
    EXPECT_EQ(Received(".\n.\r\nX"), ".\n.\r\nX|"); // the next line follows a bare LF
}

TEST(DotByteStream, DotWithACarriageReturnThatNoLineFeedFollowsIsUnstuffed) {
    EXPECT_EQ(Received(".\rb\r\n.\r\nX"), "\rb\r\n|X");
    EXPECT_EQ(Received("..\rb\r\n.\r\nX"), ".\rb\r\n|X");
}

TEST(DotByteStream, LoneDotAtTheEndOfTheSourceIsData) {
    EXPECT_EQ(Received("."), ".|");
    EXPECT_EQ(Received(".\r"), "\r|");
    EXPECT_EQ(Received("a\r\n."), "a\r\n.|");
    EXPECT_EQ(Received(""), "|");
}

TEST(DotByteStream, EndOfTheSourceShowsInItsStateOnly) {
    std::istringstream source("a\r\n");
    TiDotByteStream in(source);
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), "a\r\n");
    EXPECT_EQ(source.rdstate(), std::ios::eofbit);
    EXPECT_EQ(in.rdbuf()->sgetc(), fsEnd);
    EXPECT_EQ(source.rdstate(), std::ios::eofbit);
}

TEST(DotByteStream, EndLineLeavesTheSourceGoodEvenIfNothingFollows) {
    std::istringstream source(".\r\n");
    TiDotByteStream in(source);
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_EQ(source.rdstate(), std::ios::goodbit);
}

TEST(DotByteStream, SourceTellsABodyThatWasCutFromAWholeOne) {
    std::string const whole = "a\r\n..b\r\n.\r\n";
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        std::istringstream source(whole.substr(0, size));
        TiDotByteStream in(source);
        support::ReadBytes(*in.rdbuf());
        EXPECT_EQ(source.good(), size == whole.size()) << size;
    }
}

TEST(DotByteStream, BareCarriageReturnsPassAsTheyAre) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << "a\r.\rb\r\n";
    out.WriteTermination();
    EXPECT_EQ(sink.str(), "a\r.\rb\r\n.\r\n");
    std::istringstream source(sink.str());
    EXPECT_EQ(support::ReadBytes(*TiDotByteStream(source).rdbuf()), "a\r.\rb\r\n");
}

TEST(DotByteStream, SourceStandsBehindTheLineThatWasRead) {
    for (std::size_t const split : {std::size_t(0), std::size_t(1), std::size_t(2), support::fsAll}) {
        support::TSplitSource source("a\r\nbc\r\n.\r\nX", split);
        TOpenBuf in(source);
        EXPECT_EQ(in.Piece(), "a\r\n");
        EXPECT_EQ(source.Rest(), "bc\r\n.\r\nX");
        EXPECT_EQ(in.Piece(), "bc\r\n");
        EXPECT_EQ(in.Piece(), "");
        EXPECT_EQ(source.Rest(), "X");
        EXPECT_EQ(in.Piece(), "");
        EXPECT_EQ(source.Rest(), "X");
    }
}

TEST(DotByteStream, LongLineComesInPiecesOfWhichOnlyTheFirstIsUnstuffed) {
    std::string const first(1022, 'x');
    support::TSplitSource source("." + first + "." + first + "..\r\n.\r\nX");
    TOpenBuf in(source);
    EXPECT_EQ(in.Piece(), first);
    EXPECT_EQ(in.Piece(), "." + first);
    EXPECT_EQ(in.Piece(), "..\r\n");
    EXPECT_EQ(in.Piece(), "");
    EXPECT_EQ(source.Rest(), "X");
}

TEST(DotByteStream, LineOf1022BytesComesWithItsLineFeedAnd1023Without) {
    support::TSplitSource source(std::string(1021, 'x') + "\r\n" + std::string(1022, 'y') + "\r\n.\r\nX");
    TOpenBuf in(source);
    EXPECT_EQ(in.Piece(), std::string(1021, 'x') + "\r\n");
    EXPECT_EQ(in.Piece(), std::string(1022, 'y') + "\r");
    EXPECT_EQ(in.Piece(), "\n");
    EXPECT_EQ(in.Piece(), "");
    EXPECT_EQ(source.Rest(), "X");
}

TEST(DotByteStream, FullPieceIsDeliveredWithoutWaitingForTheByteBehindIt) {
    // The source throws where it is asked for more than the piece.
    support::TSplitSource source(std::string(1023, 'x') + "y", 1, support::Failing::throws, 1023);
    source.exceptions(std::ios::badbit);
    TOpenBuf in(source);
    EXPECT_EQ(in.Piece(), std::string(1023, 'x'));
    EXPECT_TRUE(source.good());
}

TEST(DotByteStream, CarriageReturnAtTheEndOfAPieceCountsOnlyWithTheLineFeedBehindIt) {
    // Were the LF behind "abc" taken for a line end, the mail would end there and a command be smuggled in.
    std::string const full = std::string(1022, 'x') + "\r";
    EXPECT_EQ(Received(full + "abc\n.\r\nMAIL FROM:<x>\r\n.\r\nX"), full + "abc\n.\r\nMAIL FROM:<x>\r\n|X");
    EXPECT_EQ(Received(full + "\n.\r\nX"), full + "\n|X");
    EXPECT_EQ(Received(full + "\r\n.\r\nX"), full + "\r\n|X");
}

TEST(DotByteStream, ReadToTerminationDropsTheRest) {
    std::istringstream source("a\r\nb\r\n" + std::string(3000, 'x') + "\r\n.\r\nX");
    TiDotByteStream in(source);
    EXPECT_EQ(in.get(), 'a');
    EXPECT_EQ(in.ReadToTermination(), 0);
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_EQ(source.get(), 'X');
    EXPECT_EQ(in.ReadToTermination(), 0);
    EXPECT_EQ(source.get(), fsEnd);

    std::istringstream endless("a\r\nb");
    TDotByteStreamBuf unended(endless);
    EXPECT_EQ(unended.ReadToTermination(), 0);
    EXPECT_TRUE(endless.eof());
}

TEST(DotByteStream, TerminatedReaderStaysAtTheEnd) {
    std::istringstream source(".\r\nmore\r\n.\r\n");
    TiDotByteStream in(source);
    EXPECT_EQ(in.get(), fsEnd);
    in.clear();
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_EQ(source.tellg(), std::streampos(3));
}

TEST(DotByteStream, WriteTerminationIsDoneOnce) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << "a\r\n";
    EXPECT_EQ(out.WriteTermination(), 0);
    EXPECT_EQ(out.WriteTermination(), -1);
    EXPECT_EQ(sink.str(), "a\r\n.\r\n");
}

TEST(DotByteStream, WritingAfterTheEndFails) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << "a\r\n";
    out.WriteTermination();
    EXPECT_EQ(out.rdbuf()->sputc('x'), fsEnd);
    EXPECT_EQ(out.rdbuf()->sputn("xyz", 3), 0);
    EXPECT_EQ(out.rdbuf()->pubsync(), 0);
    EXPECT_TRUE(out.flush());
    EXPECT_FALSE(out << "x");
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(sink.str(), "a\r\n.\r\n");
}

TEST(DotByteStream, WriteTerminationFlushesTheSink) {
    support::TSplitSink sink(100);
    ToDotByteStream out(sink);
    out << "a\r\n";
    EXPECT_EQ(out.WriteTermination(), 0);
    EXPECT_EQ(sink.Syncs(), 1);
}

TEST(DotByteStream, WriteTerminationReportsAFailedSink) {
    for (std::size_t failAt = 0; failAt < 6; ++failAt) {
        support::TSplitSink sink(0, support::Failing::end, failAt);
        ToDotByteStream out(sink);
        out << "a\r\n";
        EXPECT_EQ(out.WriteTermination(), -1);
        EXPECT_EQ(sink.Text(), std::string("a\r\n.\r\n").substr(0, failAt));
        EXPECT_EQ(out.WriteTermination(), -1);
    }
}

TEST(DotByteStream, WidthOfTheSinkPadsTheEndLine) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << "a\r\n";
    sink << std::setw(5);
    EXPECT_EQ(out.WriteTermination(), 0);
    EXPECT_EQ(sink.str(), "a\r\n  .\r\n");
}

TEST(DotByteStream, DestructorWritesNothing) {
    std::ostringstream sink;
    {
        ToDotByteStream out(sink);
        out << "lost\r\n";
    }
    EXPECT_EQ(sink.str(), "");
}

TEST(DotByteStream, WrittenBytesWaitInABufferOf1024) {
    support::TSplitSink sink;
    ToDotByteStream out(sink);
    out << std::string(1024, 'x');
    EXPECT_EQ(sink.Text(), "");
    out << 'y';
    EXPECT_EQ(sink.Text(), std::string(1024, 'x'));
    out << std::flush;
    EXPECT_EQ(sink.Text(), std::string(1024, 'x') + "y");
    EXPECT_EQ(sink.Syncs(), 0); // flushing passes the bytes on, not the flush
}

TEST(DotByteStream, EachDirectionHas1024Bytes) {
    std::stringstream stream(std::string(1500, 'x'), std::ios::in | std::ios::out | std::ios::ate);
    TOpenBuf buffer(stream);
    EXPECT_EQ(buffer.doallocate(), 0);
    EXPECT_EQ(buffer.doallocate(), 0);
    EXPECT_EQ(buffer.PutRoom(), 1024);
    buffer.sputn(std::string(1000, 'y').data(), 1000);
    EXPECT_EQ(buffer.Piece(), std::string(1023, 'x'));
    EXPECT_EQ(buffer.Piece(), std::string(477, 'x'));
    stream.clear();
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(stream.str(), std::string(1500, 'x') + std::string(1000, 'y'));
}

TEST(DotByteStream, OverflowGivesTheByteUnsignedAndZeroForEndOfFile) {
    std::ostringstream sink;
    TOpenBuf buffer(sink);
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(buffer.overflow(fsEnd), 0);
    EXPECT_EQ(buffer.overflow(0xff), 0xff);
    EXPECT_EQ(buffer.overflow('b'), 'b');
    EXPECT_EQ(sink.str(), "\xff");
    EXPECT_EQ(buffer.sync(), 0);
}

TEST(DotByteStream, OneSidedBuffersGiveEndOfFileOnTheOtherSide) {
    std::istringstream source("a\r\n");
    TOpenBuf reader(source);
    EXPECT_EQ(reader.overflow('x'), fsEnd);
    EXPECT_EQ(reader.sputn("xyz", 3), 0);
    EXPECT_EQ(reader.WriteTermination(), -1);
    std::ostringstream sink;
    TOpenBuf writer(sink);
    EXPECT_EQ(writer.underflow(), fsEnd);
    EXPECT_EQ(writer.ReadToTermination(), 0);
}

TEST(DotByteStream, SeekingGivesZeroAndMovesNothing) {
    std::stringstream stream("abc\r\n", std::ios::in | std::ios::out | std::ios::ate);
    TDotByteStream both(stream);
    EXPECT_EQ(both.get(), 'a');
    EXPECT_EQ(both.tellg(), std::streampos(0));
    EXPECT_TRUE(both.seekg(100));
    EXPECT_TRUE(both.seekg(-5, std::ios::end));
    EXPECT_EQ(both.get(), 'b');
    both << "x";
    EXPECT_EQ(both.tellp(), std::streampos(0));
    EXPECT_TRUE(both.seekp(7));
    both.flush();
    EXPECT_EQ(stream.str(), "abc\r\nx");
}

TEST(DotByteStream, CancelThrowsOnceFromTheNextRead) {
    std::istringstream source("a\r\n.\r\n");
    TOpenBuf buffer(source);
    buffer.Cancel();
    buffer.Cancel();
    bool caught = false;
    try {
        buffer.underflow();
    } catch (TDotByteError const &problem) {
        caught = true;
        EXPECT_STREQ(problem.name(), "TDotByteError");
        EXPECT_STREQ(problem.text(0), "Cancel");
        EXPECT_EQ(problem.textCount(), 1u);
        EXPECT_EQ(problem.errorId(), 0u);
        EXPECT_FALSE(problem.isRecoverable());
        EXPECT_STREQ(problem.errorCodeGroup(), "Quendix Library");
        ASSERT_EQ(problem.locationCount(), 1u);
        EXPECT_STREQ(problem.locationAtIndex(0)->fileName(), "src/utility/DOTBYTE");
        EXPECT_STREQ(problem.locationAtIndex(0)->functionName(), "TDotByteStreamBuf::underflow()");
        EXPECT_EQ(problem.locationAtIndex(0)->lineNumber(), 298u);
    }
    EXPECT_TRUE(caught);
    EXPECT_EQ(buffer.underflow(), 'a');
}

TEST(DotByteStream, CancelFromAnotherThreadStopsAReaderThatWouldGoOnForEver) {
    class TEndlessBuf : public std::streambuf {
    protected:
        int_type underflow() override {
            setg(fLine, fLine, fLine + sizeof fLine);
            return traits_type::to_int_type(*gptr());
        }

    private:
        char fLine[4] = {'a', 'b', '\r', '\n'};
    };
    TEndlessBuf endless;
    std::istream source(&endless);
    TiDotByteStream in(source);
    std::string line;
    std::atomic<bool> reading{false};
    bool caught = false;
    std::thread reader([&] {
        try {
            while (std::getline(in, line))
                reading = true;
        } catch (TDotByteError const &) {
            caught = true;
        }
    });
    while (!reading)
        std::this_thread::yield();
    in.Cancel();
    reader.join();
    EXPECT_TRUE(caught);
    EXPECT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "ab\r");
}

TEST(DotByteStream, CancelLetsUnreadBytesBeRead) {
    std::istringstream source("ab\r\ncd\r\n");
    TiDotByteStream in(source);
    EXPECT_EQ(in.get(), 'a');
    in.Cancel();
    std::string line;
    EXPECT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "b\r");
    EXPECT_THROW(std::getline(in, line), TDotByteError);
    EXPECT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "cd\r");
}

TEST(DotByteStream, CancelComesBeforeUnreadBytesInUnderflow) {
    std::istringstream source("ab\r\n");
    TOpenBuf buffer(source);
    EXPECT_EQ(buffer.underflow(), 'a');
    buffer.Cancel();
    EXPECT_THROW(buffer.underflow(), TDotByteError);
    EXPECT_EQ(buffer.underflow(), 'a');
}

TEST(DotByteStream, CancelThrowsAlsoAtTheEndAndFromReadToTermination) {
    std::istringstream source(".\r\n");
    TiDotByteStream in(source);
    EXPECT_EQ(in.get(), fsEnd);
    in.Cancel();
    EXPECT_THROW(in.ReadToTermination(), TDotByteError);
    EXPECT_EQ(in.ReadToTermination(), 0);
}

TEST(DotByteStream, WritingDoesNotLookAtCancel) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out.Cancel();
    out << "a\r\n" << std::flush;
    EXPECT_EQ(out.WriteTermination(), 0);
    EXPECT_EQ(sink.str(), "a\r\n.\r\n");
}

TEST(DotByteStream, LinesLimitSendsTheHeaderTheEmptyLineAndThatManyLines) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 2);
    out << "h\r\n\r\n1\r\n2\r\n3\r\n";
    EXPECT_EQ(sink.str(), "");
    bool caught = false;
    try {
        out.flush();
    } catch (TDotByteLinesException const &problem) {
        caught = true;
        ExpectLines(problem, 271);
    }
    EXPECT_TRUE(caught);
    EXPECT_EQ(sink.str(), "h\r\n\r\n1\r\n2\r\n.\r\n");
    EXPECT_EQ(out.WriteTermination(), -1);
    EXPECT_EQ(sink.str(), "h\r\n\r\n1\r\n2\r\n.\r\n");
}

TEST(DotByteStream, LinesLimitOfZeroStopsAtTheEmptyLine) {
    support::TSplitSink sink(100);
    ToDotByteStream out(sink, 0);
    out << "h\r\nH\r\n\r\n1\r\n";
    bool caught = false;
    try {
        out.flush();
    } catch (TDotByteLinesException const &problem) {
        caught = true;
        ExpectLines(problem, 279);
    }
    EXPECT_TRUE(caught);
    EXPECT_EQ(sink.Syncs(), 1);
    EXPECT_EQ(sink.Text(), "h\r\nH\r\n\r\n.\r\n");
}

TEST(DotByteStream, BodyBelowTheLimitEndsNormally) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 3);
    out << "h\r\n\r\n1\r\n.2\r\n";
    EXPECT_EQ(out.WriteTermination(), 0);
    EXPECT_EQ(sink.str(), "h\r\n\r\n1\r\n..2\r\n.\r\n");
}

TEST(DotByteStream, OneCharacterWithABareLineFeedCountsAsTheEmptyLine) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 0);
    out << "hd\nx\nb\n";
    EXPECT_THROW(out.flush(), TDotByteLinesException);
    EXPECT_EQ(sink.str(), "hd\nx\n.\r\n");
}

TEST(DotByteStream, LineLengthIsCountedAcrossWrites) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 0);
    out << "ab" << std::flush << "\r" << std::flush << "\n" << std::flush; // four bytes, not an empty line
    EXPECT_EQ(sink.str(), "ab\r\n");
    out << "\r" << std::flush << "\n";
    EXPECT_THROW(out.flush(), TDotByteLinesException);
    EXPECT_EQ(sink.str(), "ab\r\n\r\n.\r\n");
}

TEST(DotByteStream, LimitBeyond32BitsIsNotCutToASmallOne) {
    auto beyond = static_cast<unsigned long>(std::uint64_t{1} << 32);
    if (beyond == 0) // where an unsigned long has 32 bits
        beyond = ~0ul;
    std::ostringstream sink;
    ToDotByteStream out(sink, beyond);
    out << "h\r\n\r\n1\r\n2\r\n" << std::flush;
    EXPECT_EQ(out.WriteTermination(), 0);
    EXPECT_EQ(sink.str(), "h\r\n\r\n1\r\n2\r\n.\r\n");
}

TEST(DotByteStream, FailedSinkDoesNotKeepTheLimitFromBeingReported) {
    support::TSplitSink sink(0, support::Failing::end, 2);
    ToDotByteStream out(sink, 0);
    out << "h\r\n\r\n";
    EXPECT_THROW(out.flush(), TDotByteLinesException);
    EXPECT_EQ(sink.Text(), "h\r");
    EXPECT_TRUE(sink.bad());
}

TEST(DotByteStream, ThrowThrowsACopyOfItsOwnClass) {
    TDotByteError error("e", 1, TException::recoverable);
    EXPECT_THROW(error.Throw(), TDotByteError);
    EXPECT_THROW(error.Throw(), TAccessError);
    EXPECT_STREQ(error.name(), "TDotByteError");
    TDotByteLinesException lines("l", 2, TException::unrecoverable);
    EXPECT_THROW(lines.Throw(), TDotByteLinesException);
    EXPECT_STREQ(lines.name(), "TDotByteLinesException");
}

TEST(DotByteStream, StreamsGiveTheirOwnBuffer) {
    std::stringstream stream;
    TDotByteStream both(stream);
    TiDotByteStream in(stream);
    ToDotByteStream out(stream);
    EXPECT_EQ(static_cast<std::ios &>(both).rdbuf(), both.rdbuf());
    EXPECT_EQ(static_cast<std::ios &>(in).rdbuf(), in.rdbuf());
    EXPECT_EQ(static_cast<std::ios &>(out).rdbuf(), out.rdbuf());
    EXPECT_TRUE(both.good() && in.good() && out.good());
}
