// A program may derive a class from every stream of the library. The stream then is a part of the object, so another
// form of its constructor runs.

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"
#include "tuzutil/MEMSTRM.h"
#include "tuzutil/NULSTRM.h"
#include "tuzutil/OSTRSTRM.h"
#include "tuzutil/TMPSTRM.h"

#include "support/streams.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

template <typename Stream>
class TDerived : public Stream {
public:
    using Stream::Stream;
    int own = 17;
};

// Reads the first word by a stream that a class was derived from.
template <typename Stream, typename... Arguments>
std::string Word(Arguments &&...arguments) {
    TDerived<Stream> stream(std::forward<Arguments>(arguments)...);
    std::string word;
    stream >> word;
    EXPECT_EQ(stream.own, 17);
    return word;
}

template <typename Stream, typename... Arguments>
void Write(Arguments &&...arguments) {
    TDerived<Stream> stream(std::forward<Arguments>(arguments)...);
    stream << "word\n" << std::flush;
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(stream.own, 17);
}

// Writes a word to a stream without a source and sink, and reads it from there.
template <typename Stream, typename... Arguments>
std::string Kept(Arguments &&...arguments) {
    TDerived<Stream> stream(std::forward<Arguments>(arguments)...);
    stream << "word" << std::flush;
    stream.seekg(0);
    std::string word;
    stream >> word;
    EXPECT_EQ(stream.own, 17);
    return word;
}

// A buffer that can give bytes of its own, before it goes on with those of its source.
template <typename Buf>
class TInserting : public Buf {
public:
    using Buf::Buf;
    void Insert(std::string const &bytes) {
        fOwn = '#' + bytes;
        this->setg(fOwn.data() + 1, fOwn.data() + 1, fOwn.data() + fOwn.size());
    }
    // Returns the byte in front of the buffer's own bytes. Nobody may change it.
    char Foremost() const { return fOwn.front(); }

private:
    std::string fOwn;
};

// Reads the first line of the source, and interrupts the second. Returns what is read at once after that.
template <typename Buf, typename... Before>
std::string ReadAfterInterruption(Before... before) {
    support::TSplitSource source("one\r\ntwo\r\nthree\r\nfour\r\n", support::fsAll, support::Failing::throws, 7);
    source.exceptions(std::ios::badbit);
    TInserting<Buf> buffer(before..., source);
    EXPECT_THROW(support::ReadBytes(buffer), std::runtime_error);
    source.clear();
    EXPECT_EQ(source.peek(), 'o'); // the rest of the second line, and the lines after it, are in the source's area
    buffer.Insert("own\r\n");
    return support::ReadRuns(buffer, 100);
}

struct TConnection {
    std::stringstream both{"word\n"};
    std::istringstream source{"word\n"};
    std::ostringstream sink;
};

} // namespace

TEST(DerivedStream, ReadsAndWritesLines) {
    TConnection connection;
    EXPECT_EQ(Word<TLineStream>(&connection.both), "word");
    EXPECT_EQ(Word<TiLineStream>(&connection.source), "word");
    TConnection other;
    EXPECT_EQ(Word<TLineStream>(1000ul, &other.both), "word");
    EXPECT_EQ(Word<TiLineStream>(1000ul, &other.source), "word");
    Write<ToLineStream>(&other.sink);
    Write<ToLineStream>(1000ul, &other.sink);
    EXPECT_EQ(other.sink.str(), "word\nword\n");
}

TEST(DerivedStream, ReadsAndWritesBodies) {
    TConnection connection;
    EXPECT_EQ(Word<TDotByteStream>(connection.both), "word");
    EXPECT_EQ(Word<TiDotByteStream>(connection.source), "word");
    Write<ToDotByteStream>(connection.sink);
    Write<ToDotByteStream>(connection.sink, 10ul);
    EXPECT_EQ(connection.sink.str(), "word\nword\n");
}

TEST(DerivedStream, ReadsSeveralSources) {
    TConnection one, two, three;
    std::istream *sources[] = {&one.source};
    EXPECT_EQ(Word<TiConcatStream>(0, one.source), "word");
    EXPECT_EQ(Word<TiConcatStream>(0, 100ul, two.source), "word");
    EXPECT_EQ(Word<TiConcatStream>(0, one.source, three.source), "word");
    TConnection four, five, six;
    EXPECT_EQ(Word<TiConcatStream>(0, 100ul, one.source, four.source), "word");
    sources[0] = &five.source;
    EXPECT_EQ(Word<TiConcatStream>(0, sources, 1ul), "word");
    sources[0] = &six.source;
    EXPECT_EQ(Word<TiConcatStream>(0, 100ul, sources, 1ul), "word");
}

TEST(DerivedBuffer, DeliversAnInterruptedLineWholeAfterBytesOfItsOwn) {
    std::string const expected = "own\r\ntwo\r\nthree\r\nfour\r\n";
    EXPECT_EQ(ReadAfterInterruption<TDotByteStreamBuf>(), expected);
    EXPECT_EQ(ReadAfterInterruption<TConcatStreamBuf>(1), expected);
    support::TSplitSource source("one\ntwo\nthree\n", support::fsAll, support::Failing::throws, 5);
    source.exceptions(std::ios::badbit);
    TInserting<TLineStreamBuf> lines(&source);
    EXPECT_THROW(support::ReadBytes(lines), std::runtime_error);
    source.clear();
    EXPECT_EQ(source.peek(), 'w');
    lines.Insert("own\n");
    EXPECT_EQ(support::ReadRuns(lines, 100), "own\ntwo\nthree\n");
}

TEST(DerivedBuffer, ReadsNothingBeyondTheEndAfterBytesOfItsOwn) {
    std::istringstream body("Hello\r\n.\r\nQUIT\r\n");
    TInserting<TDotByteStreamBuf> dots(body);
    EXPECT_EQ(support::ReadBytes(dots), "Hello\r\n");
    dots.Insert("own\r\n");
    EXPECT_EQ(support::ReadRuns(dots, 100), "own\r\n");
    std::string next;
    body >> next;
    EXPECT_EQ(next, "QUIT");
    std::ostringstream sink;
    TInserting<TDotByteStreamBuf> writer(sink);
    writer.Insert("own\r\n");
    EXPECT_EQ(support::ReadRuns(writer, 100), "own\r\n");
    std::istringstream first("one\n"), second("two\n");
    TInserting<TConcatStreamBuf> both(0, first, second);
    EXPECT_EQ(support::ReadBytes(both), "one\ntwo\n");
    both.Insert("own\n");
    EXPECT_EQ(support::ReadRuns(both, 100), "own\n");
}

// The first bytes are the buffer's own. Nothing has been read from the source yet.
TEST(DerivedBuffer, ReadsManyBytesAfterBytesOfItsOwn) {
    std::string const lines = "one\r\ntwo\r\n" + std::string(5000, 'x') + "\r\n";
    auto const read = [&](auto buffer) {
        buffer->Insert("own\r\n");
        std::string bytes(lines.size() + 100, '\0');
        bytes.resize(static_cast<std::size_t>(buffer->sgetn(bytes.data(), static_cast<std::streamsize>(bytes.size()))));
        return bytes;
    };
    std::istringstream first(lines);
    EXPECT_EQ(read(std::make_unique<TInserting<TLineStreamBuf>>(&first)), "own\r\n" + lines);
    std::istringstream second(lines + ".\r\n");
    EXPECT_EQ(read(std::make_unique<TInserting<TDotByteStreamBuf>>(second)), "own\r\n" + lines);
    std::istringstream third(lines);
    EXPECT_EQ(read(std::make_unique<TInserting<TConcatStreamBuf>>(0, third)), "own\r\n" + lines);
}

// In front of the buffer's own bytes is memory that does not belong to the get area.
TEST(DerivedBuffer, PutsNothingBackInFrontOfBytesOfItsOwn) {
    auto const check = [](auto &&buffer) {
        EXPECT_EQ(support::ReadBytes(buffer), "one\r\ntwo\r\n");
        buffer.Insert("own\r\n");
        EXPECT_EQ(buffer.sputbackc('x'), EOF);
        EXPECT_EQ(buffer.Foremost(), '#');
        EXPECT_EQ(buffer.sbumpc(), 'o');
        EXPECT_EQ(buffer.sputbackc('o'), 'o');
        EXPECT_EQ(buffer.sungetc(), EOF);
        EXPECT_EQ(buffer.Foremost(), '#');
        EXPECT_EQ(support::ReadRuns(buffer, 100), "own\r\n");
    };
    std::istringstream lines("one\r\ntwo\r\n"), body("one\r\ntwo\r\n.\r\n"), part("one\r\ntwo\r\n");
    check(TInserting<TLineStreamBuf>(&lines));
    check(TInserting<TDotByteStreamBuf>(body));
    check(TInserting<TConcatStreamBuf>(0, part));
}

// Init() frees the memory of what was read from the first source.
TEST(DerivedBuffer, ReadsManyBytesOfASecondSourceAfterBytesOfItsOwn) {
    class TReused : public TInserting<TLineStreamBuf> {
    public:
        using TInserting<TLineStreamBuf>::TInserting;
        using TLineStreamBuf::Init;
    };
    std::string const lines = "one\n" + std::string(5000, 'x') + "\n";
    std::istringstream first("first\n"), second(lines);
    TReused buffer(&first);
    EXPECT_EQ(support::ReadBytes(buffer), "first\n");
    buffer.Init(&second);
    buffer.Insert("own\n");
    EXPECT_EQ(buffer.sputbackc('x'), EOF); // there is no room before the first byte
    std::string bytes(lines.size() + 100, '\0');
    bytes.resize(static_cast<std::size_t>(buffer.sgetn(bytes.data(), static_cast<std::streamsize>(bytes.size()))));
    EXPECT_EQ(bytes, "own\n" + lines);
}

TEST(DerivedStream, KeepsWhatIsWritten) {
    EXPECT_EQ(Kept<TMemStream>(), "word");
    EXPECT_EQ(Kept<TMemStream>(3ul), "word");
    EXPECT_EQ(Kept<TTempStream>("name", TReference<TTempStreamTest>()), "word");
    EXPECT_EQ(Kept<TTempStream>(100ul, "name", TReference<TTempStreamTest>()), "word");
}

TEST(DerivedStream, WritesToAGrowingBlock) {
    TDerived<oStringStream> text, small(1);
    for (oStringStream *const stream : {static_cast<oStringStream *>(&text), static_cast<oStringStream *>(&small)}) {
        *stream << "word";
        EXPECT_EQ(std::string(stream->str(), static_cast<std::size_t>(stream->pcount())), "word");
        stream->freeze(0);
    }
}

TEST(DerivedStream, MayDropEverything) {
    EXPECT_EQ(Word<TNulStream>(), "");
    EXPECT_EQ(Word<TiNulStream>(), "");
    Write<ToNulStream>();
}
