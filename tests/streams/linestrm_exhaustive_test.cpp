// Line streams against the model: every short text, long ones at random, every split, failures at every byte.

#include "tuzutil/LINESTRM.h"

#include "support/line_model.h"
#include "support/streams.h"
#include "support/texts.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class TOpenBuf : public TLineStreamBuf {
public:
    using TLineStreamBuf::TLineStreamBuf;

    std::string_view Piece() {
        setg(eback(), egptr(), egptr());
        underflow();
        return std::string_view(gptr(), static_cast<std::size_t>(egptr() - gptr()));
    }
};

// Piece by piece: bytes, lines, and where the source stands.
void ExpectPieces(std::string const &text, std::size_t split) {
    support::TSplitSource source(text, split);
    TOpenBuf buffer(500, &source);
    std::size_t taken = 0;
    for (std::string_view const piece : support::LinePieces(text, 488)) {
        ASSERT_EQ(buffer.Piece(), piece) << text;
        taken += piece.size();
        ASSERT_EQ(source.Taken(), taken) << text;
        std::string_view const seen = std::string_view(text).substr(0, taken);
        ASSERT_EQ(buffer.QueryLinesRead(), support::LinesAtEnd(seen) - (seen.back() == '\n')) << text;
    }
    ASSERT_EQ(buffer.Piece(), "");
    ASSERT_EQ(buffer.QueryLinesRead(), support::LinesAtEnd(text)) << text;
    ASSERT_EQ(source.rdstate(), std::ios::eofbit);
}

void ExpectAll(support::TSplitSource const &source, TLineStreamBuf const &buffer, std::string const &data,
               std::string_view text, std::ios::iostate atEnd = std::ios::eofbit) {
    ASSERT_EQ(data, text);
    ASSERT_EQ(source.Taken(), text.size());
    ASSERT_EQ(source.rdstate(), atEnd) << text;
    ASSERT_EQ(buffer.QueryLinesRead(), support::LinesAtEnd(text)) << text;
}

// A dot is a character like any other here.
constexpr std::string_view fsLineBytes = "\r\nx";

// An exception costs a thousand times what a short text costs, so texts that throw are a little shorter.
constexpr std::size_t fsThrowingLength = 6;

class LineReading : public testing::TestWithParam<std::size_t> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Split, LineReading, testing::Values(0, 1, 2, 3, 7, support::fsAll), [](auto const &split) {
    return split.param == support::fsAll ? "All" : std::to_string(split.param);
});

TEST_P(LineReading, EveryShortTextIsReadAsTheModelSays) {
    support::ForEveryText(8, [](std::string const &text) {
        ExpectPieces(text, GetParam());
        support::TSplitSource bytewise(text, GetParam());
        TLineStreamBuf bytes(500, &bytewise);
        ExpectAll(bytewise, bytes, support::ReadBytes(bytes), text);
        support::TSplitSource inRuns(text, GetParam());
        TLineStreamBuf runs(500, &inRuns);
        ExpectAll(inRuns, runs, support::ReadRuns(runs, 3), text);
    });
}

TEST_P(LineReading, TextsAroundTheEdgeOfAPieceAreReadAsTheModelSays) {
    for (std::size_t length = 483; length <= 490; ++length) {
        std::string const before(length, 'y');
        support::ForEveryText(5, [&](std::string const &rest) { ExpectPieces(before + rest, GetParam()); });
    }
}

TEST_P(LineReading, SourceThatEndsAtAnyByteIsReadUpToThere) {
    support::ForEveryText(
        8,
        [](std::string const &text) {
            for (std::size_t failAt = 0; failAt <= text.size(); ++failAt) {
                support::TSplitSource source(text, GetParam(), support::Failing::end, failAt);
                TLineStreamBuf buffer(500, &source);
                ExpectAll(source, buffer, support::ReadBytes(buffer), std::string_view(text).substr(0, failAt));
            }
        },
        fsLineBytes);
}

TEST_P(LineReading, SourceThatThrowsAtAnyByteIsReadUpToThere) {
    support::ForEveryText(
        fsThrowingLength,
        [](std::string const &text) {
            for (std::size_t failAt = 0; failAt <= text.size(); ++failAt) {
                support::TSplitSource source(text, GetParam(), support::Failing::throws, failAt);
                TLineStreamBuf buffer(500, &source);
                ExpectAll(source, buffer, support::ReadBytes(buffer), std::string_view(text).substr(0, failAt),
                          std::ios::badbit);
            }
        },
        fsLineBytes);
}

TEST_P(LineReading, ExceptionThatTheSourceLetsThroughLosesNothingAndCountsNothing) {
    support::ForEveryText(
        fsThrowingLength,
        [](std::string const &text) {
            for (std::size_t failAt = 0; failAt <= text.size(); ++failAt) {
                support::TSplitSource source(text, GetParam(), support::Failing::throws, failAt);
                source.exceptions(std::ios::badbit);
                TLineStreamBuf buffer(500, &source);
                int exceptions = 0;
                ExpectAll(source, buffer, support::ReadThroughExceptions(buffer, source, exceptions), text);
                ASSERT_EQ(exceptions, 1);
            }
        },
        fsLineBytes);
}

TEST_P(LineReading, RandomLongTextsAreReadAsTheModelSays) {
    support::TRandom random;
    for (int i = 0; i < 300; ++i) {
        std::string const text = support::RandomText(random, random.Below(6000), random.Between(50, 100));
        ExpectPieces(text, GetParam());
        support::TSplitSource source(text, GetParam());
        TLineStreamBuf buffer(500, &source);
        ExpectAll(source, buffer, support::ReadRuns(buffer, random.Between(1, 3000)), text);
    }
}

TEST(LineWriting, RunsLeaveTheSameAsSingleBytesAtEveryMoment) {
    support::TRandom random;
    for (int i = 0; i < 300; ++i) {
        support::TSplitSink singleSink, runSink;
        TLineStreamBuf single(500, &singleSink), runs(500, &runSink);
        std::string whole;
        for (int writes = 0; writes < 8; ++writes) {
            std::string const text = support::RandomText(random, random.Below(1500), 50);
            whole += text;
            support::WriteBytes(single, text);
            support::Write(runs, text, random.Between(1, 1500));
            ASSERT_EQ(singleSink.Text(), runSink.Text());
        }
        ASSERT_EQ(single.pubsync(), 0);
        ASSERT_EQ(runs.pubsync(), 0);
        ASSERT_EQ(singleSink.Text(), whole);
        ASSERT_EQ(runSink.Text(), whole);
    }
}

TEST(LineWriting, SinkThatFailsAtAnyByteHasWhatCameBefore) {
    support::TRandom random;
    std::string const text = support::RandomText(random, 1200, 50);
    for (std::size_t failAt = 0; failAt < text.size(); ++failAt) {
        for (std::size_t const piece : {std::size_t(0), std::size_t(7), std::size_t(600)}) {
            for (support::Failing const failing : {support::Failing::end, support::Failing::throws}) {
                support::TSplitSink sink(piece, failing, failAt);
                ToLineStream out(500, &sink);
                out << text << std::flush;
                sink.flush();
                ASSERT_TRUE(out.good());
                ASSERT_EQ(sink.Text(), text.substr(0, failAt));
            }
        }
    }
}
