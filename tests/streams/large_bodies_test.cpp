// Bodies of more than 4 GiB pass through the streams: no counter overflows, and memory does not grow with the length. A
// program for 32-bit Windows could not hold even half of such a body.

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint64_t fsFourGibibytes = std::uint64_t{1} << 32;
constexpr std::size_t fsArea = 1 << 16;

// Delivers a pattern again and again until `size` bytes were delivered, and then an ending.
class TRepeatedBuf : public std::streambuf {
public:
    TRepeatedBuf(std::string_view pattern, std::uint64_t size, std::string_view ending) : fLeft(size), fEnding(ending) {
        while (fBlock.size() < fsArea)
            fBlock += pattern;
    }

protected:
    int_type underflow() override {
        if (gptr() < egptr())
            return traits_type::to_int_type(*gptr());
        auto const count = static_cast<std::size_t>(std::min<std::uint64_t>(fLeft, fBlock.size()));
        fLeft -= count;
        if (count == 0)
            fBlock = std::exchange(fEnding, "");
        std::size_t const size = count ? count : fBlock.size();
        setg(fBlock.data(), fBlock.data(), fBlock.data() + size);
        return size ? traits_type::to_int_type(fBlock[0]) : traits_type::eof();
    }

private:
    std::uint64_t fLeft;
    std::string fBlock;
    std::string fEnding;
};

// Counts the bytes written, and compares them with a pattern that is repeated. Keeps the last bytes.
class TCheckedBuf : public std::streambuf {
public:
    explicit TCheckedBuf(std::string_view pattern, std::uint64_t size) : fPattern(pattern), fSize(size) {
        while (fBlock.size() < 2 * fsArea)
            fBlock += pattern;
    }
    std::uint64_t Count() const { return fCount; }
    std::string Ending() const { return fEnding; }    // the bytes after the first `size` bytes
    bool IsDifferent() const { return fIsDifferent; } // whether the first `size` bytes are not the pattern

protected:
    int_type overflow(int_type c) override {
        char const byte = traits_type::to_char_type(c);
        return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
    }
    std::streamsize xsputn(char const *bytes, std::streamsize count) override {
        std::string_view rest(bytes, static_cast<std::size_t>(count));
        while (!rest.empty()) {
            if (fCount >= fSize) {
                fEnding += rest;
                fCount += rest.size();
                break;
            }
            auto const most = static_cast<std::size_t>(std::min<std::uint64_t>(fSize - fCount, fsArea));
            std::size_t const size = std::min(rest.size(), most);
            auto const at = static_cast<std::size_t>(fCount % fPattern.size());
            fIsDifferent = fIsDifferent || std::memcmp(rest.data(), fBlock.data() + at, size) != 0;
            fCount += size;
            rest.remove_prefix(size);
        }
        return count;
    }

private:
    std::string_view fPattern;
    std::string fBlock;
    std::uint64_t fSize;
    std::uint64_t fCount = 0;
    std::string fEnding;
    bool fIsDifferent = false;
};

// Copies as a relay does: in blocks.
void Copy(std::istream &in, std::ostream &out) {
    std::string block(fsArea, '\0');
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())), in.gcount() > 0)
        out.write(block.data(), in.gcount());
}

// A line of 1,000 bytes, one that begins with a dot, and an empty one.
std::string const fsLines = std::string(998, 'x') + "\r\n.dot" + std::string(500, 'y') + "\r\n\r\n";
std::string const fsStuffed = std::string(998, 'x') + "\r\n..dot" + std::string(500, 'y') + "\r\n\r\n";
std::uint64_t const fsTimes = fsFourGibibytes / fsLines.size() + 10;
std::uint64_t const fsPlainSize = fsLines.size() * fsTimes;

} // namespace

TEST(LargeBodies, AreWrittenWithTheirDotsAndTheEndLine) {
    TRepeatedBuf plain(fsLines, fsPlainSize, "");
    std::istream from(&plain);
    TCheckedBuf wire(fsStuffed, fsPlainSize + fsTimes);
    std::ostream to(&wire);
    ToDotByteStream out(to);
    Copy(from, out);
    EXPECT_EQ(out.EndBody(), 0);
    EXPECT_FALSE(wire.IsDifferent());
    EXPECT_EQ(wire.Ending(), ".\r\n");
}

TEST(LargeBodies, AreReadWithoutTheDotsUpToTheEndLine) {
    TRepeatedBuf wire(fsStuffed, fsPlainSize + fsTimes, ".\r\nQUIT\r\n");
    std::istream from(&wire);
    TiDotByteStream in(from);
    TCheckedBuf plain(fsLines, fsPlainSize);
    std::ostream to(&plain);
    Copy(in, to);
    EXPECT_TRUE(in.IsTerminated());
    EXPECT_FALSE(in.SawBareLineFeed());
    EXPECT_FALSE(in.SawBareCarriageReturn());
    EXPECT_FALSE(plain.IsDifferent());
    EXPECT_EQ(plain.Count(), fsPlainSize);
    std::string next;
    from >> next;
    EXPECT_EQ(next, "QUIT");
}

// If the length of the line were counted in 32 bits, the line would count as empty at its end, and the body would
// begin.
TEST(LargeBodies, OfOneLineHaveNoEmptyLine) {
    TRepeatedBuf line("x", fsFourGibibytes, "\r\n");
    std::istream from(&line);
    TCheckedBuf wire("x", fsFourGibibytes);
    std::ostream to(&wire);
    ToDotByteStream out(to, 0); // stops at the first empty line
    EXPECT_NO_THROW(Copy(from, out << std::flush));
    EXPECT_NO_THROW(out.flush());
    EXPECT_FALSE(wire.IsDifferent());
    EXPECT_EQ(wire.Ending(), "\r\n");
    EXPECT_THROW(out << "\r\n" << std::flush, TDotByteLinesException);
    EXPECT_EQ(wire.Ending(), "\r\n\r\n.\r\n");
}

TEST(LargeBodies, OfOneLineAreSkippedBeyondTheLimit) {
    TRepeatedBuf source("x", fsFourGibibytes + 3, "\r\nnext\r\n");
    std::istream from(&source);
    TiLineStream in(&from);
    std::string line;
    EXPECT_EQ(in.ReadLine(line, 5), TLineRead::tooLong);
    EXPECT_EQ(line, "xxxxx");
    EXPECT_EQ(in.ReadLine(line, 5), TLineRead::line);
    EXPECT_EQ(line, "next");
    EXPECT_EQ(in.QueryLinesRead(), 2u);
}

TEST(LargeBodies, PassThroughTheLineStreamsUnchanged) {
    TRepeatedBuf source(fsLines, fsPlainSize, "end");
    std::istream from(&source);
    TiLineStream in(&from);
    TCheckedBuf checked(fsLines, fsPlainSize);
    std::ostream to(&checked);
    ToLineStream out(&to);
    Copy(in, out);
    out.flush();
    EXPECT_FALSE(checked.IsDifferent());
    EXPECT_EQ(checked.Ending(), "end");
    EXPECT_EQ(in.QueryLinesRead(), 3 * fsTimes + 1);
}

TEST(LargeBodies, AreJoinedWithWholeLines) {
    std::string plain(998, 'x');
    std::string ended = plain;
    plain += "\n\n";
    ended += "\r\n\r\n";
    std::uint64_t const times = fsFourGibibytes / ended.size() + 10;
    TRepeatedBuf first(plain, plain.size() * times, "last line");
    TRepeatedBuf second("-", 0, "second\n");
    std::istream one(&first), two(&second);
    TiConcatStream in(1, 16384, one, two);
    in.SetWholeLines(1);
    TCheckedBuf checked(ended, ended.size() * times);
    std::ostream to(&checked);
    Copy(in, to);
    EXPECT_FALSE(checked.IsDifferent());
    EXPECT_EQ(checked.Ending(), "last line\r\nsecond\r\n");
}
