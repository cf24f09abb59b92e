// Dot-byte streams against the model: every short text, long ones at random, every split, failures at every byte.

#include "tuzutil/DOTBYTE.h"

#include "support/dotbyte_model.h"
#include "support/streams.h"
#include "support/texts.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

int const fsEnd = std::char_traits<char>::eof();

std::array<std::size_t, 5> const fsRuns{1, 2, 3, 7, support::fsAll};

void ExpectRead(TDotByteStreamBuf const &buffer, support::TSplitSource const &source, std::string const &data,
                std::string_view wire, std::ios::iostate atEnd = std::ios::eofbit) {
    support::TUnstuffed const expected = support::Unstuff(wire);
    ASSERT_EQ(data, expected.data) << wire;
    ASSERT_EQ(source.Taken(), expected.taken) << wire;
    ASSERT_EQ(source.rdstate(), expected.terminated ? std::ios::goodbit : atEnd) << wire;
    ASSERT_EQ(buffer.IsTerminated(), expected.terminated) << wire;
    ASSERT_EQ(buffer.SawBareLineFeed(), support::HasBareLineFeed(wire.substr(0, expected.taken))) << wire;
    ASSERT_EQ(buffer.SawBareCarriageReturn(), support::HasBareReturn(wire.substr(0, expected.taken))) << wire;
}

// An exception costs a thousand times what a short text costs, so texts that throw are a little shorter.
constexpr std::size_t fsThrowingLength = 6;

class DotByteReading : public testing::TestWithParam<std::size_t> {};
class DotByteWriting : public testing::TestWithParam<int> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Split, DotByteReading, testing::Values(0, 1, 2, 3, 7, support::fsAll), [](auto const &split) {
    return split.param == support::fsAll ? "All" : std::to_string(split.param);
});

TEST_P(DotByteReading, EveryShortTextIsReadAsTheModelSays) {
    support::ForEveryText(8, [](std::string const &wire) {
        support::TSplitSource source(wire, GetParam());
        TDotByteStreamBuf bytes(source);
        ExpectRead(bytes, source, support::ReadBytes(bytes), wire);
        support::TSplitSource again(wire, GetParam());
        TDotByteStreamBuf runs(again);
        ExpectRead(runs, again, support::ReadRuns(runs, 3), wire);
    });
}

TEST_P(DotByteReading, SourceThatEndsAtAnyByteIsReadUpToThere) {
    support::ForEveryText(8, [](std::string const &wire) {
        for (std::size_t failAt = 0; failAt <= wire.size(); ++failAt) {
            support::TSplitSource source(wire, GetParam(), support::Failing::end, failAt);
            TDotByteStreamBuf buffer(source);
            ExpectRead(buffer, source, support::ReadBytes(buffer), std::string_view(wire).substr(0, failAt));
        }
    });
}

TEST_P(DotByteReading, SourceThatThrowsAtAnyByteIsReadUpToThere) {
    support::ForEveryText(fsThrowingLength, [](std::string const &wire) {
        for (std::size_t failAt = 0; failAt <= wire.size(); ++failAt) {
            support::TSplitSource source(wire, GetParam(), support::Failing::throws, failAt);
            TDotByteStreamBuf buffer(source);
            ExpectRead(buffer, source, support::ReadBytes(buffer), std::string_view(wire).substr(0, failAt),
                       std::ios::badbit);
        }
    });
}

TEST_P(DotByteReading, ExceptionThatTheSourceLetsThroughLosesNothing) {
    support::ForEveryText(fsThrowingLength, [](std::string const &wire) {
        for (std::size_t failAt = 0; failAt <= wire.size(); ++failAt) {
            support::TSplitSource source(wire, GetParam(), support::Failing::throws, failAt);
            source.exceptions(std::ios::badbit);
            TDotByteStreamBuf buffer(source);
            int exceptions = 0;
            std::string const data = support::ReadThroughExceptions(buffer, source, exceptions);
            ExpectRead(buffer, source, data, wire);
            support::TUnstuffed const expected = support::Unstuff(wire);
            ASSERT_EQ(exceptions, expected.terminated && failAt >= expected.taken ? 0 : 1) << wire;
        }
    });
}

TEST_P(DotByteReading, TextsAroundTheEdgeOfAPieceAreReadAsTheModelSays) {
    // The first line is longer than a piece or just fits; nothing in it looks like a dot at a line start.
    for (std::size_t length = 1017; length <= 1025; ++length) {
        std::string const before(length, 'y');
        support::ForEveryText(5, [&](std::string const &rest) {
            std::string const wire = before + rest;
            support::TSplitSource source(wire, GetParam());
            TDotByteStreamBuf buffer(source);
            ExpectRead(buffer, source, support::ReadRuns(buffer, 5000), wire);
        });
    }
}

TEST_P(DotByteReading, RandomLongTextsAreReadAsTheModelSays) {
    support::TRandom random;
    for (int i = 0; i < 400; ++i) {
        std::string const wire = support::RandomText(random, random.Below(6000), random.Between(50, 99));
        support::TSplitSource source(wire, GetParam());
        TDotByteStreamBuf buffer(source);
        ExpectRead(buffer, source, support::ReadRuns(buffer, random.Between(1, 3000)), wire);
    }
}

TEST(DotByteReading, OnlyCrLfDotCrLfEndsTheData) {
    std::string const nul(1, '\0');
    std::vector<std::string> const variants{
        "\n.\n",
        "\n.\r\n",
        "\r\n.\n",
        "\r.\r",
        "\r.\r\n",
        "\r\r\n.\r\r\n",
        "\n.\r",
        "\r\n.\r",
        "\r.\n",
        "\r\n.\r\r\n",
        "\r\n. \r\n",
        "\r\n .\r\n",
        "\n\r.\r\n",
        "\n\r.\n\r",
        "\r\n..\r\n",
        "\r\n.\r" + nul + "\n",
        "\r\n." + nul + "\r\n",
        "\r\n" + nul + ".\r\n",
        nul + "\n.\r\n",
        "\r" + nul + "\n.\r\n",
        "\r\n\xff.\r\n",
        "\x85.\x85",
        "\r\n\v.\r\n",
        "\r\n.\f\r\n",
    };
    std::string const commands = "MAIL FROM:<x>\r\nDATA\r\n";
    std::string const end = "\r\n.\r\n";
    for (std::string const &variant : variants) {
        std::vector<std::string> befores{"", "text", "text\r\ntext", "\r\n"};
        for (std::size_t length = 1010; length <= 1030; ++length)
            befores.push_back(std::string(length, 'y'));
        for (std::string const &before : befores) {
            std::string const wire = before + variant + commands + end + "QUIT\r\n";
            for (std::size_t const split : {std::size_t(0), std::size_t(1), std::size_t(7), support::fsAll}) {
                support::TSplitSource source(wire, split);
                TDotByteStreamBuf buffer(source);
                std::string const data = support::ReadBytes(buffer);
                ASSERT_EQ(source.Rest(), "QUIT\r\n") << before.size() << testing::PrintToString(variant);
                ASSERT_NE(data.find(commands), std::string::npos);
                ASSERT_EQ(source.rdstate(), std::ios::goodbit);
            }
        }
    }
}

TEST(DotByteReading, TrueEndIsFoundWhereverItStands) {
    for (std::size_t length = 0; length <= 3100; ++length) {
        std::string const body = std::string(length, 'y');
        support::TSplitSource source(body + "\r\n.\r\nQUIT\r\n");
        TDotByteStreamBuf buffer(source);
        ASSERT_EQ(support::ReadBytes(buffer), body + "\r\n");
        ASSERT_EQ(source.Rest(), "QUIT\r\n") << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Lines, DotByteWriting, testing::Values(-1, 0, 1, 2, 3),
                         [](auto const &lines) { return lines.param < 0 ? "Unlimited" : std::to_string(lines.param); });

namespace {

// A writer with the limit of the parameter, or none.
struct TWriter {
    explicit TWriter(int lines, std::size_t piece = 0, support::Failing failing = support::Failing::never,
                     std::size_t failAt = support::fsAll)
        : sink(piece, failing, failAt), limited(sink, static_cast<unsigned long>(lines)), unlimited(sink),
          buffer(lines < 0 ? unlimited : limited) {}

    support::TSplitSink sink;
    TDotByteStreamBuf limited;
    TDotByteStreamBuf unlimited;
    TDotByteStreamBuf &buffer;
};

struct TWritten {
    std::string wire;
    bool cut;
};

TWritten Expected(std::string_view body, int lines) {
    std::size_t const end = lines < 0 ? std::string_view::npos : support::CutAt(body, static_cast<std::size_t>(lines));
    return {support::Stuff(body.substr(0, end)) + ".\r\n", end != std::string_view::npos};
}

// True if the limit cut the body; otherwise it is ended here, with the given result.
template <typename F>
bool Body(TWriter &writer, F write, int result) {
    try {
        write();
        EXPECT_EQ(writer.buffer.WriteTermination(), result);
        return false;
    } catch (TDotByteLinesException const &) {
        return true;
    }
}

} // namespace

TEST_P(DotByteWriting, EveryShortTextIsWrittenAsTheModelSays) {
    support::ForEveryText(8, [](std::string const &body) {
        TWritten const expected = Expected(body, GetParam());
        for (std::size_t const run : fsRuns) {
            TWriter writer(GetParam());
            // A flush after each run passes the text on in these pieces.
            bool const cut = Body(
                writer,
                [&] {
                    for (std::size_t at = 0; at < body.size(); at += std::min(run, body.size() - at)) {
                        support::Write(writer.buffer, std::string_view(body).substr(at, run), run);
                        writer.buffer.pubsync();
                    }
                },
                0);
            ASSERT_EQ(cut, expected.cut) << body;
            ASSERT_EQ(writer.sink.Text(), expected.wire) << body;
            ASSERT_EQ(writer.buffer.WriteTermination(), -1);
            ASSERT_EQ(writer.buffer.sputc('x'), fsEnd);
            ASSERT_EQ(writer.sink.rdstate(), std::ios::goodbit);
        }
    });
}

namespace {

void ExpectFailingSink(std::string const &body, int lines, support::Failing failing) {
    std::array<std::size_t, 5> const pieces{0, 1, 2, 3, 7};
    TWritten const expected = Expected(body, lines);
    for (std::size_t failAt = 0; failAt < expected.wire.size(); ++failAt) {
        TWriter writer(lines, pieces[(failAt + body.size()) % pieces.size()], failing, failAt);
        bool const cut = Body(
            writer, [&] { support::Write(writer.buffer, body, support::fsAll); }, -1);
        ASSERT_EQ(cut, expected.cut) << body;
        ASSERT_EQ(writer.sink.Text(), expected.wire.substr(0, failAt)) << body;
        ASSERT_TRUE(writer.sink.bad());
    }
}

} // namespace

TEST_P(DotByteWriting, SinkThatRefusesAnyByteHasWhatCameBefore) {
    support::ForEveryText(GetParam() < 0 ? 8 : fsThrowingLength,
                          [](std::string const &body) { ExpectFailingSink(body, GetParam(), support::Failing::end); });
}

TEST_P(DotByteWriting, SinkThatThrowsAtAnyByteHasWhatCameBefore) {
    support::ForEveryText(fsThrowingLength, [](std::string const &body) {
        ExpectFailingSink(body, GetParam(), support::Failing::throws);
    });
}

TEST_P(DotByteWriting, RunsLeaveTheSameAsSingleBytesAtEveryMoment) {
    support::TRandom random;
    for (int i = 0; i < 300; ++i) {
        TWriter single(GetParam());
        TWriter runs(GetParam());
        bool cut[2] = {false, false};
        std::string whole;
        for (int writes = 0; writes < 8 && !cut[0]; ++writes) {
            // Empty lines are rare, so that limits are met late.
            std::string const text = support::RandomText(random, random.Below(2500), random.Between(60, 99));
            whole += text;
            int which = 0;
            for (TWriter *const writer : {&single, &runs}) {
                try {
                    if (writer == &single)
                        support::WriteBytes(writer->buffer, text);
                    else
                        ASSERT_EQ(writer->buffer.sputn(text.data(), static_cast<std::streamsize>(text.size())),
                                  static_cast<std::streamsize>(text.size()));
                } catch (TDotByteLinesException const &) {
                    cut[which] = true;
                }
                ++which;
            }
            ASSERT_EQ(cut[0], cut[1]);
            ASSERT_EQ(single.sink.Text(), runs.sink.Text());
        }
        if (!cut[0]) {
            ASSERT_EQ(Body(
                          single, [] {}, 0),
                      Body(
                          runs, [] {}, 0));
        }
        ASSERT_EQ(single.sink.Text(), Expected(whole, GetParam()).wire);
        ASSERT_EQ(runs.sink.Text(), single.sink.Text());
    }
}

TEST(DotByteWriting, BodyWhoseLinesEndInCrLfComesBackUnchanged) {
    support::TRandom random;
    for (int i = 0; i < 300; ++i) {
        std::string body;
        for (std::size_t lines = random.Below(50); lines > 0; --lines) {
            std::string line = support::RandomText(random, random.Below(90), random.Between(60, 99), ".\rx");
            if (!line.empty() && line.back() == '\r')
                line.back() = '.';
            body += line + "\r\n";
        }
        support::TSplitSink sink;
        TDotByteStreamBuf out(sink);
        support::Write(out, body, random.Between(1, 3000));
        ASSERT_EQ(out.WriteTermination(), 0);
        support::TSplitSource source(sink.Text() + "X");
        TDotByteStreamBuf in(source);
        ASSERT_EQ(support::ReadRuns(in, random.Between(1, 3000)), body);
        ASSERT_EQ(source.Rest(), "X");
    }
}
