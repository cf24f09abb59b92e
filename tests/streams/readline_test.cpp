#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include "support/line_model.h"
#include "support/streams.h"
#include "support/texts.h"

#include <gtest/gtest.h>

#include <istream>
#include <sstream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

namespace {

std::vector<std::string> LinesOf(std::string const &text, std::size_t limit = 100) {
    std::istringstream source(text);
    TiLineStream in(&source);
    return support::ReadLines(in, limit);
}

using TTexts = std::vector<std::string>;

// A buffer that gives its bytes one at a time. Before it gives the last byte, it sets the fail bit of its stream.
class TFailsAtItsLast : public std::streambuf {
public:
    explicit TFailsAtItsLast(std::string text) : fText(std::move(text)) {}

    std::ios *stream = nullptr;

protected:
    int_type underflow() override {
        if (stream && fAt + 1 == fText.size())
            stream->setstate(std::ios_base::failbit);
        return fAt < fText.size() ? traits_type::to_int_type(fText[fAt]) : traits_type::eof();
    }
    int_type uflow() override {
        int_type const c = underflow();
        ++fAt;
        return c;
    }

private:
    std::string const fText;
    std::size_t fAt = 0;
};

} // namespace

TEST(ReadLine, GivesLinesWithoutTheirEnds) {
    EXPECT_EQ(LinesOf("USER joe\r\nPASS secret\r\n"), (TTexts{"line USER joe", "line PASS secret", "end "}));
    EXPECT_EQ(LinesOf("\r\n\r\n"), (TTexts{"line ", "line ", "end "}));
    EXPECT_EQ(LinesOf(""), (TTexts{"end "}));
}

TEST(ReadLine, TellsALineFeedWithoutItsCarriageReturn) {
    EXPECT_EQ(LinesOf("a\nb\r\n\n"), (TTexts{"bareLineFeed a", "line b", "bareLineFeed ", "end "}));
}

TEST(ReadLine, TellsACarriageReturnWithoutItsLineFeedAndKeepsIt) {
    EXPECT_EQ(LinesOf("a\rb\r\nc\r\n"), (TTexts{"bareCarriageReturn a\rb", "line c", "end "}));
    EXPECT_EQ(LinesOf("a\r\r\n"), (TTexts{"bareCarriageReturn a\r", "end "}));
    EXPECT_EQ(LinesOf("a\rb\n"), (TTexts{"bareCarriageReturn a\rb", "end "}));
}

TEST(ReadLine, SkipsTheRestOfALineThatIsTooLong) {
    EXPECT_EQ(LinesOf("abcd\r\nabcde\r\nx\r\n", 4), (TTexts{"line abcd", "tooLong abcd", "line x", "end "}));
    EXPECT_EQ(LinesOf("abcd\nabcde\nx\n", 4), (TTexts{"bareLineFeed abcd", "tooLong abcd", "bareLineFeed x", "end "}));
    EXPECT_EQ(LinesOf("abc\r\r\nab\rdef\r\n", 3), (TTexts{"tooLong abc", "tooLong ab\r", "end "}));
    EXPECT_EQ(LinesOf("\r\na\r\n\n", 0), (TTexts{"line ", "tooLong ", "bareLineFeed ", "end "}));
}

TEST(ReadLine, GivesWhatTheEndCutOff) {
    EXPECT_EQ(LinesOf("a\r\nbc"), (TTexts{"line a", "end bc"}));
    EXPECT_EQ(LinesOf("bc\r"), (TTexts{"end bc\r"}));
    EXPECT_EQ(LinesOf("b\rc", 2), (TTexts{"end b\r"}));
}

TEST(ReadLine, LeavesTheLineFeedOfASourceThatIsNotGoodAnyMore) {
    TFailsAtItsLast bytes("a\r\nbc\n");
    std::istream source(&bytes);
    bytes.stream = &source;
    TiLineStream in(&source);
    EXPECT_EQ(support::ReadLines(in, 100), (TTexts{"line a", "end bc"}));
    bytes.stream = nullptr;
    source.clear();
    EXPECT_EQ(source.get(), '\n');
}

TEST(ReadLine, KeepsZeroBytes) {
    EXPECT_EQ(LinesOf(std::string("a\0b\r\n\0\n", 7)),
              (TTexts{std::string("line a\0b", 8), std::string("bareLineFeed \0", 14), "end "}));
}

TEST(ReadLine, GivesTheSameAtEverySplitOfEveryShortText) {
    for (std::size_t const split : {std::size_t(0), std::size_t(1), std::size_t(2), std::size_t(3), support::fsAll}) {
        support::ForEveryText(7, [&](std::string const &text) {
            for (std::size_t const limit : {std::size_t(0), std::size_t(1), std::size_t(3), std::size_t(100)}) {
                support::TSplitSource source(text, split);
                TiLineStream in(&source);
                ASSERT_EQ(support::ReadLines(in, limit), support::LinesRead(text, limit))
                    << testing::PrintToString(text) << limit;
            }
        });
    }
}

TEST(ReadLine, GivesTheSameAroundTheEdgesOfAPiece) {
    // Pieces of 488 bytes, so that each end of a line falls on each side of an edge.
    for (std::size_t length = 484; length <= 491; ++length) {
        support::ForEveryText(4, [&](std::string const &rest) {
            std::string const text = std::string(length, 'y') + rest + "z";
            for (std::size_t const limit : {length - 1, length, length + 1, std::size_t(1000)}) {
                support::TSplitSource source(text, support::fsAll);
                TLineStreamBuf in(500, &source);
                ASSERT_EQ(support::ReadLines(in, limit), support::LinesRead(text, limit))
                    << length << testing::PrintToString(rest) << limit;
            }
        });
    }
}

TEST(ReadLine, GivesTheSameForRandomLongTexts) {
    support::TRandom random;
    for (int i = 0; i < 300; ++i) {
        std::string const text = support::RandomText(random, random.Below(6000), random.Between(50, 99));
        std::size_t const limit = random.Below(1500);
        support::TSplitSource source(text, random.Between(1, 700));
        TiLineStream in(500, &source);
        ASSERT_EQ(support::ReadLines(in, limit), support::LinesRead(text, limit));
        ASSERT_EQ(in.QueryLinesRead(), support::LinesAtEnd(text));
    }
}

TEST(ReadLine, LeavesTheSourceBehindTheLine) {
    support::TSplitSource source("one\r\n" + std::string(3000, 'x') + "\r\nthree\r\n");
    TiLineStream in(&source);
    std::string line;
    EXPECT_EQ(in.ReadLine(line, 10), TLineRead::line);
    EXPECT_EQ(source.Taken(), 5u);
    EXPECT_EQ(in.QueryLinesRead(), 1u);
    EXPECT_EQ(in.ReadLine(line, 10), TLineRead::tooLong);
    EXPECT_EQ(source.Rest(), "three\r\n");
    EXPECT_EQ(in.QueryLinesRead(), 2u);
    EXPECT_EQ(source.rdstate(), std::ios::goodbit);
}

TEST(ReadLine, MixesWithTheOtherWaysToRead) {
    std::istringstream source("abc\r\ndef\r\nghi\r\n");
    TiLineStream in(&source);
    std::string line;
    EXPECT_EQ(in.get(), 'a');
    EXPECT_EQ(in.ReadLine(line, 10), TLineRead::line);
    EXPECT_EQ(line, "bc");
    EXPECT_EQ(in.gcount(), 1); // of get()
    EXPECT_TRUE(in.unget());
    EXPECT_EQ(in.ReadLine(line, 10), TLineRead::bareLineFeed); // only the LF was read again
    EXPECT_EQ(line, "");
    EXPECT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "def\r");
    EXPECT_EQ(in.ReadLine(line, 10), TLineRead::line);
    EXPECT_EQ(line, "ghi");
    EXPECT_TRUE(in.putback('x'));
    EXPECT_EQ(in.ReadLine(line, 10), TLineRead::end);
    EXPECT_EQ(line, "x");
}

TEST(ReadLine, SetsBitsOnlyAtTheEnd) {
    std::istringstream source("abcdef\r\na\nb\rc\r\nd");
    TiLineStream in(&source);
    std::string line;
    for (TLineRead const expected : {TLineRead::tooLong, TLineRead::bareLineFeed, TLineRead::bareCarriageReturn}) {
        EXPECT_EQ(in.ReadLine(line, 4), expected);
        EXPECT_EQ(in.rdstate(), std::ios::goodbit);
    }
    EXPECT_EQ(in.ReadLine(line, 4), TLineRead::end);
    EXPECT_EQ(line, "d");
    EXPECT_EQ(in.rdstate(), std::ios::eofbit | std::ios::failbit);
    EXPECT_EQ(in.ReadLine(line, 4), TLineRead::end);
    EXPECT_EQ(line, "");
}

TEST(ReadLine, ThrowsAtTheEndIfTheStreamIsToThrow) {
    std::istringstream source("a");
    TiLineStream in(&source);
    in.exceptions(std::ios::failbit);
    std::string line;
    EXPECT_THROW(static_cast<void>(in.ReadLine(line, 4)), std::ios_base::failure);
    EXPECT_EQ(line, "a");
}

TEST(ReadLine, GoesOnAfterASourceThatEndedForTheMoment) {
    support::TSplitSource source("PASS sec");
    TLineStreamBuf in(&source);
    std::string line;
    EXPECT_EQ(in.ReadLine(line, 100), TLineRead::end);
    EXPECT_EQ(line, "PASS sec");
    source.clear();
    source.Buf().Append("ret\r\n");
    EXPECT_EQ(in.ReadLine(line, 100), TLineRead::line);
    EXPECT_EQ(line, "ret");
}

TEST(ReadLine, AnExceptionOfTheSourceSetsTheBadBitOrPasses) {
    for (std::size_t failAt = 0; failAt < 7; ++failAt) {
        support::TSplitSource source("ab\r\ncd\r\n", 1, support::Failing::throws, failAt);
        source.exceptions(std::ios::badbit);
        TiLineStream in(&source);
        std::string line;
        TLineRead read = in.ReadLine(line, 10);
        if (failAt > 3) {
            EXPECT_EQ(read, TLineRead::line);
            read = in.ReadLine(line, 10);
        }
        EXPECT_EQ(read, TLineRead::end) << failAt;
        EXPECT_TRUE(in.bad());
        source.clear();
        in.clear();
        EXPECT_EQ(in.ReadLine(line, 10), TLineRead::line);
        EXPECT_EQ(line, failAt > 3 ? "cd" : "ab"); // nothing of the piece that failed is lost
    }
    support::TSplitSource source("ab\r\n", 1, support::Failing::throws, 1);
    source.exceptions(std::ios::badbit);
    TiLineStream in(&source);
    in.exceptions(std::ios::badbit);
    std::string line;
    EXPECT_THROW(static_cast<void>(in.ReadLine(line, 10)), std::runtime_error);
}

TEST(ReadLine, AnExceptionOfTheLibraryPassesAndLeavesTheStreamGood) {
    std::istringstream connection("a\r\nb\r\n.\r\n");
    TiDotByteStream body(connection);
    TiLineStream in(&body);
    std::string line;
    body.Cancel();
    EXPECT_THROW(static_cast<void>(in.ReadLine(line, 10)), TDotByteError);
    EXPECT_EQ(in.rdstate(), std::ios::goodbit);
    EXPECT_EQ(support::ReadLines(in, 10), (TTexts{"line a", "line b", "end "}));
}

TEST(ReadLine, BothDirectionsReadToo) {
    std::stringstream connection("USER joe\r\nQUIT\r\n", std::ios::in | std::ios::out | std::ios::ate);
    TLineStream both(&connection);
    std::string line;
    EXPECT_EQ(both.ReadLine(line, 512), TLineRead::line);
    EXPECT_EQ(line, "USER joe");
    both << "+OK\r\n" << std::flush;
    EXPECT_EQ(connection.str(), "USER joe\r\nQUIT\r\n+OK\r\n");
    EXPECT_EQ(both.ReadLine(line, 512), TLineRead::line);
    EXPECT_EQ(line, "QUIT");
}

TEST(ReadLine, ATiedStreamIsFlushedBefore) {
    support::TSplitSink prompt(100);
    std::istringstream source("answer\r\n");
    TiLineStream in(&source);
    in.tie(&prompt);
    prompt << "question";
    std::string line;
    EXPECT_EQ(in.ReadLine(line, 100), TLineRead::line);
    EXPECT_EQ(prompt.Syncs(), 1);
}

TEST(ReadLine, MemoryIsBoundedByTheLimit) {
    // A source without an end, as far as the reader can tell.
    class TEndless : public std::streambuf {
    public:
        int_type underflow() override {
            if (fLeft-- == 0)
                return traits_type::eof();
            setg(fBytes, fBytes, fBytes + sizeof fBytes);
            return 'x';
        }
        TEndless() { std::fill_n(fBytes, sizeof fBytes, 'x'); }

    private:
        char fBytes[65536];
        int fLeft = 2000; // 131 MB
    } endless;
    std::istream source(&endless);
    TiLineStream in(&source);
    std::string line;
    EXPECT_EQ(in.ReadLine(line, 1000), TLineRead::end);
    EXPECT_EQ(line, std::string(1000, 'x'));
    EXPECT_LE(line.capacity(), 2000u);
}

TEST(ReadLine, AStringWithRoomKeepsItsMemory) {
    std::istringstream source(std::string(600, 'x') + "\r\n" + std::string(700, 'y') + "\r\nabc\r\n");
    TiLineStream in(500, &source);
    std::string line;
    line.reserve(600);
    char const *const memory = line.data();
    EXPECT_EQ(in.ReadLine(line, 600), TLineRead::line);
    EXPECT_EQ(in.ReadLine(line, 600), TLineRead::tooLong);
    EXPECT_EQ(in.ReadLine(line, 600), TLineRead::line);
    EXPECT_EQ(line, "abc");
    EXPECT_EQ(line.data(), memory);
}
