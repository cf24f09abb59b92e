// Temporary streams over files that fail: this program has its own copy of them, above files that the tests direct.

#include "utility/MEMSTRM.cpp"
#include "utility/TMPSTRM.cpp"

#include "support/CaptureTrace.h"
#include "support/ScarceArrays.h"

#include <sstream>

namespace {

// The one file, and what it is to do.
struct File {
    std::string content;
    std::size_t position = 0;
    std::size_t room = 0; // for how many bytes
    bool canOpen = true;
    bool canRead = true;
    bool canSeek = true;
    int opened = 0;
    int closed = 0;
};

File fsOnly;

class TAtMost : public TTempStreamTest {
public:
    explicit TAtMost(int blocks) : fBlocks(blocks) {}
    int Test(TTempStreamBuf *) override { return fBlocks-- <= 0; }

private:
    int fBlocks;
};

class TempFailure : public testing::Test {
protected:
    TempFailure() { fsOnly = File(); }
    ~TempFailure() override { EXPECT_EQ(fsOnly.opened, fsOnly.closed); }

    static std::string All(TTempStream &stream) {
        stream.clear();
        std::ostringstream out;
        if (!stream.rdbuf()->QueryFirstBuffer())
            stream.seekg(0);
        stream.rdbuf()->WriteTo(out);
        return out.str();
    }
};

// A sink that throws at its second piece.
class TThrowing : public std::stringbuf {
    std::streamsize xsputn(char const *bytes, std::streamsize count) override {
        if (!str().empty())
            throw 5;
        return std::stringbuf::xsputn(bytes, count);
    }
};

} // namespace

platform::TempFile platform::OpenTempFile(int &error) noexcept {
    error = EACCES;
    if (!fsOnly.canOpen)
        return noTempFile;
    ++fsOnly.opened;
    return TempFile{7};
}
std::ptrdiff_t platform::ReadTempFile(TempFile, char *bytes, std::size_t count) noexcept {
    if (!fsOnly.canRead)
        return -1;
    count = fsOnly.content.copy(bytes, count, fsOnly.position);
    fsOnly.position += count;
    return static_cast<std::ptrdiff_t>(count);
}
std::size_t platform::WriteTempFile(TempFile, char const *bytes, std::size_t count) noexcept {
    count = std::min(count, fsOnly.room - fsOnly.content.size());
    fsOnly.content.append(bytes, count);
    fsOnly.position += count;
    return count;
}
std::int64_t platform::SeekTempFile(TempFile, std::int64_t offset, TFileOrigin origin) noexcept {
    if (!fsOnly.canSeek)
        return -1;
    if (origin == TFileOrigin::start)
        fsOnly.position = static_cast<std::size_t>(offset);
    return static_cast<std::int64_t>(fsOnly.position);
}
void platform::CloseTempFile(TempFile) noexcept {
    ++fsOnly.closed;
    fsOnly.content.clear();
    fsOnly.position = 0;
}
char const *platform::RuntimeErrorText(int error) noexcept {
    return error == EACCES ? "Permission denied" : "another";
}

TEST_F(TempFailure, NoFileIsTracedAndLosesNothing) {
    TCapture capture(TTrace::error);
    TTempStream stream(4, "x", new TAtMost(2));
    fsOnly.canOpen = false;
    stream << "01234567";
    EXPECT_TRUE(stream.good());
    capture.ExpectNone();
    for (int i = 0; i < 3; ++i) {
        stream.clear();
        stream << '8';
        EXPECT_TRUE(stream.bad());
        ASSERT_EQ(capture.Entries().size(), 1u);
        EXPECT_EQ(capture.Entries()[0].line, 246u);
        std::string const text = "Unable to open temp file, error=" + std::to_string(EACCES) + "(Permission denied)";
        capture.ExpectOne(TTrace::error, "MemStream", text.c_str(), "src/utility/TMPSTRM");
        EXPECT_EQ(All(stream), "01234567");
    }
    fsOnly.canOpen = true;
    fsOnly.room = 100;
    stream << "89";
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(All(stream), "0123456789");
}

TEST_F(TempFailure, FileWithoutRoomForWhatIsThereLosesNothingAndIsClosedAtOnce) {
    for (std::size_t room : {0u, 3u, 4u, 7u}) {
        fsOnly = File();
        TTempStream stream(4, "x", new TAtMost(2));
        stream << "01234567";
        fsOnly.room = room;
        stream << '8';
        EXPECT_TRUE(stream.bad());
        EXPECT_EQ(fsOnly.opened, 1);
        EXPECT_EQ(fsOnly.closed, 1);
        EXPECT_EQ(All(stream), "01234567");
        std::string word;
        stream.clear();
        stream >> word;
        EXPECT_EQ(word, "01234567");
    }
}

TEST_F(TempFailure, FileThatFillsUpKeepsWhatWasAccepted) {
    for (std::size_t room : {8u, 9u, 10u, 11u, 13u}) {
        fsOnly = File();
        fsOnly.room = room;
        TTempStream stream(4, "x", new TAtMost(2));
        std::string accepted;
        for (char c = '0'; c < 'a' && stream.put(c).good(); ++c)
            accepted += c;
        EXPECT_TRUE(stream.bad());
        EXPECT_GE(accepted.size(), room);
        stream.clear();
        EXPECT_TRUE(stream.flush().bad()); // says it again: something waits
        stream.clear();
        EXPECT_EQ(std::streamoff(stream.seekg(0).tellg()), -1);
        fsOnly.room = 1000;
        EXPECT_EQ(All(stream), accepted) << room;
        EXPECT_TRUE(stream.flush().good());
    }
}

TEST_F(TempFailure, CopyOfAStreamThatCannotWriteSaysSo) {
    fsOnly.room = 9;
    TTempStream stream(4, "x", new TAtMost(2));
    stream << "0123456789";
    std::ostringstream out;
    EXPECT_EQ(stream.rdbuf()->WriteTo(out), 0u);
    EXPECT_TRUE(out.fail());
    EXPECT_EQ(out.str(), "");
}

TEST_F(TempFailure, FileThatDoesNotSeek) {
    fsOnly.room = 100;
    TTempStream stream(4, "x", new TAtMost(0));
    stream << "0123456789";
    fsOnly.canSeek = false;
    EXPECT_TRUE(stream.seekg(0).fail());
    std::ostringstream out;
    EXPECT_EQ(stream.rdbuf()->WriteTo(out), 0u);
    EXPECT_TRUE(out.fail());
    fsOnly.canSeek = true;
    EXPECT_EQ(All(stream), "0123456789");
}

TEST_F(TempFailure, WhatWasReadAheadStaysIfTheFileDoesNotSeekBack) {
    fsOnly.room = 100;
    TTempStream stream(4, "x", new TAtMost(0));
    stream << "0123456789";
    stream.seekg(0);
    EXPECT_EQ(stream.get(), '0');
    fsOnly.canSeek = false;
    EXPECT_TRUE(stream.flush().bad());
    stream.clear();
    EXPECT_EQ(stream.get(), '1');
    EXPECT_TRUE(stream.flush().good()); // nothing is ahead any more
}

TEST_F(TempFailure, ASinkThatIsFullEndsTheCopy) {
    struct TFull : std::stringbuf {
        std::streamsize xsputn(char const *bytes, std::streamsize count) override {
            return str().empty() ? std::stringbuf::xsputn(bytes, count) : 0;
        }
    } sink;
    fsOnly.room = 100;
    TTempStream stream(4, "x", new TAtMost(0));
    stream << "0123456789";
    stream.seekg(0);
    std::ostream out(&sink);
    EXPECT_EQ(stream.rdbuf()->WriteTo(out), 4u);
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(sink.str(), "0123");
    EXPECT_EQ(All(stream), "0123456789");
}

TEST_F(TempFailure, FileThatCannotBeReadIsNotTakenForItsEndWhereItIsCopied) {
    fsOnly.room = 100;
    TTempStream stream(4, "x", new TAtMost(0));
    stream << "0123456789";
    stream.seekg(2);
    fsOnly.canRead = false;
    std::ostringstream out;
    EXPECT_EQ(stream.rdbuf()->WriteTo(out), 0u);
    EXPECT_TRUE(out.fail());
    EXPECT_FALSE(out.bad());
    EXPECT_EQ(stream.get(), EOF);
    fsOnly.canRead = true;
    out.clear();
    EXPECT_EQ(stream.rdbuf()->WriteTo(out), 8u); // where it stood
    EXPECT_TRUE(out.good());
    EXPECT_EQ(out.str(), "23456789");
}

TEST_F(TempFailure, PositionIsKeptAlsoWhereTheSinkThrows) {
    fsOnly.room = 100;
    TTempStream stream(4, "x", new TAtMost(0));
    stream << "0123456789";
    stream.seekg(1);
    TThrowing sink;
    std::ostream out(&sink);
    out.exceptions(std::ios_base::badbit);
    EXPECT_THROW(stream.rdbuf()->WriteTo(out), int);
    EXPECT_EQ(sink.str(), "1234");
    std::ostringstream copy;
    EXPECT_EQ(stream.rdbuf()->WriteTo(copy), 9u);
    EXPECT_EQ(copy.str(), "123456789");
}

TEST_F(TempFailure, MemoryStreamKeepsAllWhereTheSinkThrows) {
    TTempStream stream(4, "x", nullptr);
    stream << "0123456789";
    TThrowing sink;
    std::ostream out(&sink);
    out.exceptions(std::ios_base::badbit);
    EXPECT_THROW(stream.rdbuf()->WriteTo(out), int);
    EXPECT_EQ(sink.str(), "0123");
    EXPECT_EQ(All(stream), "0123456789");
}

TEST_F(TempFailure, NoMemoryForABlockLosesNothing) {
    for (std::string const &before : {std::string(), std::string("0123")}) {
        TMemStream stream(4);
        stream << before;
        fsBytesForArrays = 3;
        stream << '4';
        fsBytesForArrays = -1;
        EXPECT_TRUE(stream.bad());
        stream.clear();
        stream << "56";
        std::ostringstream out;
        stream.rdbuf()->WriteTo(out);
        EXPECT_EQ(out.str(), before + "56");
    }
}

TEST_F(TempFailure, NoMemoryForTheFilesBufferLosesNothingAndClosesTheFile) {
    fsOnly.room = 100;
    TTempStream stream(4, "x", new TAtMost(1));
    stream << "0123";
    fsBytesForArrays = 3;
    stream << '4';
    fsBytesForArrays = -1;
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(fsOnly.opened, 1);
    EXPECT_EQ(fsOnly.closed, 1);
    EXPECT_EQ(All(stream), "0123");
    stream << "45";
    EXPECT_EQ(stream.rdbuf()->QueryFirstBuffer(), nullptr);
    EXPECT_EQ(All(stream), "012345");
}

TEST(MemStreamBuffer, OfASizeThatItsWordDoesNotHoldIsNotMade) {
    if constexpr (sizeof(unsigned long) > 4) {
        for (std::uint64_t size : {UINT64_C(0x100000000), UINT64_C(0x10000000A), UINT64_MAX})
            EXPECT_THROW(TMemStreamBuffer{static_cast<unsigned long>(size)}, std::bad_alloc);
    } else {
        fsBytesForArrays = 1000;
        EXPECT_THROW(TMemStreamBuffer{~0ul}, std::bad_alloc);
        fsBytesForArrays = -1;
    }
}
