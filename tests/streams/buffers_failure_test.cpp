// Stream buffers without memory: this program has its own copy of them, above an allocator that it directs.

#include "tuzutil/CONCSTRM.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <sstream>

namespace {

bool fsIsExhausted = false;
std::size_t fsAskedFor = 0; // by the last call for memory that may fail

// For a scope: there is no memory.
struct Exhaustion {
    Exhaustion() { fsIsExhausted = true; }
    ~Exhaustion() { fsIsExhausted = false; }
};

} // namespace

void *operator new[](std::size_t size, std::nothrow_t const &) noexcept {
    fsAskedFor = size;
    return fsIsExhausted ? nullptr : std::malloc(size);
}
void operator delete[](void *block) noexcept {
    std::free(block);
}
void operator delete[](void *block, std::size_t) noexcept {
    std::free(block);
}
void *operator new[](std::size_t size) {
    if (void *const block = std::malloc(size))
        return block;
    throw std::bad_alloc();
}

TEST(BufferWithoutMemory, ReadingALineFailsAndTheSourceKeepsItsBytes) {
    std::istringstream source("one\ntwo\n");
    TiLineStream lines(&source);
    std::string line;
    {
        Exhaustion const none;
        EXPECT_FALSE(std::getline(lines, line));
        EXPECT_EQ(source.tellg(), std::streampos(0));
    }
    lines.clear();
    EXPECT_TRUE(std::getline(lines, line));
    EXPECT_EQ(line, "one");
}

TEST(BufferWithoutMemory, WritingALineFailsAndSendsNothing) {
    std::ostringstream sink;
    ToLineStream lines(&sink);
    {
        Exhaustion const none;
        lines << "one";
        EXPECT_TRUE(lines.fail());
    }
    lines.clear();
    lines << "two" << std::flush;
    EXPECT_TRUE(lines.good());
    EXPECT_EQ(sink.str(), "two");
}

TEST(BufferWithoutMemory, ReadingSeveralSourcesFailsAndTheyKeepTheirBytes) {
    std::istringstream source("one\n");
    TiConcatStream all(0, source);
    std::string line;
    {
        Exhaustion const none;
        EXPECT_FALSE(std::getline(all, line));
        EXPECT_EQ(source.tellg(), std::streampos(0));
    }
    all.clear();
    EXPECT_TRUE(std::getline(all, line));
    EXPECT_EQ(line, "one");
}

TEST(BufferWithoutMemory, DotBytesAreNeitherReadNorWritten) {
    std::istringstream source("one\r\n.\r\n");
    TiDotByteStream in(source);
    std::ostringstream sink;
    ToDotByteStream out(sink);
    std::string line;
    {
        Exhaustion const none;
        EXPECT_FALSE(std::getline(in, line));
        EXPECT_EQ(source.tellg(), std::streampos(0));
        out << "x";
        EXPECT_TRUE(out.fail());
        EXPECT_EQ(sink.str(), "");
    }
    in.clear();
    EXPECT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "one\r");
}

TEST(BufferSize, IsAGibibyteAtMost) {
    std::istringstream source("one\n");
    Exhaustion const none;
    for (unsigned long const size : {1ul << 30, (1ul << 30) + 1, 0xFFFFFFFFul}) {
        fsAskedFor = 0;
        TiLineStream lines(size, &source);
        EXPECT_EQ(lines.get(), std::char_traits<char>::eof());
        EXPECT_EQ(fsAskedFor, std::size_t{1} << 30) << size;

        fsAskedFor = 0;
        TiConcatStream all(0, size, source);
        EXPECT_EQ(all.get(), std::char_traits<char>::eof());
        EXPECT_EQ(fsAskedFor, std::size_t{1} << 30) << size;
    }
    TiLineStream smaller((1ul << 30) - 1, &source);
    EXPECT_EQ(smaller.get(), std::char_traits<char>::eof());
    EXPECT_EQ(fsAskedFor, (std::size_t{1} << 30) - 1);
}
