#ifndef TUZUTIL_LINESTRM_H
#define TUZUTIL_LINESTRM_H

// TLineStream: reads another stream line by line, in pieces of bounded size, and counts the lines begun; writing passes
// through it, buffered.
//
// Example:
//     std::istringstream connection("USER joe\r\nPASS secret\r\n");
//     TiLineStream commands(&connection);
//     std::string line;
//     std::getline(commands, line);              // "USER joe\r"; the connection stands at "PASS"
//     unsigned long n = commands.QueryLinesRead(); // 1
//
// Ownership:  source and sink are borrowed and outlive the stream.
// Threads:    one thread at a time.
// Failures:   the stream throws nothing of its own: if there is no memory for the buffer, reading sets the bad bit.
//             Without a source or sink, reading or writing meets the end of file. An exception that the source or sink
//             lets through passes on, and nothing that was read is lost by it.
// Surprises:  CR is data. Pieces are bounded, lines are not: std::getline() into a std::string takes as many bytes as
//             the other side sends before its LF. Where that is a stranger, read with istream::getline(array, size),
//             which fails on a longer line. A piece is at most the reading area less 12 bytes and its LF: 10,229 bytes
//             by default, 5,109 where the stream also writes. Seeing the end of file right after a complete line
//             counts one more line. Ten characters, whichever, can be put back before a fresh piece, and unget() steps
//             back over the last ten that were read. The destructor does not flush.

#include "tuzutil/FILTSTRM.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>

class TUZUTIL_API TLineStreamBuf : public TFilterStreamBuf {
public:
    explicit TLineStreamBuf(std::iostream *stream);
    explicit TLineStreamBuf(std::istream *source);
    explicit TLineStreamBuf(std::ostream *sink);
    TLineStreamBuf(unsigned long bufferSize, std::iostream *stream); // at least 500, at most 1 GiB
    TLineStreamBuf(unsigned long bufferSize, std::istream *source);
    TLineStreamBuf(unsigned long bufferSize, std::ostream *sink);
    ~TLineStreamBuf() override;

    unsigned long QueryLinesRead() const noexcept { return fLinesRead; }

protected:
    TLineStreamBuf();
    explicit TLineStreamBuf(unsigned long bufferSize);

    // Attach other streams. What was read ahead or waits to be written is dropped; the lines go on being counted.
    void Init(std::iostream *stream);
    void Init(std::istream *source);
    void Init(std::ostream *sink);
    void Close(); // releases the storage and what is in it; the next read or write takes new storage

    int doallocate() override; // -1 where no memory can be had
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
    std::size_t fGathered = 0; // bytes of a piece that an exception of the source interrupted
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
