// Bodies that a TDotByteStreamBuf writes to sinks whose put area has much, little or no room.

#include "tuzutil/DOTBYTE.h"

#include "support/dotbyte_model.h"
#include "support/streams.h"

#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

namespace {

// A body of `size` bytes with "\n." at two places. The places may overlap, and the second dot may then end a line.
std::string BodyWithTwoDots(std::size_t size, std::size_t first, std::size_t second) {
    std::string body(size, 'x');
    for (std::size_t const place : {first, second}) {
        body[place] = '\n';
        body[place + 1] = '.';
    }
    return body;
}

std::string Sent(std::string_view body, std::size_t area) {
    support::TSplitSinkBuf buffer(area);
    std::ostream sink(&buffer);
    ToDotByteStream out(sink);
    out.write(body.data(), static_cast<std::streamsize>(body.size()));
    out.flush();
    return buffer.Text();
}

} // namespace

TEST(DotByteArea, DotsAreDoubledAtEveryPlaceOfAnArea) {
    for (std::size_t const size : {17u, 33u, 129u, 165u}) {
        for (std::size_t first = 0; first + 1 < size; ++first) {
            for (std::size_t second = first; second + 1 < size; ++second) {
                std::string const body = BodyWithTwoDots(size, first, second);
                ASSERT_EQ(Sent(body, 1000), support::Stuff(body)) << size << ' ' << first << ' ' << second;
            }
        }
    }
}

TEST(DotByteArea, LongBodiesAreDoubledThere) {
    std::string body;
    for (std::size_t line = 0; line < 300; ++line)
        body += std::string(line % 7, '.') + std::string(line, 'x') + (line % 3 ? "\r\n" : "\n");
    ASSERT_EQ(Sent(body, 100000), support::Stuff(body));
    ASSERT_EQ(Sent(body, 3 * body.size() / 2),
              support::Stuff(body)); // one byte too little for the worst body of this length
}

TEST(DotByteArea, BodyOfDotsAloneFitsTheRoomThatIsAskedFor) {
    std::string body;
    for (int i = 0; i < 1000; ++i)
        body += ".\n";
    EXPECT_EQ(Sent(body, 3001), support::Stuff(body));
    EXPECT_EQ(Sent(body, 3000), support::Stuff(body));
    EXPECT_EQ(Sent(body + '.', 3002), support::Stuff(body + '.'));
}

TEST(DotByteArea, AreaOfAnySizeGivesTheSameBytes) {
    std::string const body = ".a\r\n..b\r\n" + std::string(90, '-') + "\n.\n.c" + std::string(40, '.') + "\n.d\n\n.";
    for (std::size_t area = 0; area < 300; ++area)
        ASSERT_EQ(Sent(body, area), support::Stuff(body)) << area;
}

TEST(DotByteArea, LineMayBeginInOnePieceAndItsDotInTheNext) {
    support::TSplitSinkBuf buffer(5000);
    std::ostream sink(&buffer);
    ToDotByteStream out(sink);
    for (char const *const piece : {"a\n", ".b", "\n", ".", ".c\r", "\n", ".\n"})
        out << piece << std::flush;
    EXPECT_EQ(buffer.Text(), "a\n..b\n...c\r\n..\n");
}

TEST(DotByteArea, BytesOfTheSinkBehindTheBodyStay) {
    std::stringbuf buffer(std::string(400, '#'));
    std::ostream sink(&buffer);
    ToDotByteStream out(sink);
    std::string const body = std::string(100, 'x') + "\n." + std::string(61, 'y');
    out << body << std::flush;
    EXPECT_EQ(buffer.str(), support::Stuff(body) + std::string(400 - 164, '#'));
}

TEST(DotByteArea, SinkThatIsNotGoodGetsNothing) {
    support::TSplitSinkBuf buffer(5000);
    std::ostream sink(&buffer);
    sink.setstate(std::ios_base::eofbit);
    ToDotByteStream out(sink);
    out << ".a\r\n" << std::flush;
    EXPECT_EQ(sink.rdstate(), std::ios_base::eofbit | std::ios_base::failbit);
    EXPECT_EQ(buffer.Text(), "");
}

TEST(DotByteArea, TiedStreamIsFlushedBeforeTheSinkIsWritten) {
    support::TSplitSinkBuf tied(100);
    std::ostream tiedStream(&tied);
    support::TSplitSinkBuf buffer(5000);
    std::ostream sink(&buffer);
    sink.tie(&tiedStream);
    ToDotByteStream out(sink);
    tiedStream << "prompt";
    out << "a\r\n" << std::flush;
    EXPECT_EQ(tied.Text(), "prompt");
    EXPECT_EQ(tied.Syncs(), 1);
}

TEST(DotByteArea, SinkWithUnitbufIsFlushedAfterItIsWritten) {
    support::TSplitSinkBuf buffer(5000);
    std::ostream sink(&buffer);
    sink << std::unitbuf;
    ToDotByteStream out(sink);
    out << "a\r\n" << std::flush;
    EXPECT_EQ(buffer.Text(), "a\r\n");
    EXPECT_EQ(buffer.Syncs(), 1);
}
