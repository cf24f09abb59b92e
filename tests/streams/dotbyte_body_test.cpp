// Whole bodies of dot-byte streams: whether one that was read is whole and clean, and how one that is written ends.

#include "tuzutil/DOTBYTE.h"

#include "support/dotbyte_model.h"
#include "support/streams.h"
#include "support/texts.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>
#include <string_view>

namespace {

int const fsEnd = std::char_traits<char>::eof();

struct TVerdict {
    bool terminated;
    bool bareLineFeed;
    bool bareReturn;

    bool operator==(TVerdict const &) const = default;
};

std::ostream &operator<<(std::ostream &out, TVerdict const &verdict) {
    return out << verdict.terminated << verdict.bareLineFeed << verdict.bareReturn;
}

TVerdict VerdictOn(std::string const &wire, std::size_t split = support::fsAll) {
    support::TSplitSource source(wire, split);
    TiDotByteStream in(source);
    in.ReadToTermination();
    return {in.IsTerminated(), in.SawBareLineFeed(), in.SawBareCarriageReturn()};
}

std::string Ended(std::string const &body) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << body;
    EXPECT_EQ(out.EndBody(), 0);
    return sink.str();
}

std::string EndedWithCrLf(std::string const &body) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out.UseCrLf();
    out << body;
    EXPECT_EQ(out.WriteTermination(), 0);
    return sink.str();
}

} // namespace

TEST(DotByteBody, IsWholeOnlyWithItsEndLine) {
    std::string const whole = "a\r\n..b\r\n.\r\n";
    for (std::size_t size = 0; size <= whole.size(); ++size)
        EXPECT_EQ(VerdictOn(whole.substr(0, size)), (TVerdict{size == whole.size(), false, false})) << size;
}

TEST(DotByteBody, IsNotYetTerminatedWhileItsEndLineWasNotRead) {
    std::istringstream source("a\r\n.\r\n");
    TiDotByteStream in(source);
    std::string line;
    EXPECT_FALSE(in.IsTerminated());
    std::getline(in, line);
    EXPECT_FALSE(in.IsTerminated());
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_TRUE(in.IsTerminated());
    EXPECT_TRUE(in.rdbuf()->IsTerminated());
}

TEST(DotByteBody, OfOneConnectionIsTerminatedForReadingOnly) {
    std::stringstream connection;
    TDotByteStream both(connection);
    both << "a\r\n";
    EXPECT_EQ(both.EndBody(), 0);
    EXPECT_FALSE(both.IsTerminated());
    EXPECT_EQ(both.ReadToTermination(), 0);
    EXPECT_TRUE(both.IsTerminated());
    EXPECT_FALSE(both.SawBareLineFeed() || both.SawBareCarriageReturn());
}

TEST(DotByteBody, TellsBareLineEndsApart) {
    EXPECT_EQ(VerdictOn("a\r\nb\r\n.\r\n"), (TVerdict{true, false, false}));
    EXPECT_EQ(VerdictOn("a\nb\r\n.\r\n"), (TVerdict{true, true, false}));
    EXPECT_EQ(VerdictOn("a\rb\r\n.\r\n"), (TVerdict{true, false, true}));
    EXPECT_EQ(VerdictOn("a\r\r\n.\r\n"), (TVerdict{true, false, true}));
    EXPECT_EQ(VerdictOn("a\n\rb\r\n.\r\n"), (TVerdict{true, true, true}));
    EXPECT_EQ(VerdictOn("\n.\r\nMAIL FROM:<x>\r\n.\r\n"), (TVerdict{true, true, false}));
    EXPECT_EQ(VerdictOn("\r.\r\nMAIL FROM:<x>\r\n.\r\n"), (TVerdict{true, false, true}));
    EXPECT_EQ(VerdictOn(".\rb\r\n.\r\n"), (TVerdict{true, false, true}));
    EXPECT_EQ(VerdictOn(".\r\nx\ny\rz"), (TVerdict{true, false, false})); // not the body's any more
}

TEST(DotByteBody, TellsBareLineEndsWhereverAPieceEnds) {
    for (std::size_t const split : {std::size_t(0), std::size_t(1), std::size_t(3), support::fsAll}) {
        for (std::size_t length = 1015; length <= 1030; ++length) {
            std::string const before(length, 'y');
            EXPECT_EQ(VerdictOn(before + "\r\n.\r\n", split), (TVerdict{true, false, false})) << length;
            EXPECT_EQ(VerdictOn(before + "\nx\r\n.\r\n", split), (TVerdict{true, true, false})) << length;
            EXPECT_EQ(VerdictOn(before + "\rx\r\n.\r\n", split), (TVerdict{true, false, true})) << length;
            EXPECT_EQ(VerdictOn(before + "\r\r\n.\r\n", split), (TVerdict{true, false, true})) << length;
        }
    }
}

TEST(DotByteBody, DoesNotJudgeACarriageReturnBeforeItsNextByte) {
    support::TSplitSource source("ab\r");
    TDotByteStreamBuf in(source);
    EXPECT_EQ(support::ReadBytes(in), "ab\r");
    EXPECT_FALSE(in.SawBareCarriageReturn());
    source.clear();
    source.Buf().Append("\n.\r\n");
    EXPECT_EQ(support::ReadBytes(in), "\n");
    EXPECT_FALSE(in.SawBareCarriageReturn() || in.SawBareLineFeed());
    EXPECT_TRUE(in.IsTerminated());

    support::TSplitSource other("ab\r");
    TDotByteStreamBuf second(other);
    support::ReadBytes(second);
    other.clear();
    other.Buf().Append("c\r\n.\r\n");
    EXPECT_EQ(support::ReadBytes(second), "c\r\n");
    EXPECT_TRUE(second.SawBareCarriageReturn());
}

TEST(DotByteBody, EndBodyCompletesTheLastLine) {
    EXPECT_EQ(Ended("a"), "a\r\n.\r\n");
    EXPECT_EQ(Ended("a\r"), "a\r\n.\r\n");
    EXPECT_EQ(Ended("a\r\n"), "a\r\n.\r\n");
    EXPECT_EQ(Ended("a\n"), "a\n.\r\n");
    EXPECT_EQ(Ended("a\n."), "a\n..\r\n.\r\n");
    EXPECT_EQ(Ended(""), ".\r\n");
}

TEST(DotByteBody, EndBodyEndsOnce) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out << "a";
    EXPECT_EQ(out.EndBody(), 0);
    EXPECT_EQ(out.EndBody(), -1);
    EXPECT_EQ(out.WriteTermination(), -1);
    EXPECT_FALSE(out << 'x' << std::flush);
    EXPECT_EQ(sink.str(), "a\r\n.\r\n");
    std::istringstream source("a\r\n.\r\n");
    EXPECT_EQ(TDotByteStreamBuf(source).EndBody(), -1);
}

TEST(DotByteBody, EndBodyCompletesWhatWasFlushedBefore) {
    support::TSplitSink sink(100);
    ToDotByteStream out(sink);
    out << "a" << std::flush;
    EXPECT_EQ(out.EndBody(), 0);
    EXPECT_EQ(sink.Text(), "a\r\n.\r\n");
    EXPECT_EQ(sink.Syncs(), 1);
    support::TSplitSink unbuffered;
    ToDotByteStream each(unbuffered);
    each << std::unitbuf << "b\r";
    EXPECT_EQ(each.EndBody(), 0);
    EXPECT_EQ(unbuffered.Text(), "b\r\n.\r\n");
}

TEST(DotByteBody, EndBodyReportsAFailedSink) {
    for (std::size_t failAt = 0; failAt < 6; ++failAt) {
        support::TSplitSink sink(0, support::Failing::end, failAt);
        ToDotByteStream out(sink);
        out << "a";
        EXPECT_EQ(out.EndBody(), -1);
        EXPECT_EQ(sink.Text(), std::string("a\r\n.\r\n").substr(0, failAt));
    }
}

TEST(DotByteBody, TheLineThatEndBodyCompletesCountsForTheLimit) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 1);
    out << "Subject: x\r\n\r\nfirst";
    EXPECT_THROW(out.EndBody(), TDotByteLinesException);
    EXPECT_EQ(sink.str(), "Subject: x\r\n\r\nfirst\r\n.\r\n");
    std::ostringstream shorter;
    ToDotByteStream two(shorter, 2);
    two << "Subject: x\r\n\r\nfirst";
    EXPECT_EQ(two.EndBody(), 0);
    EXPECT_EQ(shorter.str(), "Subject: x\r\n\r\nfirst\r\n.\r\n");
}

TEST(DotByteBody, UseCrLfEndsEveryLineWithBoth) {
    EXPECT_EQ(EndedWithCrLf("a\nb\rc\r\nd\n"), "a\r\nb\r\nc\r\nd\r\n.\r\n");
    EXPECT_EQ(EndedWithCrLf("\n\n\r\r\n\r\n"), "\r\n\r\n\r\n\r\n\r\n.\r\n");
    EXPECT_EQ(EndedWithCrLf("\r.\r.a\n.\n"), "\r\n..\r\n..a\r\n..\r\n.\r\n"); // no end line is smuggled in
    EXPECT_EQ(EndedWithCrLf("a\r"), "a\r\n.\r\n");
    EXPECT_EQ(EndedWithCrLf(""), ".\r\n");
}

TEST(DotByteBody, UseCrLfEndsALineOnceIfItsTwoBytesComeInTwoWrites) {
    std::ostringstream sink;
    ToDotByteStream out(sink);
    out.UseCrLf();
    out << "a\r" << std::flush;
    EXPECT_EQ(sink.str(), "a\r\n");
    out << "\n" << std::flush; // nothing is left to send
    EXPECT_EQ(sink.str(), "a\r\n");
    out << ".\n" << std::flush;
    EXPECT_EQ(sink.str(), "a\r\n..\r\n");
}

TEST(DotByteBody, UseCrLfCountsLinesAsTheyAreSent) {
    std::ostringstream sink;
    ToDotByteStream out(sink, 1);
    out.UseCrLf();
    out << "x\n\nfirst\rsecond\n";
    EXPECT_THROW(out.rdbuf()->pubsync(), TDotByteLinesException);
    EXPECT_EQ(sink.str(), "x\r\n\r\nfirst\r\n.\r\n"); // "x" is sent in 3 bytes, and so is no empty line
}

TEST(DotByteBody, OfEveryShortTextIsWrittenAsTheModelSays) {
    std::array<std::size_t, 4> const runs{1, 2, 3, support::fsAll};
    support::ForEveryText(7, [&](std::string const &body) {
        for (std::size_t const run : runs) {
            for (bool const useCrLf : {false, true}) {
                support::TSplitSink sink;
                TDotByteStreamBuf out(sink);
                if (useCrLf)
                    out.UseCrLf();
                // A flush after each run passes the text on in these pieces.
                for (std::size_t at = 0; at < body.size(); at += std::min(run, body.size() - at)) {
                    support::Write(out, std::string_view(body).substr(at, run), run);
                    out.pubsync();
                }
                ASSERT_EQ(out.EndBody(), 0);
                std::string const lines = useCrLf ? support::WithCrLf(body) : body;
                ASSERT_EQ(sink.Text(), support::Stuff(lines) + support::Completion(lines) + ".\r\n")
                    << testing::PrintToString(body) << useCrLf;
            }
        }
    });
}

TEST(DotByteBody, OfAnyLengthComesBackCleanAfterUseCrLf) {
    support::TRandom random;
    for (int i = 0; i < 200; ++i) {
        std::string const body = support::RandomText(random, random.Below(6000), random.Between(40, 99));
        support::TSplitSink sink;
        TDotByteStreamBuf out(sink);
        out.UseCrLf();
        support::Write(out, body, random.Between(1, 3000));
        ASSERT_EQ(out.EndBody(), 0);
        std::string const lines = support::WithCrLf(body);
        ASSERT_EQ(sink.Text(), support::Stuff(lines) + support::Completion(lines) + ".\r\n");
        ASSERT_EQ(VerdictOn(sink.Text()), (TVerdict{true, false, false}));
    }
}

// The line end needs two bytes. The text is longer than the array in which the bytes are gathered.
TEST(DotByteBody, UseCrLfReplacesALineEndAtEveryPlaceOfALongText) {
    for (std::size_t at = 0; at <= 4200; ++at) {
        std::string body(4200, 'x');
        body.insert(at, "\n");
        std::string expected(4200, 'x');
        expected.insert(at, "\r\n");
        std::string const sent = EndedWithCrLf(body);
        ASSERT_EQ(sent, expected + ".\r\n") << at;
    }
}
