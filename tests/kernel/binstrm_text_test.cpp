#include "binstrm_support.h"

#include <cstddef>

using namespace std::string_literals;

// Characters and zero-terminated text

TEST(BinaryStreamText, CharactersAreFormatted) {
    EXPECT_EQ(Written(fsNetwork, 'a', static_cast<signed char>('b'), static_cast<unsigned char>(0xFF)), "ab\xFF");
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    out.width(3);
    out.fill('*');
    out << 'x' << 'y';
    EXPECT_EQ(bytes.str(), "**xy");
}

TEST(BinaryStreamText, ReadingACharacterSkipsWhiteSpaceWhileTheFlagIsSet) {
    std::istringstream source("  a b c d");
    TiBinaryStream in(source);
    char a = 0;
    signed char b = 0;
    unsigned char c = 0;
    in >> a >> b >> c;
    EXPECT_EQ(a, 'a');
    EXPECT_EQ(b, 'b');
    EXPECT_EQ(c, 'c');
    in.unsetf(std::ios::skipws);
    in >> a;
    EXPECT_EQ(a, ' ');
}

TEST(BinaryStreamText, SignedAndUnsignedCharactersHonourWidthAndWhiteSpaceAlike) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    out.fill('.');
    out.width(3);
    out << static_cast<signed char>('a');
    EXPECT_EQ(out.width(), 0);
    out.width(4);
    out << static_cast<unsigned char>(0xFE);
    EXPECT_EQ(bytes.str(), "..a...\xFE");

    std::istringstream source(" \t\xFE \xFD");
    TiBinaryStream in(source);
    unsigned char first = 0;
    signed char second = 0;
    in >> first >> second;
    EXPECT_EQ(first, 0xFE);
    EXPECT_EQ(second, static_cast<signed char>(0xFD));
    source.clear();
    source.str(" \xFE\t\xFD");
    in.unsetf(std::ios::skipws);
    in >> first >> second;
    EXPECT_EQ(first, ' ');
    EXPECT_EQ(second, static_cast<signed char>(0xFE));
    in >> second >> first;
    EXPECT_EQ(second, '\t');
    EXPECT_EQ(first, 0xFD);
}

TEST(BinaryStreamText, CharacterThatIsNotThereLeavesTheTarget) {
    std::istringstream source("  ");
    TiBinaryStream in(source);
    unsigned char value = 7;
    in >> value;
    EXPECT_EQ(value, 7);
    EXPECT_EQ(in.rdstate(), std::ios::eofbit | std::ios::failbit);
}

TEST(BinaryStreamText, TextIsWrittenUpToItsZeroWithoutLengthOrTerminator) {
    unsigned char const unsignedText[] = "cd";
    signed char const signedText[] = {'e', 'f', 0};
    EXPECT_EQ(Written(fsNetwork, "ab\0no", unsignedText, signedText), "abcdef");
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    out.width(4);
    out << "ab"
        << "cd";
    EXPECT_EQ(bytes.str(), "  abcd");
}

TEST(BinaryStreamText, NullTextWritesNothing) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes);
    out << static_cast<char const *>(nullptr) << static_cast<unsigned char const *>(nullptr)
        << static_cast<signed char const *>(nullptr);
    EXPECT_TRUE(out.good());
    EXPECT_EQ(bytes.str(), "");
}

TEST(BinaryStreamText, ReadingTextTakesOneWord) {
    std::istringstream source("  one\ttwo three");
    TiBinaryStream in(source);
    char word[20];
    unsigned char second[20];
    signed char third[20];
    in >> word >> second >> third;
    EXPECT_STREQ(word, "one");
    EXPECT_STREQ(reinterpret_cast<char *>(second), "two");
    EXPECT_STREQ(reinterpret_cast<char *>(third), "three");
    EXPECT_EQ(in.rdstate(), std::ios::eofbit);
    in >> word;
    EXPECT_TRUE(in.fail());
}

TEST(BinaryStreamText, ReadingTextNeverOverrunsAnArray) {
    std::istringstream source("abcdefgh");
    TiBinaryStream in(source);
    struct {
        char word[4];
        char guard = '#';
    } target;
    in >> target.word;
    EXPECT_STREQ(target.word, "abc");
    in.width(100);
    in >> target.word;
    EXPECT_STREQ(target.word, "def");
    EXPECT_EQ(target.guard, '#');
    EXPECT_EQ(in.width(), 0);
}

TEST(BinaryStreamText, ReadingTextThroughAPointerHonoursTheWidth) {
    std::istringstream source("abcdefgh ij");
    TiBinaryStream in(source);
    char buffer[20] = {};
    char *const pointer = buffer;
    in.width(4);
    in >> pointer;
    EXPECT_STREQ(buffer, "abc");
    in >> pointer;
    EXPECT_STREQ(buffer, "defgh");
    char one[1] = {'x'};
    in >> one;
    EXPECT_STREQ(one, "");
    EXPECT_TRUE(in.fail());
}

// TString

TEST(BinaryStreamText, StringIsItsLengthAReservedWordAndItsBytes) {
    EXPECT_EQ(Written(fsNetwork, TString("abc")), "\0\0\0\3\0\0\0\0abc"s);
    EXPECT_EQ(Written(fsHost, TString("abc")), "\3\0\0\0\0\0\0\0abc"s);
    EXPECT_EQ(Written(fsNetwork, TString("a\0b", 3, ' ')), "\0\0\0\3\0\0\0\0a\0b"s);
    EXPECT_EQ(Text(Read<TString>(fsNetwork, "\0\0\0\3\0\0\0\0a\0b"s)), "a\0b"s);
    EXPECT_EQ(Text(Read<TString>(fsHost, "\3\0\0\0\0\0\0\0abc"s)), "abc");
}

TEST(BinaryStreamText, EmptyAndNullStringsAreEightZeroBytes) {
    EXPECT_EQ(Written(fsNetwork, TString("")), std::string(8, '\0'));
    EXPECT_EQ(Written(fsHost, TString()), std::string(8, '\0'));
    // After the first number, the put area of the stream has room.
    EXPECT_EQ(Written(fsHost, 1, TString(), TString("")), "\1\0\0\0"s + std::string(16, '\0'));
}

TEST(BinaryStreamText, ReadingAnEmptyStringLeavesTheTargetAsItWas) {
    EXPECT_EQ(Text(Read<TString>(fsNetwork, std::string(8, '\0'), "old")), "old");
    EXPECT_TRUE(Read<TString>(fsNetwork, std::string(8, '\0')).IsNull());
}

TEST(BinaryStreamText, ReservedWordIsIgnored) {
    EXPECT_EQ(Text(Read<TString>(fsNetwork, "\0\0\0\1\xFF\xFF\xFF\xFFz"s)), "z");
}

TEST(BinaryStreamText, WideStringIsWrittenAsBytesAndLosesItsFlag) {
    EXPECT_EQ(Written(fsNetwork, TString(u"hi")), "\0\0\0\4\0\0\0\0h\0i\0"s);
    TString const text = Read<TString>(fsNetwork, "\0\0\0\4\0\0\0\0h\0i\0"s, TString(u"old text"));
    EXPECT_FALSE(text.IsUnicode());
    EXPECT_EQ(text.length(), 4u);
}

TEST(BinaryStreamText, ReadingAStringShrinksTheTargetAndSparesItsOtherHolders) {
    TString target("a long old text");
    TString const holder(target);
    std::istringstream source("\0\0\0\2\0\0\0\0xy"s);
    TiBinaryStream in(source, 1);
    in >> target;
    EXPECT_EQ(Text(target), "xy");
    EXPECT_EQ(std::string(static_cast<char const *>(target)), "xy"); // terminated
    EXPECT_EQ(Text(holder), "a long old text");
}

TEST(BinaryStreamText, ReadingAStringKeepsNoFlagOfTheTarget) {
    TString target("a secret of yesterday");
    target.SetWipeOnDelete(1);
    std::istringstream source("\0\0\0\2\0\0\0\0xy\0\0\0\3\0\0\0\0abc"s);
    TiBinaryStream in(source, 1);
    in >> target;
    EXPECT_EQ(Text(target), "xy");
    EXPECT_FALSE(target.IsWipeOnDelete());
    EXPECT_EQ(in.gcount(), 2);
    in >> target;
    EXPECT_EQ(Text(target), "abc");
    EXPECT_EQ(in.gcount(), 3);
    EXPECT_EQ(source.tellg(), 21);
}

// A buffer with a put area of some size, and nothing beyond.
TEST(BinaryStreamText, StringsAndNumbersAreWrittenAsFarAsThereIsRoom) {
    struct TRoom : std::streambuf {
        explicit TRoom(std::size_t size) : bytes(size, '~') { setp(bytes.data(), bytes.data() + size); }
        std::string bytes;
    };
    for (std::size_t const length : {1u, 7u, 8u, 12u, 16u, 17u, 100u}) {
        std::string const text(length, 't');
        std::string const header = "\0\0\0"s + static_cast<char>(length) + "\0\0\0\0"s;
        std::string const all = header + text + "\1\2\3\4";
        for (std::size_t size = 0; size <= all.size() + 1; ++size) {
            TRoom room(size);
            std::ostream stream(&room);
            ToBinaryStream out(stream, 1);
            out << TString(text) << 0x01020304;
            EXPECT_EQ(stream.good(), size >= all.size()) << length << ' ' << size;
            // What follows a failure is not written.
            std::size_t const used = std::min(size, all.size());
            EXPECT_EQ(room.bytes.substr(0, used), all.substr(0, used)) << length << ' ' << size;
        }
    }
}

TEST(BinaryStreamText, StringIsNotReadOrWrittenOnAFailedStream) {
    for (auto const state : {std::ios::failbit, std::ios::badbit}) {
        std::stringstream bytes("\0\0\0\1\0\0\0\0z"s);
        TBinaryStream stream(bytes, 1);
        stream.clear(state);
        TString text("old");
        stream >> text;
        stream << TString("new");
        EXPECT_EQ(stream.rdstate(), state);
        EXPECT_EQ(Text(text), "old");
        EXPECT_EQ(bytes.str(), "\0\0\0\1\0\0\0\0z"s);
        stream.clear();
        EXPECT_EQ(stream.tellg(), 0);
    }
}

TEST(BinaryStreamText, StringCutInItsWordsLeavesTheTargetAsItWas) {
    std::string const bytes = "\0\0\0\2\0\0\0\0xy"s;
    for (std::size_t cut = 0; cut < 8; ++cut) {
        std::istringstream source(bytes.substr(0, cut));
        TiBinaryStream in(source, 1);
        TString text("old");
        in >> text;
        EXPECT_TRUE(in.fail());
        EXPECT_EQ(Text(text), "old");
    }
}

TEST(BinaryStreamText, StringCutInItsBytesHoldsWhatArrived) {
    std::string const bytes = "\0\0\0\3\0\0\0\0xyz"s;
    for (std::size_t cut = 8; cut < 11; ++cut) {
        std::istringstream source(bytes.substr(0, cut));
        TiBinaryStream in(source, 1);
        TString text("old");
        in >> text;
        EXPECT_TRUE(in.fail());
        EXPECT_EQ(Text(text), bytes.substr(8, cut - 8));
    }
}

TEST(BinaryStreamText, AnnouncedLengthAloneTakesNoMemory) {
    // Nearly 4 GiB each: no 32-bit process could have even one of them.
    for (char const last : {'\xFF', '\xF0', '\xEF', '\0'}) {
        std::istringstream source("\xFF\xFF\xFF"s + last + "\0\0\0\0abc"s);
        TiBinaryStream in(source, 1);
        TString text;
        EXPECT_NO_THROW(in >> text);
        EXPECT_EQ(Text(text), "abc");
        EXPECT_EQ(in.rdstate(), std::ios::eofbit | std::ios::failbit);
    }
}

TEST(BinaryStreamText, LongStringsAreReadWholeAcrossTheStepsOfGrowth) {
    for (unsigned int const length : {0xFFFFu, 0x10000u, 0x10001u, 0x20000u, 0x20001u, 1000003u}) {
        std::string bytes(length, ' ');
        for (unsigned int i = 0; i < length; ++i)
            bytes[i] = static_cast<char>(i * 7 + i / 251);
        std::stringstream stream;
        TBinaryStream binary(stream, 1);
        binary << TString(bytes.data(), length, ' ') << 77;
        TString text;
        int behind = 0;
        binary >> text >> behind;
        EXPECT_TRUE(binary.good());
        EXPECT_EQ(Text(text), bytes);
        EXPECT_EQ(behind, 77);
    }
}

// The wrapped stream's own members

TEST(BinaryStreamMembers, StateAndFormatAreTheWrappedStreams) {
    std::stringstream bytes;
    TBinaryStream stream(bytes);
    EXPECT_EQ(stream.flags(), bytes.flags());
    stream.setf(std::ios::hex, std::ios::basefield);
    EXPECT_TRUE(bytes.flags() & std::ios::hex);
    stream.setf(std::ios::showbase);
    EXPECT_TRUE(bytes.flags() & std::ios::showbase);
    stream.unsetf(std::ios::showbase);
    EXPECT_FALSE(bytes.flags() & std::ios::showbase);
    long const old = stream.flags(std::ios::dec);
    EXPECT_EQ(bytes.flags(), std::ios::dec);
    stream.flags(old);
    EXPECT_EQ(stream.width(7), 0);
    EXPECT_EQ(stream.width(), 7);
    EXPECT_EQ(bytes.width(), 7);
    EXPECT_EQ(stream.precision(3), 6);
    EXPECT_EQ(stream.precision(), 3);
    EXPECT_EQ(stream.fill('.'), ' ');
    EXPECT_EQ(stream.fill(), '.');
    std::ostringstream other;
    EXPECT_EQ(stream.tie(&other), nullptr);
    EXPECT_EQ(stream.tie(), &other);
    EXPECT_EQ(bytes.tie(), &other);
}

TEST(BinaryStreamMembers, ClearSetsExactlyTheGivenState) {
    std::stringstream bytes;
    TBinaryStream stream(bytes);
    EXPECT_TRUE(stream.good());
    EXPECT_TRUE(static_cast<void *>(stream) != nullptr);
    EXPECT_TRUE(stream ? true : false);
    stream.clear(std::ios::failbit);
    EXPECT_EQ(bytes.rdstate(), std::ios::failbit);
    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(stream.bad());
    EXPECT_TRUE(static_cast<void *>(stream) == nullptr);
    EXPECT_FALSE(stream ? true : false);
    EXPECT_TRUE(!stream);
    stream.clear(std::ios::badbit);
    EXPECT_EQ(stream.rdstate(), std::ios::badbit);
    EXPECT_TRUE(stream.bad());
    stream.clear(std::ios::eofbit);
    EXPECT_TRUE(stream.eof());
    EXPECT_FALSE(stream.fail());
    stream.clear();
    EXPECT_TRUE(bytes.good());
}

TEST(BinaryStreamMembers, InputMembersAreTheWrappedStreams) {
    std::istringstream source("abc\n\ndef\nrest;x");
    TiBinaryStream in(source);
    char text[10] = {};
    EXPECT_EQ(&in.read(text, 2), &in);
    EXPECT_EQ(in.gcount(), 2);
    EXPECT_STREQ(text, "ab");
    unsigned char byte[2] = {};
    in.seekg(0).read(byte, 1);
    EXPECT_EQ(byte[0], 'a');
    signed char signedByte[2] = {};
    in.read(signedByte, 1);
    EXPECT_EQ(signedByte[0], 'b');
    EXPECT_EQ(in.tellg(), 2);
    in.seekg(-1, std::ios::cur);
    EXPECT_EQ(in.get(), 'b');
    in.putback('b');
    EXPECT_EQ(in.peek(), 'b');
    char c = 0;
    in.get(c);
    EXPECT_EQ(c, 'b');
    in.ignore();
    EXPECT_EQ(in.get(), '\n');
    in.getline(text, sizeof text);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(in.gcount(), 1);
    in.getline(text, sizeof text);
    EXPECT_STREQ(text, "def");
    std::stringbuf taken;
    in.get(taken, ';');
    EXPECT_EQ(taken.str(), "rest");
    in.ignore(5, ';');
    EXPECT_EQ(in.gcount(), 1);
    std::stringbuf rest;
    in >> &rest;
    EXPECT_EQ(rest.str(), "x");
    EXPECT_EQ(in.sync(), source.sync());
}

TEST(BinaryStreamMembers, CountOfCharactersCoversValuesToo) {
    std::istringstream source("abcdefg");
    TiBinaryStream in(source);
    int value = 0;
    in >> value;
    EXPECT_EQ(in.gcount(), 4);
    in.get();
    EXPECT_EQ(in.gcount(), 1);
    in >> value;
    EXPECT_EQ(in.gcount(), 2);
}

TEST(BinaryStreamMembers, CountOfCharactersIsThatOfTheLastCall) {
    std::istringstream source("\0\0\0\3\0\0\0\0abc"
                              "\0\0\0\0\0\0\0\0"
                              "\0\0\0\5\0\0\0\0de"s);
    TiBinaryStream in(source, fsNetwork);
    TString text;
    EXPECT_EQ(in.gcount(), 0);
    in >> text;
    EXPECT_EQ(in.gcount(), 3); // its bytes
    in >> text;
    EXPECT_EQ(in.gcount(), 4); // the reserved word: there are no bytes
    in.peek();
    EXPECT_EQ(in.gcount(), 0);
    in >> text;
    EXPECT_EQ(in.gcount(), 2);
    EXPECT_TRUE(in.fail());
    EXPECT_EQ(Text(text), "de");
    int number = 0;
    in >> number;
    EXPECT_EQ(in.gcount(), 0);
    in.clear();
    in.seekg(0);
    double real = 0;
    in >> real;
    EXPECT_EQ(in.gcount(), 8);
    in.ignore(2);
    EXPECT_EQ(in.gcount(), 2);
    in.putback('b');
    EXPECT_EQ(in.gcount(), 0);
}

TEST(BinaryStreamMembers, GetUpToADelimiterDoesNotFailOnAnEmptyLine) {
    for (std::size_t const piece : {1u, 2u, 3u, 7u, 100u}) {
        TPieces pieces("one\n\ntwo three", piece);
        std::istream source(&pieces);
        TiBinaryStream in(source);
        char line[6] = "#####";
        in.get(line, sizeof line);
        EXPECT_STREQ(line, "one");
        EXPECT_EQ(in.gcount(), 3);
        EXPECT_EQ(in.get(), '\n');
        in.get(line, sizeof line);
        EXPECT_STREQ(line, "");
        EXPECT_EQ(in.gcount(), 0);
        EXPECT_TRUE(in.good());
        EXPECT_EQ(in.get(), '\n');
        in.get(line, sizeof line);
        EXPECT_STREQ(line, "two t"); // full
        EXPECT_TRUE(in.good());
        in.get(line, sizeof line, 'e');
        EXPECT_STREQ(line, "hr");
        in.get(line, sizeof line);
        EXPECT_STREQ(line, "ee");
        EXPECT_EQ(in.rdstate(), std::ios::eofbit);
        in.get(line, sizeof line);
        EXPECT_STREQ(line, "");
        EXPECT_TRUE(in.fail());
    }
}

TEST(BinaryStreamMembers, GetWithoutRoomTakesNothing) {
    std::istringstream source("abc");
    TiBinaryStream in(source);
    char text[2] = "#";
    in.get(text, 0);
    EXPECT_STREQ(text, "#");
    in.get(text, 1);
    EXPECT_STREQ(text, "");
    in.get(text, -1);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.get(), 'a');
}

TEST(BinaryStreamMembers, PrefixKeepsWhiteSpaceOnlyWhereAsked) {
    std::istringstream source("  a");
    TiBinaryStream in(source);
    EXPECT_EQ(in.ipfx(1), 1);
    EXPECT_EQ(in.peek(), ' ');
    EXPECT_EQ(in.ipfx(0), 1);
    EXPECT_EQ(in.get(), 'a');
    EXPECT_EQ(in.ipfx(0), 0); // nothing behind it
    EXPECT_TRUE(in.fail());
}

TEST(BinaryStreamMembers, OutputMembersAreTheWrappedStreams) {
    std::stringstream bytes;
    ToBinaryStream out(bytes, fsNetwork);
    EXPECT_EQ(&out.write("abc", 2), &out);
    out.write(reinterpret_cast<unsigned char const *>("cd"), 2).write(reinterpret_cast<signed char const *>("ef"), 2);
    EXPECT_EQ(out.tellp(), 6);
    out.put('g').flush();
    out.seekp(0).put('A');
    out.seekp(-1, std::ios::end).put('G');
    EXPECT_EQ(bytes.str(), "AbcdefG");
    std::stringbuf more("hij");
    out << &more;
    EXPECT_EQ(bytes.str(), "AbcdefGhij");
    std::stringstream pointer;
    int object = 0;
    pointer << static_cast<void const *>(&object);
    bytes.str("");
    out << static_cast<void const *>(&object);
    EXPECT_EQ(bytes.str(), pointer.str());
}

TEST(BinaryStreamMembers, OutputPrefixFlushesTheTiedStreamAndSuffixAnUnbufferedOne) {
    TTaker tiedTaker(10);
    std::ostream tied(&tiedTaker);
    TTaker taker(10);
    std::ostream sink(&taker);
    sink.tie(&tied);
    ToBinaryStream out(sink);
    EXPECT_EQ(out.opfx(), 1);
    EXPECT_EQ(tiedTaker.syncs, 1);
    out.osfx();
    EXPECT_EQ(taker.syncs, 0);
    sink.tie(nullptr);
    sink.setf(std::ios::unitbuf);
    out.osfx();
    EXPECT_EQ(taker.syncs, 1);
    out.clear(std::ios::badbit);
    EXPECT_EQ(out.opfx(), 0);
}

namespace {

TiBinaryStream &InNetworkOrder(TiBinaryStream &in) {
    in.NetworkOrder();
    return in;
}
ToBinaryStream &OutNetworkOrder(ToBinaryStream &out) {
    out.NetworkOrder();
    return out;
}
std::ios &Fail(std::ios &stream) {
    stream.setstate(std::ios::failbit);
    return stream;
}

} // namespace

TEST(BinaryStreamMembers, ManipulatorsReachTheWrappedStreamOrTheBinaryStream) {
    std::stringstream bytes("  \1\2"s);
    TBinaryStream stream(bytes);
    short value = 0;
    EXPECT_EQ(&(stream >> std::ws), &static_cast<TiBinaryStream &>(stream));
    stream >> InNetworkOrder >> value;
    EXPECT_EQ(value, 0x0102);
    stream.HostOrder();
    stream << OutNetworkOrder << std::endl << std::hex << std::flush;
    EXPECT_EQ(stream.IsNetworkOrder(), 1);
    EXPECT_TRUE(bytes.flags() & std::ios::hex);
    EXPECT_EQ(bytes.str(), "\n \1\2"s);
    stream >> std::dec;
    EXPECT_TRUE(bytes.flags() & std::ios::dec);
    stream << Fail;
    EXPECT_TRUE(bytes.fail());
    stream.clear();
    stream >> Fail;
    EXPECT_TRUE(bytes.fail());
}

namespace {

// Takes everything, and fails when it is flushed.
class TUnflushable : public std::stringbuf {
public:
    int syncs = 0;

protected:
    int sync() override {
        ++syncs;
        return -1;
    }
};

} // namespace

TEST(BinaryStreamMembers, OsfxTellsThatTheFlushFailed) {
    TUnflushable buffer;
    std::ostream sink(&buffer);
    ToBinaryStream out(sink);
    out.osfx();
    EXPECT_TRUE(out.good()); // nothing was to be flushed
    sink.setf(std::ios::unitbuf);
    out.osfx();
    EXPECT_EQ(buffer.syncs, 1);
    EXPECT_EQ(out.rdstate(), std::ios::badbit);
    out.osfx();
    EXPECT_EQ(buffer.syncs, 1); // a stream that has failed is not flushed
}

TEST(BinaryStreamMembers, FlushReachesTheBuffer) {
    TUnflushable buffer;
    std::ostream sink(&buffer);
    ToBinaryStream out(sink);
    EXPECT_EQ(&out.flush(), &out);
    EXPECT_EQ(buffer.syncs, 1);
    EXPECT_TRUE(out.bad());
}

TEST(BinaryStreamMembers, GetAtTheEndFailsOnlyIfNothingWasTaken) {
    for (std::string const &text : {std::string(), std::string("a"), std::string("ab")}) {
        std::istringstream source(text);
        TiBinaryStream in(source);
        char taken[10] = "old";
        in.get(taken, sizeof taken, ';');
        EXPECT_EQ(taken, text);
        EXPECT_EQ(in.rdstate(), text.empty() ? std::ios::eofbit | std::ios::failbit : std::ios::eofbit) << text;
    }
}

TEST(BinaryStreamMembers, ABufferThatThrowsSetsTheBadBit) {
    class TThrowing : public std::streambuf {
    protected:
        int_type underflow() override { throw std::runtime_error("source"); }
    } throwing;
    std::istream source(&throwing);
    TiBinaryStream in(source);
    char taken[10] = "old";
    in.get(taken, sizeof taken, ';');
    EXPECT_EQ(in.rdstate(), std::ios::badbit);
    EXPECT_STREQ(taken, "");
}
