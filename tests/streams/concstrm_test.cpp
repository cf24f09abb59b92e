#include "tuzutil/CONCSTRM.h"

#include "support/concat_model.h"
#include "support/streams.h"

#include <gtest/gtest.h>

#include <deque>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

int const fsEnd = std::char_traits<char>::eof();

// The protected side of the buffer.
class TOpenBuf : public TConcatStreamBuf {
public:
    using TConcatStreamBuf::doallocate;
    using TConcatStreamBuf::overflow;
    using TConcatStreamBuf::sync;
    using TConcatStreamBuf::TConcatStreamBuf;
    using TConcatStreamBuf::underflow;

    std::string Piece() {
        underflow();
        std::string const piece(gptr(), egptr());
        setg(eback(), egptr(), egptr());
        return piece;
    }
};

std::string Read(std::vector<std::string> const &texts, bool crLf, unsigned long size = 1024,
                 std::size_t split = support::fsAll, bool whole = false) {
    std::deque<support::TSplitSource> sources;
    std::vector<std::istream *> pointers;
    for (std::string const &text : texts)
        pointers.push_back(&sources.emplace_back(text, split));
    TConcatStreamBuf buffer(crLf, size, pointers.data(), static_cast<unsigned long>(pointers.size()));
    buffer.SetWholeLines(whole);
    std::string const all = support::ReadBytes(buffer);
    for (support::TSplitSource const &source : sources) {
        EXPECT_EQ(source.rdstate(), std::ios::eofbit);
        EXPECT_EQ(source.Rest(), "");
    }
    return all;
}

} // namespace

TEST(ConcatStream, Example) {
    std::istringstream header("Subject: x\n\n");
    std::istringstream body("Hello\n");
    TiConcatStream message(1, header, body);
    std::ostringstream all;
    all << message.rdbuf();
    EXPECT_EQ(all.str(), "Subject: x\r\n"
                         "\n"
                         "Hello\r\n");
}

TEST(ConcatStream, TwoSourcesReadAsOneWithOrWithoutCarriageReturns) {
    EXPECT_EQ(Read({"a\n", "b\n"}, true), "a\r\nb\r\n");
    EXPECT_EQ(Read({"a\n", "b\n"}, false), "a\nb\n");
}

TEST(ConcatStream, EmptyLineStaysABareLineFeedAndCrLfIsNotDoubled) {
    EXPECT_EQ(Read({"\n\r\na\r\nb\r\r\n"}, true), "\n\r\na\r\nb\r\r\n");
    EXPECT_EQ(Read({"\n\n"}, true), "\n\n");
}

TEST(ConcatStream, LastLineWithoutItsLineFeedIsDropped) {
    EXPECT_EQ(Read({"a\nlost", "b\n"}, true), "a\r\nb\r\n");
    EXPECT_EQ(Read({"lost", "b\n", "lost"}, false), "b\n");
    EXPECT_EQ(Read({"", "", "b\n", ""}, false), "b\n");
}

TEST(ConcatStream, WholeLinesAreDeliveredWithTheirLineEnds) {
    std::istringstream header("Subject: x\n\n");
    std::istringstream body("Hello");
    std::istringstream rest("\nlast");
    std::istream *sources[] = {&header, &body, &rest};
    TiConcatStream message(1, sources, 3);
    message.SetWholeLines(1);
    EXPECT_EQ(support::ReadBytes(*message.rdbuf()), "Subject: x\r\n\r\nHello\r\n\r\nlast\r\n");
    EXPECT_EQ(Read({"a", "", "b\r", "c\n", "\n"}, false, 1024, support::fsAll, true), "a\nb\r\nc\n\n");
    EXPECT_EQ(Read({"a", "", "b\r", "c\r\n", "\r\n"}, true, 1024, support::fsAll, true), "a\r\nb\r\nc\r\n\r\n");
}

TEST(ConcatStream, LongLastLineIsWholeTooWhereverItsPiecesEnd) {
    for (std::size_t length = 1000; length < 1030; ++length) {
        for (char const *const end : {"", "\r", "\n", "\r\n"}) {
            std::string const line(length, 'x');
            EXPECT_EQ(Read({line + end, "b"}, true, 1024, support::fsAll, true), line + "\r\nb\r\n") << length;
        }
    }
}

TEST(ConcatStream, SourceThatCannotBeReadLeavesItsLineUnfinished) {
    support::TSplitSource source("abc", 1, support::Failing::throws, 2);
    TConcatStreamBuf buffer(1, source);
    buffer.SetWholeLines(1);
    EXPECT_EQ(support::ReadBytes(buffer), "ab");
    EXPECT_TRUE(source.bad());
}

TEST(ConcatStream, NoSourcesGiveEndOfFileAtOnce) {
    TiConcatStream none(1, nullptr, 0);
    EXPECT_EQ(none.get(), fsEnd);
    TiConcatStream sized(1, 100, nullptr, 0);
    EXPECT_EQ(sized.get(), fsEnd);
}

TEST(ConcatStream, EveryConstructorTakesItsSourcesInOrder) {
    for (int const crLf : {0, 1, 2}) {
        std::string const end = crLf ? "\r\n" : "\n";
        std::istringstream one("a\n");
        EXPECT_EQ(support::ReadBytes(*TiConcatStream(crLf, one).rdbuf()), "a" + end);
        std::istringstream sized("a\n");
        EXPECT_EQ(support::ReadBytes(*TiConcatStream(crLf, 50, sized).rdbuf()), "a" + end);
        std::istringstream first("a\n"), second("b\n");
        EXPECT_EQ(support::ReadBytes(*TiConcatStream(crLf, first, second).rdbuf()), "a" + end + "b" + end);
        std::istringstream third("c\n"), fourth("d\n");
        EXPECT_EQ(support::ReadBytes(*TiConcatStream(crLf, 50, third, fourth).rdbuf()), "c" + end + "d" + end);
        std::istringstream fifth("e\n"), sixth("f\n");
        std::istream *list[] = {&fifth, &sixth};
        TiConcatStream in(crLf, list, 2);
        list[0] = list[1] = nullptr; // the pointers were copied
        EXPECT_EQ(support::ReadBytes(*in.rdbuf()), "e" + end + "f" + end);
    }
}

TEST(ConcatStream, SourceStandsBehindTheLineThatWasRead) {
    support::TSplitSource first("a\nb\n");
    support::TSplitSource second("c\n");
    TOpenBuf buffer(1, first, second);
    EXPECT_EQ(buffer.Piece(), "a\r\n");
    EXPECT_EQ(first.Rest(), "b\n");
    EXPECT_EQ(first.rdstate(), std::ios::goodbit);
    EXPECT_EQ(buffer.Piece(), "b\r\n");
    EXPECT_EQ(second.Rest(), "c\n");
    EXPECT_EQ(buffer.Piece(), "c\r\n");
    EXPECT_EQ(first.rdstate(), std::ios::eofbit);
    EXPECT_EQ(second.rdstate(), std::ios::goodbit);
    EXPECT_EQ(buffer.Piece(), "");
    EXPECT_EQ(second.rdstate(), std::ios::eofbit);
}

TEST(ConcatStream, LongLineComesInPiecesAndOnlyTheLastGetsTheLineEnd) {
    std::istringstream source(std::string(2500, 'x') + "\n");
    TOpenBuf buffer(1, source);
    EXPECT_EQ(buffer.Piece(), std::string(1011, 'x'));
    EXPECT_EQ(buffer.Piece(), std::string(1011, 'x'));
    EXPECT_EQ(buffer.Piece(), std::string(478, 'x') + "\r\n");
    EXPECT_EQ(buffer.Piece(), "");
}

TEST(ConcatStream, LineThatFillsTheBufferGetsItsLineEndInTheSamePiece) {
    std::istringstream source(std::string(1011, 'x') + "\n" + std::string(1010, 'y') + "\r\n");
    TOpenBuf buffer(1, source);
    EXPECT_EQ(buffer.Piece(), std::string(1011, 'x') + "\r\n");
    EXPECT_EQ(buffer.Piece(), std::string(1010, 'y') + "\r\n");
}

TEST(ConcatStream, OnlyThePieceThatMeetsTheEndIsDropped) {
    EXPECT_EQ(Read({std::string(1011 + 5, 'x'), "b\n"}, true), std::string(1011, 'x') + "b\r\n");
    EXPECT_EQ(Read({std::string(1011, 'x'), "b\n"}, true), std::string(1011, 'x') + "b\r\n");
}

TEST(ConcatStream, TinyBuffersReadByteByByte) {
    for (unsigned long const size : {0ul, 1ul, 5ul, 12ul, 13ul, 14ul}) {
        std::istringstream source("abc\n\nd\r\n");
        TOpenBuf buffer(1, size, source);
        EXPECT_EQ(buffer.Piece(), "a");
        EXPECT_EQ(buffer.Piece(), "b");
        EXPECT_EQ(buffer.Piece(), "c\r\n");
        EXPECT_EQ(buffer.Piece(), "\n");
        EXPECT_EQ(buffer.Piece(), "d");
        EXPECT_EQ(buffer.Piece(), "\r\n");
        EXPECT_EQ(buffer.Piece(), "");
    }
}

TEST(ConcatStream, EveryPairOfShortTextsReadsAsDescribedUnderEverySplit) {
    std::vector<std::string> texts{""};
    for (std::size_t from = 0, length = 1; length <= 3; ++length) {
        for (std::size_t const end = texts.size(); from != end; ++from) {
            for (char const c : {'.', '\r', '\n', 'x'})
                texts.push_back(texts[from] + c);
        }
    }
    ASSERT_EQ(texts.size(), 85u);
    for (std::size_t const split : {std::size_t(0), std::size_t(1), std::size_t(2), std::size_t(3), support::fsAll}) {
        for (std::string const &first : texts) {
            for (std::string const &second : texts) {
                for (bool const crLf : {false, true}) {
                    ASSERT_EQ(Read({first, second}, crLf, 1024, split), support::Concatenated({first, second}, crLf));
                    for (unsigned long const size : {1024ul, 14ul, 15ul}) {
                        ASSERT_EQ(Read({first, second}, crLf, size, split, true),
                                  support::ConcatenatedWhole({first, second}, crLf))
                            << size;
                    }
                }
            }
        }
    }
}

TEST(ConcatStream, WritingFails) {
    std::istringstream source("a\n");
    TOpenBuf buffer(1, source);
    EXPECT_EQ(buffer.overflow('x'), fsEnd);
    EXPECT_EQ(buffer.overflow(fsEnd), fsEnd);
    EXPECT_EQ(buffer.sputn("abc", 3), 0);
    EXPECT_EQ(buffer.sync(), 0);
    EXPECT_EQ(buffer.doallocate(), 0);
    EXPECT_EQ(buffer.sputc('x'), fsEnd);
    EXPECT_EQ(buffer.underflow(), 'a');
}

TEST(ConcatStream, TenCharactersCanBePutBackInFrontOfAPiece) {
    std::istringstream source("one\n");
    TiConcatStream in(0, source);
    EXPECT_EQ(in.peek(), 'o');
    for (char c = '0'; c <= '9'; ++c)
        EXPECT_TRUE(in.putback(c)) << c;
    EXPECT_FALSE(in.putback('a'));
    in.clear();
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, "9876543210one");
}

// The line without an end was read over the last piece.
TEST(ConcatStream, SteppingBackNeverGivesALineThatWasDropped) {
    std::istringstream first("abc\nxyz");
    std::istringstream second("more\n");
    second.setstate(std::ios_base::failbit);
    TiConcatStream in(0, first, second);
    std::string line;
    EXPECT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "abc");
    EXPECT_EQ(in.peek(), fsEnd);
    in.clear();
    in.unget();
    in.clear();
    in.unget();
    in.clear();
    int const c = in.get();
    EXPECT_TRUE(c == fsEnd || c == 'c' || c == '\n') << c;
}

TEST(ConcatStream, SteppingBackOverAPieceGivesWhatWasRead) {
    std::istringstream first("To: x\n"), second(" y\nabcdefgh\n");
    TiConcatStream in(1, first, second);
    EXPECT_EQ(in.peek(), 'T');
    EXPECT_FALSE(in.unget());
    in.clear();
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(in.peek(), ' ');
    EXPECT_TRUE(in.unget());
    EXPECT_EQ(in.get(), '\n');
    std::getline(in, line);
    EXPECT_EQ(in.peek(), 'a');
    std::string back; // ten characters of two pieces
    for (int c = in.rdbuf()->sungetc(); c != fsEnd; c = in.rdbuf()->sungetc())
        back.insert(back.begin(), static_cast<char>(c));
    EXPECT_EQ(back, "o: x\r\n y\r\n");
    EXPECT_EQ(support::ReadBytes(*in.rdbuf()), back + "abcdefgh\r\n");
}

TEST(ConcatStream, FailedSourceEndsTheWholeWithoutGoingOn) {
    std::istringstream first("a\n"), second("b\n");
    first.setstate(std::ios::failbit);
    TiConcatStream in(0, first, second);
    EXPECT_EQ(in.get(), fsEnd);
    in.clear();
    EXPECT_EQ(in.get(), fsEnd);
    EXPECT_EQ(first.rdstate(), std::ios::failbit);
    EXPECT_EQ(second.tellg(), std::streampos(0));
}

TEST(ConcatStream, SourceAlreadyAtItsEndIsPassedOver) {
    std::istringstream first("a\n"), second("b\n");
    first.setstate(std::ios::eofbit);
    EXPECT_EQ(support::ReadBytes(*TiConcatStream(0, first, second).rdbuf()), "b\n");
}

TEST(ConcatStream, LineThatAnExceptionOfTheSourceInterruptsIsDeliveredWhole) {
    for (std::size_t failAt = 0; failAt < 6; ++failAt) {
        support::TSplitSource first("ab\n", 1, failAt < 3 ? support::Failing::throws : support::Failing::never, failAt);
        support::TSplitSource second("cd\n", 1, failAt < 3 ? support::Failing::never : support::Failing::throws,
                                     failAt - 3);
        first.exceptions(std::ios::badbit);
        second.exceptions(std::ios::badbit);
        TConcatStreamBuf buffer(1, first, second);
        std::string all;
        try {
            for (int c = buffer.sbumpc(); c != fsEnd; c = buffer.sbumpc())
                all += static_cast<char>(c);
            FAIL();
        } catch (std::runtime_error const &) {
            first.clear(first.rdstate() & ~std::ios::badbit);
            second.clear(second.rdstate() & ~std::ios::badbit);
        }
        EXPECT_EQ(all + support::ReadBytes(buffer), "ab\r\ncd\r\n") << failAt;
    }
}
