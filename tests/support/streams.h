#ifndef TUZUTIL_TESTS_SUPPORT_STREAMS_H
#define TUZUTIL_TESTS_SUPPORT_STREAMS_H

// Sources that give their bytes in pieces, and sinks that take their bytes in pieces. A test can make each of them fail
// at a given byte.

#include <algorithm>
#include <cstddef>
#include <istream>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>

namespace support {

constexpr std::size_t fsAll = std::numeric_limits<std::size_t>::max();

// Says what a source or sink does at byte `failAt`.
enum class Failing {
    never,
    end,   // a source is at its end, and a sink refuses the byte
    throws // throws a std::runtime_error once, and works after that
};

// A buffer that reads from a text. Its get area has at most `piece` bytes at a time. If `piece` is 0, it has no get
// area.
class TSplitSourceBuf : public std::streambuf {
public:
    explicit TSplitSourceBuf(std::string_view text, std::size_t piece = fsAll, Failing failing = Failing::never,
                             std::size_t failAt = fsAll)
        : fText(text), fPiece(piece), fFailing(failing), fFailAt(failAt) {}

    // Returns how many bytes were taken from the source.
    std::size_t Taken() const { return fNext - static_cast<std::size_t>(egptr() - gptr()); }
    std::string_view Rest() const { return std::string_view(fText).substr(Taken()); }
    void Append(std::string_view text) { // REQUIRES: the get area is used up
        setg(nullptr, nullptr, nullptr);
        fText += text;
    }

protected:
    int_type underflow() override {
        if (gptr() < egptr())
            return traits_type::to_int_type(*gptr());
        if (!HasNext())
            return traits_type::eof();
        if (fPiece == 0)
            return traits_type::to_int_type(fText[fNext]);
        std::size_t const end = std::min({fText.size() - fNext, fPiece, fFailAt - fNext});
        setg(fText.data() + fNext, fText.data() + fNext, fText.data() + fNext + end);
        fNext += end;
        return traits_type::to_int_type(*gptr());
    }
    int_type uflow() override {
        if (fPiece != 0)
            return std::streambuf::uflow();
        return HasNext() ? traits_type::to_int_type(fText[fNext++]) : traits_type::eof();
    }

private:
    bool HasNext() {
        if (fNext == fFailAt && fFailing == Failing::end)
            return false;
        if (fNext == fFailAt && fFailing == Failing::throws) {
            fFailAt = fsAll;
            throw std::runtime_error("source");
        }
        return fNext < fText.size();
    }

    std::string fText;
    std::size_t fPiece;
    Failing fFailing;
    std::size_t fFailAt;
    std::size_t fNext = 0;
};

class TSplitSource : public std::istream {
public:
    explicit TSplitSource(std::string_view text, std::size_t piece = fsAll, Failing failing = Failing::never,
                          std::size_t failAt = fsAll)
        : std::istream(nullptr), fBuf(text, piece, failing, failAt) {
        init(&fBuf);
    }
    TSplitSourceBuf &Buf() { return fBuf; }
    std::string_view Rest() const { return fBuf.Rest(); }
    std::size_t Taken() const { return fBuf.Taken(); }

private:
    TSplitSourceBuf fBuf;
};

// A buffer that keeps the bytes that are written. It fails at byte `failAt`. Its put area has `piece` bytes. If `piece`
// is 0, it has no put area.
class TSplitSinkBuf : public std::streambuf {
public:
    explicit TSplitSinkBuf(std::size_t piece = 0, Failing failing = Failing::never, std::size_t failAt = fsAll)
        : fArea(piece, '\0'), fFailing(failing), fFailAt(failAt) {
        Reset();
    }
    std::string const &Text() {
        Move();
        return fText;
    }
    int Syncs() const { return fSyncs; }

protected:
    int_type overflow(int_type c) override {
        if (!Move())
            return traits_type::eof();
        if (traits_type::eq_int_type(c, traits_type::eof()))
            return traits_type::not_eof(c);
        char const byte = traits_type::to_char_type(c);
        if (fArea.empty())
            return Take(byte) ? traits_type::to_int_type(byte) : traits_type::eof();
        return sputc(byte);
    }
    int sync() override {
        ++fSyncs;
        return Move() ? 0 : -1;
    }

private:
    void Reset() { setp(fArea.data(), fArea.data() + fArea.size()); }
    bool Move() {
        char const *const end = pptr();
        char const *from = pbase();
        Reset();
        for (; from != end; ++from) {
            if (!Take(*from))
                return false;
        }
        return true;
    }
    bool Take(char byte) {
        if (fText.size() == fFailAt && fFailing == Failing::end)
            return false;
        if (fText.size() == fFailAt && fFailing == Failing::throws) {
            fFailAt = fsAll;
            throw std::runtime_error("sink");
        }
        fText += byte;
        return true;
    }

    std::string fArea;
    Failing fFailing;
    std::size_t fFailAt;
    std::string fText;
    int fSyncs = 0;
};

class TSplitSink : public std::ostream {
public:
    explicit TSplitSink(std::size_t piece = 0, Failing failing = Failing::never, std::size_t failAt = fsAll)
        : std::ostream(nullptr), fBuf(piece, failing, failAt) {
        init(&fBuf);
    }
    std::string const &Text() { return fBuf.Text(); }
    int Syncs() const { return fBuf.Syncs(); }

private:
    TSplitSinkBuf fBuf;
};

// Reads a buffer to its end, one byte at a time.
inline std::string ReadBytes(std::streambuf &from) {
    std::string all;
    for (int c = from.sbumpc(); c != std::char_traits<char>::eof(); c = from.sbumpc())
        all += static_cast<char>(c);
    return all;
}

// Reads a buffer to its end, `size` bytes at a time.
inline std::string ReadRuns(std::streambuf &from, std::size_t size) {
    std::string all;
    std::string run(size, '\0');
    for (std::streamsize count = 1; count > 0;) {
        count = from.sgetn(run.data(), static_cast<std::streamsize>(size));
        all.append(run, 0, static_cast<std::size_t>(count));
    }
    return all;
}

// Reads a buffer to its end, one byte at a time. After an exception of the source, counts the exception and reads on.
inline std::string ReadThroughExceptions(std::streambuf &from, std::istream &source, int &exceptions) {
    std::string all;
    for (;;) {
        try {
            for (int c = from.sbumpc(); c != std::char_traits<char>::eof(); c = from.sbumpc())
                all += static_cast<char>(c);
            return all;
        } catch (std::runtime_error const &) {
            ++exceptions;
            source.clear();
        }
    }
}

// Writes the bytes, `size` of them at a time.
inline void Write(std::streambuf &to, std::string_view bytes, std::size_t size) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(size, bytes.size())))
        to.sputn(bytes.data(), static_cast<std::streamsize>(std::min(size, bytes.size())));
}

inline void WriteBytes(std::streambuf &to, std::string_view bytes) {
    for (char const c : bytes)
        to.sputc(c);
}

} // namespace support

#endif
