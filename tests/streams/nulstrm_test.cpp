#include "tuzutil/NULSTRM.h"

#include <gtest/gtest.h>

#include <string>

namespace {

int const fsEnd = std::char_traits<char>::eof();

class TOpenBuf : public TNulStreamBuf {
public:
    using TNulStreamBuf::doallocate;
    using TNulStreamBuf::overflow;
    using TNulStreamBuf::sync;
    using TNulStreamBuf::underflow;
    bool HasStorage() const { return pbase() || eback(); }
};

class TCounting : public TNulStreamBuf {
public:
    int bytes = 0;

protected:
    int_type overflow(int_type c) override {
        ++bytes;
        return TNulStreamBuf::overflow(c);
    }
};

} // namespace

TEST(NulStream, Example) {
    ToNulStream out;
    out << "nobody reads this";
    EXPECT_TRUE(out);
    TiNulStream in;
    int c = in.get();
    EXPECT_EQ(c, fsEnd);
    EXPECT_TRUE(in.eof());
}

TEST(NulStream, WritingAnyNumberOfBytesSucceeds) {
    ToNulStream out;
    std::string const megabyte(1u << 20, '\xff');
    EXPECT_TRUE(out.write(megabyte.data(), static_cast<std::streamsize>(megabyte.size())));
    EXPECT_TRUE(out << 12 << 'x' << std::endl);
    EXPECT_TRUE(out.put('\xff'));
}

TEST(NulStream, EveryOperationOfTheBufferHasItsFixedResult) {
    TOpenBuf buffer;
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(buffer.overflow('x'), 0);
    EXPECT_EQ(buffer.overflow(0xff), 0);
    EXPECT_EQ(buffer.overflow(fsEnd), 0);
    EXPECT_EQ(buffer.underflow(), fsEnd);
    EXPECT_EQ(buffer.doallocate(), 0);
    EXPECT_EQ(buffer.sputc('x'), 0);
    EXPECT_EQ(buffer.sputbackc('x'), fsEnd);
    EXPECT_FALSE(buffer.HasStorage());
}

TEST(NulStream, EveryByteGoesToOverflow) {
    TCounting buffer;
    EXPECT_EQ(buffer.sputn("abc", 3), 3);
    EXPECT_EQ(buffer.bytes, 3);
}

TEST(NulStream, BothDirectionsOfOneStream) {
    TNulStream both;
    EXPECT_TRUE(both << "x" << std::flush);
    EXPECT_EQ(both.get(), fsEnd);
}

TEST(NulStream, StreamsGiveTheirOwnBuffer) {
    TNulStream both;
    TiNulStream in;
    ToNulStream out;
    EXPECT_EQ(static_cast<std::ios &>(both).rdbuf(), both.rdbuf());
    EXPECT_EQ(static_cast<std::ios &>(in).rdbuf(), in.rdbuf());
    EXPECT_EQ(static_cast<std::ios &>(out).rdbuf(), out.rdbuf());
}
