#include "tuzutil/OSTRSTRM.h"

#include "tuzutil/TSTRING.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

TEST(OStringStream, Example) {
    oStringStream out;
    out << "port " << 110 << std::ends;
    TString text(out.str());
    out.freeze(0);
    EXPECT_TRUE(text == "port 110");
}

TEST(OStringStream, StartsEmptyAndCountsBytes) {
    oStringStream out;
    EXPECT_EQ(out.pcount(), 0);
    out << "abc";
    EXPECT_EQ(out.pcount(), 3);
    out << std::ends;
    EXPECT_EQ(out.pcount(), 4);
    EXPECT_EQ(out.rdbuf()->pcount(), 4);
}

TEST(OStringStream, GrowsBeyondItsStep) {
    std::string const expected(1000, 'x');
    oStringStream out(1);
    for (char const c : expected)
        out << c;
    out << std::ends;
    EXPECT_EQ(out.str(), expected);
    out.freeze(0);
}

TEST(OStringStream, AFrozenBlockBelongsToTheCaller) {
    oStringStream out(4);
    out << "abc" << std::ends;
    char *const block = out.str();
    out << "more than the block holds";
    EXPECT_TRUE(out.bad());
    EXPECT_STREQ(block, "abc");
    std::free(block);
}

TEST(OStringStream, AFrozenBlockWithRoomTakesNothing) {
    oStringStream out(100);
    out << "abc" << std::ends;
    char *const block = out.str();
    out << "x";
    EXPECT_TRUE(out.bad());
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(out.pcount(), 4);
    out.clear();
    out.freeze(0);
    out << "x";
    EXPECT_EQ(std::string(out.str(), 5), std::string("abc\0x", 5));
    out.freeze(0);
}

TEST(OStringStream, AnEmptyStreamHasABlock) {
    oStringStream out;
    EXPECT_NE(out.str(), nullptr);
    out.freeze(0);
    out << "abc" << std::ends;
    EXPECT_STREQ(out.str(), "abc");
    out.freeze(0);
}

TEST(OStringStream, TheBufferTakesAByteInItsRoomOrBeyond) {
    struct TOpen : oStringStreamBuf {
        using oStringStreamBuf::oStringStreamBuf;
        using oStringStreamBuf::overflow;
    } buffer(2);
    EXPECT_EQ(buffer.overflow('a'), 'a'); // the first block is made
    EXPECT_EQ(buffer.overflow('b'), 'b'); // within the block
    EXPECT_EQ(buffer.overflow('c'), 'c'); // the block grows
    EXPECT_NE(buffer.overflow(std::char_traits<char>::eof()), std::char_traits<char>::eof());
    EXPECT_EQ(buffer.pcount(), 3);
    EXPECT_EQ(std::string(buffer.str(), 3), "abc");
    buffer.freeze(0);
}
