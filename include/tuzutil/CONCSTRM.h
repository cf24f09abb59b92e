#ifndef TUZUTIL_CONCSTRM_H
#define TUZUTIL_CONCSTRM_H

// TiConcatStream: reads several streams one after another, line by line, as if they were one, and can turn LF line ends
// into CR LF.
//
// Example:
//     std::istringstream header("Subject: x\n\n");
//     std::istringstream body("Hello\n");
//     TiConcatStream message(1, header, body);
//     std::ostringstream all;
//     all << message.rdbuf(); // "Subject: x\r\n" "\n" "Hello\r\n"
//
// Ownership:  the list of sources is copied, the sources are borrowed and outlive the stream.
// Threads:    one thread at a time.
// Failures:   the stream throws nothing of its own: if there is no memory for the buffer, reading sets the bad bit;
//             writing meets the end of file. An exception that a source lets through passes on.
// Surprises:  of a last line that a source does not end with LF nothing is delivered; or, if it is longer than a
//             piece, its whole pieces, with what the next source begins with right behind them. An empty line stays a
//             bare LF, a line that ends in CR LF is not doubled. SetWholeLines() delivers every line whole, with its
//             line end. A piece is at most the buffer size less 13 bytes, and its line end. Ten characters, whichever,
//             can be put back before a fresh piece, and unget() steps back over the last ten that were read. A source
//             that cannot be read is told by its bad(), and ends the whole: what it gave of its last line is
//             delivered.

#include "tuzutil/FILTSTRM.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <vector>

class TUZUTIL_API TConcatStreamBuf : public TFilterStreamBuf {
public:
    TConcatStreamBuf(int crLf, std::istream &source);
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream &source); // at least 14, at most 1 GiB
    TConcatStreamBuf(int crLf, std::istream &first, std::istream &second);
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream &first, std::istream &second);
    TConcatStreamBuf(int crLf, std::istream **sources, unsigned long count);
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream **sources, unsigned long count);
    ~TConcatStreamBuf() override;

    // Not 0: a last line that a source does not end gets its line end, and with CR LF an empty line is CR LF too.
    void SetWholeLines(int on) noexcept { fWholeLines = on != 0; }

protected:
    int doallocate() override; // -1 where no memory can be had
    int_type pbackfail(int_type c) override;

private:
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::vector<std::istream *> sources);

    bool IsWritable() const noexcept override;
    void WriteThrough(char const *bytes, std::size_t count) override;
    bool IsReadable() const noexcept override;
    TPiece ReadPiece() override;

    std::vector<std::istream *> fSources;
    std::size_t fCurrent = 0;
    std::uint32_t fBufferSize;
    std::unique_ptr<char[]> fStorage;
    bool fCrLf;
    bool fWholeLines = false;
    char fLast = '\n';         // the byte delivered last
    std::size_t fGathered = 0; // bytes of a piece that an exception of a source interrupted
};

class TUZUTIL_API TiConcatStream : public std::istream {
public:
    TiConcatStream(int crLf, std::istream &source);
    TiConcatStream(int crLf, unsigned long bufferSize, std::istream &source);
    TiConcatStream(int crLf, std::istream &first, std::istream &second);
    TiConcatStream(int crLf, unsigned long bufferSize, std::istream &first, std::istream &second);
    TiConcatStream(int crLf, std::istream **sources, unsigned long count);
    TiConcatStream(int crLf, unsigned long bufferSize, std::istream **sources, unsigned long count);
    ~TiConcatStream() override;

    TConcatStreamBuf *rdbuf() { return &fBuf; }
    void SetWholeLines(int on) noexcept { fBuf.SetWholeLines(on); }

private:
    void Start();

    TConcatStreamBuf fBuf;
};

#endif
