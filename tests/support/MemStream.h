#ifndef TUZUTIL_TESTS_MEMSTREAM_H
#define TUZUTIL_TESTS_MEMSTREAM_H

// The suites of memory streams and temporary streams share these functions: small helpers, and a function that does
// random operations on a buffer and on a model.

#include "support/memstream_model.h"
#include "tuzutil/MEMSTRM.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <sstream>
#include <string>

inline std::string Pattern(std::size_t size) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 7 + i / 256);
    return text;
}

inline std::int64_t Seek(std::streambuf &buf, std::int64_t offset, std::ios_base::seekdir direction,
                         std::ios_base::openmode mode = std::ios_base::in | std::ios_base::out) {
    return std::streamoff(buf.pubseekoff(offset, direction, mode));
}

// Returns what WriteTo() copies. This is the whole content if it is in memory, and the rest if it is in a file.
inline std::string Copied(TMemStreamBuf &buf) {
    std::ostringstream out;
    unsigned long const told = buf.WriteTo(out);
    EXPECT_EQ(told, out.str().size());
    return out.str();
}

inline std::string ReadAll(std::streambuf &buf) {
    std::string text;
    for (int c = buf.sbumpc(); c != EOF; c = buf.sbumpc())
        text += static_cast<char>(c);
    return text;
}

// Returns a random block size from 1 to 10000. Small sizes are more frequent.
inline std::size_t DrawBlockSize(std::minstd_rand &random) {
    std::size_t const sizes[] = {1, 2, 3, 5, 16, 100, 10000, 1 + random() % 10000};
    return sizes[random() % 8];
}

// Does the same random operation on the buffer and on the model, and compares the results.
template <typename Model>
void WorkOnBoth(TMemStreamBuf &buf, Model &model, std::size_t blockSize, std::minstd_rand &random) {
    auto const amount = [&] { return random() % (random() % 4 ? 9 : 3 * blockSize + 1); };
    switch (random() % 6) {
    case 0:
    case 1: {
        std::string text = Pattern(amount());
        auto const shift = random();
        for (char &byte : text) {
            byte = static_cast<char>(static_cast<unsigned char>(byte) + shift);
            model.Write(byte);
        }
        if (text.size() % 2) {
            auto const count = static_cast<std::streamsize>(text.size());
            ASSERT_EQ(buf.sputn(text.data(), count), count);
        } else {
            for (char const byte : text)
                ASSERT_NE(buf.sputc(byte), EOF);
        }
        break;
    }
    case 2:
    case 3:
        for (std::size_t n = amount(); n > 0; --n)
            ASSERT_EQ(buf.sbumpc(), model.Read());
        break;
    case 4: {
        std::ios_base::seekdir const directions[] = {std::ios_base::beg, std::ios_base::cur, std::ios_base::end};
        std::ios_base::openmode const modes[] = {std::ios_base::in, std::ios_base::out,
                                                 std::ios_base::in | std::ios_base::out, std::ios_base::openmode()};
        std::ios_base::seekdir const direction = directions[random() % 3];
        std::ios_base::openmode const mode = modes[random() % 4];
        std::int64_t const offset = static_cast<std::int64_t>(amount()) - (random() % 3 ? 0 : 5);
        ASSERT_EQ(Seek(buf, offset, direction, mode), model.Seek(offset, direction, mode));
        break;
    }
    default:
        if (random() % 2) {
            ASSERT_EQ(buf.pubsync(), 0);
            model.Sync();
        } else {
            ASSERT_EQ(Copied(buf), model.Rest());
        }
    }
}

#endif
