#ifndef TUZUTIL_LINESTRM_H
#define TUZUTIL_LINESTRM_H

// TLineStream: reads another stream line by line, in pieces of bounded size, and counts the lines begun. It passes
// writes through, buffered.
//
// Example:
//     std::istringstream connection("USER joe\r\nPASS secret\r\n");
//     TiLineStream commands(&connection);
//     std::string line;
//     std::getline(commands, line);              // "USER joe\r"; the next byte of the connection is 'P'
//     unsigned long n = commands.QueryLinesRead(); // 1
//
// Ownership:  Source and sink are borrowed and must outlive the stream.
// Threads:    One thread at a time may use a stream.
// Failures:   The stream throws nothing of its own: if there is no memory for the buffer, reading sets the bad bit.
//             Reading without a source, and writing without a sink, fail as at the end of file. An exception of the
//             source or sink passes through the stream; the bytes read before it are kept.
// Surprises:
// - CR is data.
// - Pieces are bounded, lines are not: std::getline() into a std::string takes as many bytes as the other side sends
//   before its LF. Read from strangers with istream::getline(array, size), which fails on a longer line.
// - Reaching the end of file right after a complete line counts one more line.
// - At the start of a piece, up to ten characters of any value can be put back, and unget() can go back ten characters.
// - The destructor does not flush.

#include "tuzutil/FILTSTRM.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>

// The buffer of the line streams. A piece has at most the size of the reading area minus 12 bytes, plus its LF: 10,229
// bytes by default, or 5,109 if the stream also writes. The buffer size is at least 500 bytes and at most 1 GiB.
class TUZUTIL_API TLineStreamBuf : public TFilterStreamBuf {
public:
    explicit TLineStreamBuf(std::iostream *stream);
    explicit TLineStreamBuf(std::istream *source);
    explicit TLineStreamBuf(std::ostream *sink);
    TLineStreamBuf(unsigned long bufferSize, std::iostream *stream);
    TLineStreamBuf(unsigned long bufferSize, std::istream *source);
    TLineStreamBuf(unsigned long bufferSize, std::ostream *sink);
    ~TLineStreamBuf() override;

    unsigned long QueryLinesRead() const noexcept { return fLinesRead; }

protected:
    TLineStreamBuf();
    explicit TLineStreamBuf(unsigned long bufferSize);

    // Attach other streams. Bytes that were read ahead or wait to be written are discarded; the count of lines goes on.
    void Init(std::iostream *stream);
    void Init(std::istream *source);
    void Init(std::ostream *sink);
    void Close(); // releases the storage with its content; the next read or write allocates it again

    int doallocate() override; // -1 if there is no memory
    int_type pbackfail(int_type c) override;

private:
    bool IsWritable() const noexcept override;
    void WriteThrough(char const *bytes, std::size_t count) override;
    bool IsReadable() const noexcept override;
    TPiece ReadPiece() override;
    void SetStreams(std::istream *source, std::ostream *sink);
    std::uint32_t ReadAreaSize() const noexcept;

    std::istream *fSource = nullptr;
    std::ostream *fSink = nullptr;
    std::uint32_t fBufferSize;
    std::unique_ptr<char[]> fStorage;
    std::uint32_t fLinesRead = 0;
    bool fAtLineStart = true;
    std::size_t fGathered = 0; // bytes read of a piece before the source threw
};

class TUZUTIL_API TLineStream : public std::iostream {
public:
    explicit TLineStream(std::iostream *stream);
    TLineStream(unsigned long bufferSize, std::iostream *stream);
    ~TLineStream() override;

    TLineStreamBuf *rdbuf() { return &fBuf; }
    unsigned long QueryLinesRead() const noexcept { return fBuf.QueryLinesRead(); }

private:
    TLineStreamBuf fBuf;
};

class TUZUTIL_API TiLineStream : public std::istream {
public:
    explicit TiLineStream(std::istream *source);
    TiLineStream(unsigned long bufferSize, std::istream *source);
    ~TiLineStream() override;

    TLineStreamBuf *rdbuf() { return &fBuf; }
    unsigned long QueryLinesRead() const noexcept { return fBuf.QueryLinesRead(); }

private:
    TLineStreamBuf fBuf;
};

class TUZUTIL_API ToLineStream : public std::ostream {
public:
    explicit ToLineStream(std::ostream *sink);
    ToLineStream(unsigned long bufferSize, std::ostream *sink);
    ~ToLineStream() override;

    TLineStreamBuf *rdbuf() { return &fBuf; }

private:
    TLineStreamBuf fBuf;
};

#endif
