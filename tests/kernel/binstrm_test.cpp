#include "binstrm_support.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <type_traits>

using namespace std::string_literals;

TEST(BinaryStream, Example) {
    std::stringstream bytes;
    TBinaryStream stream(bytes, 1);
    stream << 0x01020304 << TString("abc");
    EXPECT_EQ(bytes.str(), "\1\2\3\4\0\0\0\3\0\0\0\0abc"s);
    int number = 0;
    TString text;
    stream >> number >> text;
    EXPECT_FALSE(!stream);
    EXPECT_EQ(number, 0x01020304);
    EXPECT_EQ(Text(text), "abc");
}

// Byte order

TEST(BinaryStream, OrderIsHostUnlessTheArgumentIsNonZero) {
    std::stringstream bytes;
    EXPECT_EQ(TBinaryStream(bytes).IsHostOrder(), 1);
    EXPECT_EQ(TBinaryStream(bytes).IsNetworkOrder(), 0);
    EXPECT_EQ(TBinaryStream(bytes, 0).IsHostOrder(), 1);
    EXPECT_EQ(TBinaryStream(bytes, 1).IsNetworkOrder(), 1);
    EXPECT_EQ(TBinaryStream(bytes, -2).IsNetworkOrder(), 1);
    EXPECT_EQ(TiBinaryStream(bytes, 2).IsNetworkOrder(), 1);
    EXPECT_EQ(ToBinaryStream(bytes, 2).IsHostOrder(), 0);
    EXPECT_EQ(VBinaryStreamBase(bytes, 2).IsNetworkOrder(), 1);
    EXPECT_EQ(VBinaryStreamBase(bytes).IsNetworkOrder(), 0);
}

TEST(BinaryStream, OrderChangesBetweenValues) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    out << static_cast<short>(0x0102);
    out.NetworkOrder();
    EXPECT_EQ(out.IsNetworkOrder(), 1);
    out << static_cast<short>(0x0102);
    out.HostOrder();
    EXPECT_EQ(out.IsHostOrder(), 1);
    out << static_cast<short>(0x0102);
    EXPECT_EQ(bytes.str(), "\2\1\1\2\2\1");
}

TEST(BinaryStream, CopyIsASecondAdaptorWithTheSameOrder) {
    std::stringstream first;
    std::stringstream second;
    TBinaryStream stream(first, 1);
    TBinaryStream copy(stream);
    copy << static_cast<short>(0x0102);
    TBinaryStream assigned(second);
    assigned = stream;
    assigned << static_cast<short>(0x0304);
    EXPECT_EQ(first.str(), "\1\2\3\4");
    EXPECT_EQ(second.str(), "");
    copy.HostOrder();
    EXPECT_EQ(stream.IsNetworkOrder(), 1);
    short value = 0;
    assigned >> value;
    EXPECT_EQ(value, 0x0102);
}

TEST(BinaryStream, BothHalvesOfATwoWayStreamShareTheOrder) {
    std::stringstream bytes;
    TBinaryStream stream(bytes);
    static_cast<ToBinaryStream &>(stream).NetworkOrder();
    EXPECT_EQ(static_cast<TiBinaryStream &>(stream).IsNetworkOrder(), 1);
}

// Numbers

TEST(BinaryStream, ShortsTakeTwoBytes) {
    ExpectBytes<short>(0x0102, "\2\1", "\1\2");
    ExpectBytes<short>(-2, "\xFE\xFF", "\xFF\xFE");
    ExpectBytes<unsigned short>(0xFF01, "\x01\xFF", "\xFF\x01");
}

TEST(BinaryStream, IntsTakeFourBytes) {
    ExpectBytes<int>(0x01020304, "\4\3\2\1", "\1\2\3\4");
    ExpectBytes<int>(-2, "\xFE\xFF\xFF\xFF", "\xFF\xFF\xFF\xFE");
    ExpectBytes<int>(INT32_MIN, "\0\0\0\x80"s, "\x80\0\0\0"s);
    ExpectBytes<unsigned int>(0x80000001u, "\1\0\0\x80"s, "\x80\0\0\1"s);
}

TEST(BinaryStream, LongsTakeFourBytesOnEveryTarget) {
    ExpectBytes<long>(0x01020304, "\4\3\2\1", "\1\2\3\4");
    ExpectBytes<long>(-2, "\xFE\xFF\xFF\xFF", "\xFF\xFF\xFF\xFE"); // sign-extended
    ExpectBytes<long>(INT32_MIN, "\0\0\0\x80"s, "\x80\0\0\0"s);
    ExpectBytes<unsigned long>(0xFFFFFFFEul, "\xFE\xFF\xFF\xFF", "\xFF\xFF\xFF\xFE");
}

TEST(BinaryStream, LongsThatDoNotFitSetTheFailBitAndWriteNothing) {
    // LONG_MAX fits where a long has 4 bytes.
    for (long const value : {LONG_MAX, LONG_MIN}) {
        std::ostringstream bytes;
        ToBinaryStream out(bytes);
        out << value;
        EXPECT_EQ(out.rdstate(), sizeof(long) > 4 ? std::ios::failbit : std::ios::goodbit);
        EXPECT_EQ(bytes.str().size(), sizeof(long) > 4 ? 0u : 4u);
    }
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    out << ULONG_MAX;
    EXPECT_EQ(out.rdstate(), sizeof(long) > 4 ? std::ios::failbit : std::ios::goodbit);
    EXPECT_EQ(bytes.str().size(), sizeof(long) > 4 ? 0u : 4u);
}

TEST(BinaryStream, FloatsAreIeeeSingles) {
    ExpectBytes<float>(1.0f, "\0\0\x80\x3F"s, "\x3F\x80\0\0"s);
    ExpectBytes<float>(-0.15625f, "\0\0\x20\xBE"s, "\xBE\x20\0\0"s);
}

TEST(BinaryStream, DoublesAreIeeeDoubles) {
    ExpectBytes<double>(1.0, "\0\0\0\0\0\0\xF0\x3F"s, "\x3F\xF0\0\0\0\0\0\0"s);
    ExpectBytes<double>(-2.5, "\0\0\0\0\0\0\4\xC0"s, "\xC0\4\0\0\0\0\0\0"s);
    ExpectBytes<double>(INFINITY, "\0\0\0\0\0\0\xF0\x7F"s, "\x7F\xF0\0\0\0\0\0\0"s);
}

TEST(BinaryStream, LongDoubleTakesEightBytesInHostOrderAndTenInNetworkOrder) {
    ExpectBytes<long double>(1.0L, "\0\0\0\0\0\0\xF0\x3F"s, "\0\0\x3F\xF0\0\0\0\0\0\0"s);
    // The filler means nothing to a reader.
    EXPECT_EQ(Read<long double>(fsNetwork, "\x7F\xFF\x3F\xF0\0\0\0\0\0\0"s), 1.0L);
    // What a double cannot hold is rounded to one.
    EXPECT_EQ(Read<long double>(fsHost, Written(fsHost, 0.1L)), static_cast<long double>(0.1));
}

TEST(BinaryStream, EveryNumberIsOneWriteOfItsFullWidth) {
    TTaker taker(1000);
    std::ostream sink(&taker);
    ToBinaryStream out(sink);
    out << short{1} << 2 << 3L << 4.0f << 5.0 << 6.0L << TNetworkLongDouble(7);
    out.NetworkOrder();
    out << short{1} << 2 << 3L << 4.0f << 5.0 << 6.0L << TNetworkLongDouble(7);
    EXPECT_EQ(taker.writes, (std::vector<std::streamsize>{2, 4, 4, 4, 8, 8, 10, 2, 4, 4, 4, 8, 10, 10}));
}

TEST(BinaryStream, NumbersArriveWholeHoweverTheSourceIsCut) {
    for (std::size_t const piece : {1u, 2u, 3u, 7u, 100u}) {
        TPieces pieces("\1\2\1\2\3\4\x3F\xF0\0\0\0\0\0\0\0\0\0\3\0\0\0\0xyz"s, piece);
        std::istream source(&pieces);
        TiBinaryStream in(source, fsNetwork);
        short a = 0;
        int b = 0;
        double c = 0;
        TString d;
        in >> a >> b >> c >> d;
        EXPECT_TRUE(in.good());
        EXPECT_EQ(a, 0x0102);
        EXPECT_EQ(b, 0x01020304);
        EXPECT_EQ(c, 1.0);
        EXPECT_EQ(Text(d), "xyz");
        EXPECT_EQ(in.peek(), EOF);
    }
}

TEST(BinaryStream, ShortReadInNetworkOrderLeavesZerosForWhatIsMissing) {
    std::istringstream source("\1\2\3");
    TiBinaryStream in(source, fsNetwork);
    int value = -1;
    in >> value;
    EXPECT_EQ(value, 0x01020300);
    EXPECT_EQ(in.rdstate(), std::ios::eofbit | std::ios::failbit);
    value = -1;
    in >> value; // the stream has failed by now
    EXPECT_EQ(value, 0);

    std::istringstream shorter("\1\2\xC0"s);
    TiBinaryStream longDoubles(shorter, fsNetwork);
    long double real = 5;
    longDoubles >> real;
    EXPECT_EQ(real, -2.0L); // C0 00 00 ...
}

TEST(BinaryStream, ShortReadInHostOrderKeepsTheBytesThatDidNotArrive) {
    std::istringstream source("\1\2\3");
    TiBinaryStream in(source);
    int value = 0x77777777;
    in >> value;
    EXPECT_EQ(value, 0x77030201);
    EXPECT_TRUE(in.eof());
    EXPECT_TRUE(in.fail());
    long number = 0x11223344;
    in >> number;
    EXPECT_EQ(number, 0x11223344);
    long double real = 5;
    in >> real;
    EXPECT_EQ(real, 5.0L);
}

// Every cut of a value's bytes: what did not arrive keeps what the target held.
template <typename Value>
void ExpectPartialReads(Value value, Value before) {
    std::string const whole = Written(fsHost, value);
    std::string const old = Written(fsHost, before);
    ASSERT_EQ(whole.size(), old.size());
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        std::istringstream source(whole.substr(0, cut));
        TiBinaryStream in(source);
        Value target = before;
        in >> target;
        EXPECT_EQ(Written(fsHost, target), whole.substr(0, cut) + old.substr(cut)) << cut;
        EXPECT_EQ(in.gcount(), static_cast<std::streamsize>(cut));
        EXPECT_TRUE(in.eof());
        EXPECT_TRUE(in.fail());
        EXPECT_FALSE(in.bad());
    }
}

TEST(BinaryStream, ShortReadsOfEveryNumberInHostOrderKeepTheBytesThatDidNotArrive) {
    ExpectPartialReads<short>(0x0102, 0x7172);
    ExpectPartialReads<unsigned short>(0x0102, 0xF1F2);
    ExpectPartialReads<int>(0x01020304, -2);
    ExpectPartialReads<unsigned int>(0x01020304, 0xF1F2F3F4);
    ExpectPartialReads<long>(0x01020304, 0x71727374);
    ExpectPartialReads<unsigned long>(0x01020304, 0xF1F2F3F4);
    ExpectPartialReads<float>(1.5f, -300.25f);
    ExpectPartialReads<double>(1.5, -300.25e10);
    ExpectPartialReads<long double>(1.5L, -300.25e10L);
}

TEST(BinaryStream, NumberWritersDoNothingOnAFailedStream) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    out.clear(std::ios::failbit);
    out << 1 << 2.0 << TNetworkInt(3) << TString("abc");
    EXPECT_EQ(bytes.str(), "");
    EXPECT_EQ(out.rdstate(), std::ios::failbit);
}

TEST(BinaryStream, FullDeviceSetsTheBadBit) {
    TTaker taker(6);
    std::ostream sink(&taker);
    ToBinaryStream out(sink, fsNetwork);
    out << 0x01020304 << 0x05060708;
    EXPECT_EQ(out.rdstate(), std::ios::badbit);
    EXPECT_EQ(taker.taken, "\1\2\3\4\5\6");
}

TEST(BinaryStream, DeviceThatThrowsSetsTheBadBitOrIsHeardWhereAskedFor) {
    TTaker taker(2, true);
    std::ostream sink(&taker);
    ToBinaryStream out(sink);
    EXPECT_NO_THROW(out << 1);
    EXPECT_EQ(out.rdstate(), std::ios::badbit);
    out.clear();
    sink.exceptions(std::ios::badbit);
    EXPECT_THROW(out << 1, std::runtime_error);
    EXPECT_EQ(out.rdstate(), std::ios::badbit);

    TPieces pieces("\1\2", 1, true);
    std::istream source(&pieces);
    TiBinaryStream in(source);
    int value = 7;
    EXPECT_NO_THROW(in >> value);
    EXPECT_EQ(in.rdstate(), std::ios::badbit);
    EXPECT_EQ(value, 7);
    in.clear();
    source.exceptions(std::ios::badbit);
    EXPECT_THROW(in >> value, std::runtime_error);
    EXPECT_EQ(in.rdstate(), std::ios::badbit);
}

TEST(BinaryStream, ExceptionsOfTheWrappedStreamAreItsOwn) {
    std::istringstream source("\1\2");
    source.exceptions(std::ios::eofbit);
    TiBinaryStream in(source);
    int value = 0;
    EXPECT_THROW(in >> value, std::ios_base::failure);
}

TEST(BinaryStream, TiedStreamIsFlushedBeforeEveryValue) {
    TTaker taker(100);
    std::ostream tied(&taker);
    std::istringstream source("\1\2\3\4");
    std::ostringstream sink;
    source.tie(&tied);
    sink.tie(&tied);
    int value = 0;
    TiBinaryStream(source, 1) >> value;
    EXPECT_EQ(value, 0x01020304);
    EXPECT_EQ(taker.syncs, 1);
    ToBinaryStream(sink, 1) << value;
    EXPECT_EQ(sink.str(), "\1\2\3\4");
    EXPECT_EQ(taker.syncs, 2);
}

TEST(BinaryStream, UnbufferedStreamIsFlushedAfterEveryValue) {
    TTaker taker(100);
    std::ostream sink(&taker);
    sink.setf(std::ios::unitbuf);
    ToBinaryStream(sink) << 1;
    EXPECT_EQ(taker.syncs, 1);
}

// Values that are in network order already

TEST(BinaryStream, NetworkValuesHaveTheirWidths) {
    EXPECT_EQ(sizeof(TNetworkShort), 2u);
    EXPECT_EQ(sizeof(TNetworkUnsignedShort), 2u);
    EXPECT_EQ(sizeof(TNetworkInt), 4u);
    EXPECT_EQ(sizeof(TNetworkUnsigned), 4u);
    EXPECT_EQ(sizeof(TNetworkLong), 4u);
    EXPECT_EQ(sizeof(TNetworkUnsignedLong), 4u);
    EXPECT_EQ(sizeof(TNetworkFloat), 4u);
    EXPECT_EQ(sizeof(TNetworkDouble), 8u);
    EXPECT_EQ(sizeof(TNetworkLongDouble), 10u);
}

template <typename Network, typename Host>
void ExpectVerbatim(Host value, std::string const &bytes) {
    static_assert(!std::is_convertible_v<Host, Network>, "made explicitly only");
    Network const network(value);
    for (int const order : {fsHost, fsNetwork}) {
        EXPECT_EQ(Written(order, network), bytes);
        EXPECT_EQ(Host(Read<Network>(order, bytes)), value);
    }
    EXPECT_EQ(static_cast<Host>(network), value);
    EXPECT_EQ(Host(Network()), Host(0));
}

TEST(BinaryStream, NetworkValuesAreMovedVerbatimInEitherOrder) {
    ExpectVerbatim<TNetworkShort, short>(-0x0102, "\xFE\xFE");
    ExpectVerbatim<TNetworkUnsignedShort, unsigned short>(0xFF01, "\xFF\1");
    ExpectVerbatim<TNetworkInt, int>(0x01020304, "\1\2\3\4");
    ExpectVerbatim<TNetworkInt, int>(-2, "\xFF\xFF\xFF\xFE");
    ExpectVerbatim<TNetworkUnsigned, unsigned int>(0x80000001u, "\x80\0\0\1"s);
    ExpectVerbatim<TNetworkLong, long>(-2, "\xFF\xFF\xFF\xFE");
    ExpectVerbatim<TNetworkUnsignedLong, unsigned long>(0xFFFFFFFEul, "\xFF\xFF\xFF\xFE");
    ExpectVerbatim<TNetworkFloat, float>(1.0f, "\x3F\x80\0\0"s);
    ExpectVerbatim<TNetworkDouble, double>(1.0, "\x3F\xF0\0\0\0\0\0\0"s);
    ExpectVerbatim<TNetworkLongDouble, long double>(1.0L, "\0\0\x3F\xF0\0\0\0\0\0\0"s);
}

TEST(BinaryStream, NetworkLongsBeyond32BitsBecomeTheNearest) {
    EXPECT_EQ(long(TNetworkLong(LONG_MAX)), INT32_MAX);
    EXPECT_EQ(long(TNetworkLong(LONG_MIN)), INT32_MIN);
    EXPECT_EQ(static_cast<unsigned long>(TNetworkUnsignedLong(ULONG_MAX)), 0xFFFFFFFFul);
}

TEST(BinaryStream, ShortReadOfANetworkValueKeepsTheBytesThatDidNotArrive) {
    std::istringstream source("\1\2");
    TiBinaryStream in(source, fsNetwork);
    TNetworkInt value(0x11223344);
    in >> value;
    EXPECT_EQ(int(value), 0x01023344);
    EXPECT_TRUE(in.fail());
}
