#ifndef TUZUTIL_BINSTRM_SUPPORT_H
#define TUZUTIL_BINSTRM_SUPPORT_H

// What the suites of the binary streams share: values to and from literal bytes, and devices that behave badly.

#include "tuzutil/BINSTRM.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

inline constexpr int fsHost = 0;
inline constexpr int fsNetwork = 1;

template <typename... Values>
std::string Written(int order, Values const &...values) {
    std::ostringstream bytes;
    ToBinaryStream out(bytes, order);
    (out << ... << values);
    EXPECT_TRUE(bytes.good());
    return bytes.str();
}

template <typename Value>
Value Read(int order, std::string const &bytes, Value value = Value()) {
    std::istringstream source(bytes);
    TiBinaryStream in(source, order);
    in >> value;
    EXPECT_TRUE(source.good());
    return value;
}

// Both directions, in both orders, against literal bytes.
template <typename Value>
void ExpectBytes(Value value, std::string const &host, std::string const &network) {
    EXPECT_EQ(Written(fsHost, value), host);
    EXPECT_EQ(Written(fsNetwork, value), network);
    EXPECT_EQ(Read<Value>(fsHost, host), value);
    EXPECT_EQ(Read<Value>(fsNetwork, network), value);
}

inline std::string Text(TString const &text) {
    return text.IsNull() ? "<NULL>" : std::string(static_cast<char const *>(text), text.length());
}

// Gives its bytes out in pieces, and fails as told once they have all been given.
class TPieces : public std::streambuf {
public:
    TPieces(std::string bytes, std::size_t piece, bool throwAtEnd = false)
        : fBytes(std::move(bytes)), fPiece(piece), fThrowAtEnd(throwAtEnd) {}

protected:
    int_type underflow() override {
        std::size_t const count = std::min(fPiece, fBytes.size() - fGiven);
        if (count == 0) {
            if (fThrowAtEnd)
                throw std::runtime_error("device gone");
            return traits_type::eof();
        }
        char *const from = fBytes.data() + fGiven;
        setg(from, from, from + count);
        fGiven += count;
        return traits_type::to_int_type(*from);
    }

private:
    std::string fBytes;
    std::size_t fPiece;
    std::size_t fGiven = 0;
    bool fThrowAtEnd;
};

// Takes `room` bytes and no more; remembers the sizes of the writes that it saw.
class TTaker : public std::streambuf {
public:
    explicit TTaker(std::size_t room, bool throwAtEnd = false) : fRoom(room), fThrowAtEnd(throwAtEnd) {}
    std::string taken;
    std::vector<std::streamsize> writes;
    int syncs = 0;

protected:
    std::streamsize xsputn(char const *bytes, std::streamsize count) override {
        writes.push_back(count);
        auto const fits = std::min(static_cast<std::size_t>(count), fRoom - taken.size());
        taken.append(bytes, fits);
        if (fThrowAtEnd && fits < static_cast<std::size_t>(count))
            throw std::runtime_error("device full");
        return static_cast<std::streamsize>(fits);
    }
    int_type overflow(int_type c) override {
        char const byte = traits_type::to_char_type(c);
        return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
    }
    int sync() override {
        ++syncs;
        return 0;
    }

private:
    std::size_t fRoom;
    bool fThrowAtEnd;
};

#endif
