#ifndef TUZUTIL_LINESTRM_H
#define TUZUTIL_LINESTRM_H

// TLineStream: reads another stream line by line, in pieces of limited size, and counts the lines. Written bytes are
// buffered and passed on unchanged.
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
// Failures:   The stream itself throws nothing. If there is no memory for the buffer, reading sets the bad bit. Reading
//             without a source ends at once, and writing without a sink fails. An exception of the source or sink
//             passes through the stream, and the bytes that were read before are kept.
// Surprises:
// - Only LF ends a line. CR is an ordinary character.
// - The size of a piece is limited, the length of a line is not: std::getline() into a std::string takes as many bytes
//   as the other side sends before its LF. Read from strangers with istream::getline(array, size), which fails on a
//   longer line.
// - If the data end after a complete line, reading the end of file counts one more line.
// - At the start of a piece, up to ten characters of any value can be put back, and unget() can go back ten characters.
// - The destructor does not flush.

#include "tuzutil/FILTSTRM.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>

// The buffer of the line streams. The buffer size is 10,240 bytes by default; a size below 500 counts as 500, and one
// above 1 GiB as 1 GiB. The reading area is the whole buffer, or half of it if the stream also writes. A piece with its
// LF has at most the size of the reading area minus 11 bytes.
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

    // Attach other streams. Bytes that were read ahead or wait to be written are discarded. The count of lines
    // continues.
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
    std::size_t fGathered = 0; // bytes of an incomplete piece, if the source threw
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
