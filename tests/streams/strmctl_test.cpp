// Exceptions of the library's stream buffers, seen by callers of the streams.

#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"
#include "tuzutil/STRMCTL.h"

#include "support/streams.h"

#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace {

std::string const fsTwoLines = "h\r\n\r\nb\r\n";

// Three reads: one that throws, one that gets the first line, one that finds the end.
void ExpectCancelThrough(std::function<void(std::istream &)> const &read) {
    std::istringstream source("12 ab\r\n.\r\n");
    TiDotByteStream in(source);
    in.Cancel();
    EXPECT_THROW(read(in), TDotByteError);
    EXPECT_EQ(in.rdstate(), std::ios::goodbit);
    EXPECT_EQ(in.exceptions(), std::ios::goodbit);
    EXPECT_EQ(source.rdstate(), std::ios::goodbit);
    std::string line;
    EXPECT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "12 ab\r");
    EXPECT_FALSE(std::getline(in, line));
    EXPECT_TRUE(in.eof());
}

void ExpectLinesThrough(std::function<void(std::ostream &)> const &write) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 0);
    out << "h\r\n\r\n";
    EXPECT_THROW(write(out), TDotByteLinesException);
    EXPECT_EQ(out.rdstate(), std::ios::goodbit);
    EXPECT_EQ(out.exceptions(), std::ios::goodbit);
    EXPECT_EQ(sink.str(), "h\r\n\r\n.\r\n");
    out << "more"; // proceeds, and meets the end of the body
    EXPECT_EQ(out.rdstate(), std::ios::badbit);
    EXPECT_EQ(sink.str(), "h\r\n\r\n.\r\n");
}

} // namespace

TEST(StreamControl, Example) {
    std::istringstream connection("x\r\n.\r\n");
    TDotByteStreamBuf body(connection);
    std::istream in(&body);
    body.Attach(&in);
    body.Cancel();
    bool caught = false;
    try {
        in.get();
    } catch (TDotByteError &) {
        caught = true;
    }
    EXPECT_TRUE(caught);
    EXPECT_EQ(in.get(), 'x');
    body.Attach(nullptr);
}

TEST(StreamControl, EveryKindOfReadThrowsCancelWithItsOwnTypeAndTheNextProceeds) {
    ExpectCancelThrough([](std::istream &in) { in.get(); });
    ExpectCancelThrough([](std::istream &in) {
        char c;
        in.get(c);
    });
    ExpectCancelThrough([](std::istream &in) {
        char text[8];
        in.get(text, 8);
    });
    ExpectCancelThrough([](std::istream &in) {
        char text[8];
        in.getline(text, 8);
    });
    ExpectCancelThrough([](std::istream &in) {
        std::ostringstream out;
        in.get(*out.rdbuf());
    });
    ExpectCancelThrough([](std::istream &in) {
        char text[8];
        in.read(text, 8);
    });
    ExpectCancelThrough([](std::istream &in) { in.peek(); });
    ExpectCancelThrough([](std::istream &in) { in.ignore(); });
    ExpectCancelThrough([](std::istream &in) {
        std::string line;
        std::getline(in, line);
    });
    ExpectCancelThrough([](std::istream &in) {
        std::string word;
        in >> word;
    });
    ExpectCancelThrough([](std::istream &in) {
        int number;
        in >> number;
    });
    ExpectCancelThrough([](std::istream &in) {
        char c;
        in >> c;
    });
    ExpectCancelThrough([](std::istream &in) {
        std::ostringstream out;
        in >> out.rdbuf();
    });
    ExpectCancelThrough([](std::istream &in) { in.rdbuf()->sgetc(); });
}

TEST(StreamControl, EveryKindOfWriteThrowsLinesWithItsOwnTypeAndTheNextProceeds) {
    std::string const much(3000, 'x');
    ExpectLinesThrough([&](std::ostream &out) { out << much; });
    ExpectLinesThrough([&](std::ostream &out) { out.write(much.data(), 3000); });
    ExpectLinesThrough([](std::ostream &out) {
        for (int i = 0; i < 3000; ++i)
            out.put('x');
    });
    ExpectLinesThrough([](std::ostream &out) {
        for (int i = 0; i < 3000; ++i)
            out << 1;
    });
    ExpectLinesThrough([&](std::ostream &out) {
        std::istringstream from(much);
        out << from.rdbuf();
    });
    ExpectLinesThrough([](std::ostream &out) { out.flush(); });
    ExpectLinesThrough([](std::ostream &out) { out << std::flush; });
    ExpectLinesThrough([](std::ostream &out) { out << std::endl; });
    ExpectLinesThrough([](std::ostream &out) { out.rdbuf()->pubsync(); });
    ExpectLinesThrough([](std::ostream &out) { static_cast<ToDotByteStream &>(out).WriteTermination(); });
}

TEST(StreamControl, BothDirectionsOfOneStreamAreServed) {
    std::stringstream connection("a\r\n");
    TDotByteStream stream(connection);
    stream.Cancel();
    EXPECT_THROW(stream.get(), TDotByteError);
    EXPECT_EQ(stream.get(), 'a');
    EXPECT_TRUE(stream << "b\r\n" << std::flush);
}

TEST(StreamControl, StreamIsBadWhileTheExceptionLivesAndGoodAfterTheLastCopy) {
    std::istringstream source("x\r\n");
    TiDotByteStream in(source);
    in.Cancel();
    std::exception_ptr kept;
    try {
        in.get();
        FAIL();
    } catch (TDotByteError const &) {
        kept = std::current_exception();
        EXPECT_TRUE(in.bad());
    }
    EXPECT_TRUE(in.bad());
    std::exception_ptr copy = kept;
    kept = nullptr;
    EXPECT_TRUE(in.bad());
    copy = nullptr;
    EXPECT_EQ(in.rdstate(), std::ios::goodbit);
    EXPECT_EQ(in.exceptions(), std::ios::goodbit);
    EXPECT_EQ(in.get(), 'x');
}

TEST(StreamControl, CopyCaughtByValueAndThrownOnKeepsItsClass) {
    std::istringstream source("x\r\n");
    TiDotByteStream in(source);
    in.Cancel();
    EXPECT_THROW(
        {
            try {
                in.get();
            } catch (TException &problem) {
                EXPECT_STREQ(problem.name(), "TDotByteError");
                problem.Throw();
            }
        },
        TDotByteError);
    EXPECT_EQ(in.get(), 'x');
}

TEST(StreamControl, StreamMayEndBeforeTheException) {
    std::istringstream source("x\r\n");
    auto in = std::make_unique<TiDotByteStream>(source);
    in->Cancel();
    std::exception_ptr kept;
    try {
        in->get();
    } catch (...) {
        kept = std::current_exception();
    }
    ASSERT_TRUE(kept);
    in.reset();
    EXPECT_THROW(std::rethrow_exception(kept), TDotByteError);
    kept = nullptr;
}

TEST(StreamControl, StreamMayEndWhileTheExceptionIsOnItsWay) {
    std::istringstream source("x\r\n");
    bool caught = false;
    try {
        TiDotByteStream in(source);
        in.Cancel();
        in.get();
    } catch (TDotByteError const &) {
        caught = true;
    }
    EXPECT_TRUE(caught);
}

TEST(StreamControl, TwoExceptionsOfOneStreamMayEndInEitherOrder) {
    for (bool const firstEndsFirst : {true, false}) {
        std::istringstream source("x\r\n");
        TiDotByteStream in(source);
        std::exception_ptr kept[2];
        for (std::exception_ptr &one : kept) {
            in.Cancel();
            try {
                in.rdbuf()->sgetc();
            } catch (...) {
                one = std::current_exception();
            }
        }
        kept[firstEndsFirst ? 0 : 1] = nullptr;
        kept[firstEndsFirst ? 1 : 0] = nullptr;
        EXPECT_EQ(in.rdstate(), std::ios::goodbit);
        EXPECT_EQ(in.exceptions(), std::ios::goodbit);
        EXPECT_EQ(in.get(), 'x');
    }
}

TEST(StreamControl, MaskOfTheCallerIsKept) {
    for (std::ios::iostate const mask : {std::ios::failbit, std::ios::badbit, std::ios::badbit | std::ios::eofbit}) {
        std::istringstream source("x\r\n");
        TiDotByteStream in(source);
        in.exceptions(mask);
        in.Cancel();
        EXPECT_THROW(in.get(), TDotByteError);
        EXPECT_EQ(in.rdstate(), std::ios::goodbit);
        EXPECT_EQ(in.exceptions(), mask);
        EXPECT_EQ(in.get(), 'x');
    }
}

TEST(StreamControl, DirectCallOnTheBufferOfABadStreamThrowsTheSameAndLeavesItBad) {
    std::istringstream source("x\r\n");
    TiDotByteStream in(source);
    in.setstate(std::ios::badbit);
    in.Cancel();
    EXPECT_THROW(in.rdbuf()->sgetc(), TDotByteError);
    EXPECT_EQ(in.rdstate(), std::ios::badbit);
    EXPECT_EQ(in.exceptions(), std::ios::goodbit);
    EXPECT_EQ(in.rdbuf()->sgetc(), 'x');
}

TEST(StreamControl, ForeignStreamWithTheExceptionMaskSeesTheType) {
    std::istringstream source("x\r\n");
    TDotByteStreamBuf body(source);
    std::istream in(&body);
    in.exceptions(std::ios::badbit);
    body.Cancel();
    EXPECT_THROW(in.get(), TDotByteError);
    in.clear();
    EXPECT_EQ(in.get(), 'x');
}

TEST(StreamControl, CancelOfAnInnerStreamReachesTheCallerOfTheOuterOnes) {
    std::istringstream source("ab\r\n.\r\n");
    TiDotByteStream inner(source);
    TiLineStream middle(&inner);
    TiLineStream outer(&middle);
    inner.Cancel();
    std::string line;
    EXPECT_THROW(std::getline(outer, line), TDotByteError);
    for (std::istream *stream : {static_cast<std::istream *>(&inner), static_cast<std::istream *>(&middle),
                                 static_cast<std::istream *>(&outer)}) {
        EXPECT_EQ(stream->rdstate(), std::ios::goodbit);
        EXPECT_EQ(stream->exceptions(), std::ios::goodbit);
    }
    EXPECT_EQ(outer.QueryLinesRead(), 0u);
    EXPECT_TRUE(std::getline(outer, line));
    EXPECT_EQ(line, "ab\r");
    EXPECT_EQ(outer.QueryLinesRead(), 1u);
}

TEST(StreamControl, LinesLimitOfAnInnerStreamReachesTheCallerOfTheOuterOne) {
    std::ostringstream sink;
    ToDotByteStream inner(sink, 1);
    ToLineStream outer(&inner);
    outer << fsTwoLines << "rest";
    EXPECT_THROW(outer << std::string(20000, 'x'), TDotByteLinesException);
    EXPECT_EQ(sink.str(), "h\r\n\r\nb\r\n.\r\n");
    EXPECT_EQ(inner.rdstate(), std::ios::goodbit);
    EXPECT_EQ(outer.rdstate(), std::ios::goodbit);
    EXPECT_EQ(inner.exceptions(), std::ios::goodbit);
    EXPECT_EQ(outer.exceptions(), std::ios::goodbit);
}

TEST(StreamControl, PieceThatAnInnerCancelInterruptedIsDeliveredWhole) {
    // A long line reaches the outer buffer in pieces; the second read of the inner one throws.
    std::string const line = std::string(1500, 'x') + "\r\n";
    std::istringstream source(line + ".\r\n");
    TiDotByteStream inner(source);
    ASSERT_EQ(inner.peek(), 'x'); // the first piece of the inner stream stands in its get area
    TiLineStream outer(&inner);
    inner.Cancel();
    EXPECT_THROW(outer.get(), TDotByteError);
    EXPECT_EQ(outer.QueryLinesRead(), 0u);
    EXPECT_EQ(support::ReadBytes(*outer.rdbuf()), line);
    EXPECT_EQ(outer.QueryLinesRead(), 2u);
}

TEST(StreamControl, UnitBufferedWriterThrowsFromTheWriteItself) {
    for (int way = 0; way < 4; ++way) {
        std::ostringstream sink;
        ToDotByteStream out(sink, 1);
        out << std::unitbuf << "h\r\n\r\n";
        EXPECT_EQ(sink.str(), "h\r\n\r\n");
        EXPECT_THROW(
            {
                switch (way) {
                case 0: out << "b\r\n"; break;
                case 1: out.write("b\r\n", 3); break;
                case 2: out.put('b').put('\n'); break;
                default: out << 'b' << '\n'; break;
                }
            },
            TDotByteLinesException);
        EXPECT_EQ(out.rdstate(), std::ios::goodbit);
        EXPECT_EQ(out.exceptions(), std::ios::goodbit);
        EXPECT_EQ(sink.str(), way < 2 ? "h\r\n\r\nb\r\n.\r\n" : "h\r\n\r\nb\n.\r\n");
        out << "more";
        EXPECT_TRUE(out.bad());
    }
}

TEST(StreamControl, FlushThatAUnitBufferedStreamMakesByItselfKeepsTheExceptionForTheNextWrite) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 0);
    out << "h\r\n\r"; // waits, and leaves room for the next byte
    out << std::unitbuf;
    out.put('\n'); // goes into the room; passed on by the stream's own flush
    EXPECT_EQ(out.rdstate(), std::ios::goodbit);
    EXPECT_EQ(sink.str(), "h\r\n\r\n.\r\n");
    EXPECT_THROW(out.put('x'), TDotByteLinesException);
    EXPECT_EQ(out.rdstate(), std::ios::goodbit);
    EXPECT_EQ(sink.str(), "h\r\n\r\n.\r\n");
    out.put('y');
    EXPECT_TRUE(out.bad());
}

TEST(StreamControl, ExceptionThatAFlushKeptArrivesInAStreamThatIsNoLongerUnitBuffered) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 0);
    out << "h\r\n\r";
    out << std::unitbuf;
    out.put('\n');
    out << std::nounitbuf;
    EXPECT_THROW(out.write("xyz", 3), TDotByteLinesException);
    EXPECT_EQ(out.rdstate(), std::ios::goodbit);
    EXPECT_EQ(sink.str(), "h\r\n\r\n.\r\n");
}

TEST(StreamControl, UnitBufferedInnerStreamIsFlushedAndItsExceptionArrives) {
    std::ostringstream sink;
    ToDotByteStream inner(sink, 1);
    inner << std::unitbuf;
    ToLineStream outer(&inner);
    outer << fsTwoLines;
    EXPECT_EQ(sink.str(), "");
    EXPECT_THROW(outer.flush(), TDotByteLinesException);
    EXPECT_EQ(sink.str(), "h\r\n\r\nb\r\n.\r\n");
    EXPECT_TRUE(inner.flags() & std::ios::unitbuf);
    EXPECT_EQ(inner.rdstate(), std::ios::goodbit);
    EXPECT_EQ(outer.rdstate(), std::ios::goodbit);
}

TEST(StreamControl, UnitBufferedSinkThatThrowsInItsFlushDoesNotEndTheProcess) {
    // The sink's bytes fail when its own put area is passed on: in the flush that unitbuf asks for.
    for (bool const throwing : {false, true}) {
        support::TSplitSink sink(100, support::Failing::throws, 3);
        sink << std::unitbuf;
        if (throwing)
            sink.exceptions(std::ios::badbit);
        ToLineStream out(&sink);
        out << "abcdef";
        out.flush();
        EXPECT_EQ(sink.rdstate(), std::ios::badbit);
        EXPECT_EQ(out.bad(), throwing);
        EXPECT_EQ(sink.Text(), "abc");
        EXPECT_TRUE(sink.flags() & std::ios::unitbuf);
    }
}

TEST(StreamControl, UnitBufferedSinkIsFlushedAfterEveryWrite) {
    support::TSplitSink sink(100);
    sink << std::unitbuf;
    ToLineStream out(&sink);
    out << "abc" << std::flush;
    EXPECT_EQ(sink.Syncs(), 1);
    EXPECT_TRUE(sink.flags() & std::ios::unitbuf);
}
