#ifndef TUZUTIL_CONCSTRM_H
#define TUZUTIL_CONCSTRM_H

// TiConcatStream: reads several streams one after another, as if they were one. The stream reads its sources line by
// line, and can turn LF line ends into CR LF.
//
// Example:
//     std::istringstream header("Subject: x\n\n");
//     std::istringstream body("Hello\n");
//     TiConcatStream message(1, header, body);
//     std::ostringstream all;
//     all << message.rdbuf(); // "Subject: x\r\n" "\n" "Hello\r\n"
//
// Ownership:  The stream copies the list of sources. The sources themselves are borrowed and must outlive the stream.
// Threads:    One thread at a time may use a stream.
// Failures:   Exceptions of DOTBYTE.h that a source throws pass through the stream. If a source throws another
//             exception, or if there is no memory for the buffer, reading sets the bad bit. Writing to the buffer
//             always fails.
// Surprises:
// - If the last line of a source does not end with LF, this line is lost, unless SetWholeLines() is on. If the line is
//   longer than a piece (see TConcatStreamBuf), only the bytes after its last full piece are lost.
// - If LF line ends become CR LF, an LF at the start of a piece still stays LF. Such an LF ends an empty line, or a
//   line that fills its pieces exactly. After SetWholeLines(1), it becomes CR LF too. A line that already ends with CR
//   LF is not changed.
// - If a source sets its bad bit without its end-of-file bit, the data end there for the whole stream. The bytes that
//   were read before are delivered.
// - At the start of a piece, up to ten characters of any value can be put back. unget() can go back over the ten
//   characters read last.
class TiConcatStream;

#include "tuzutil/FILTSTRM.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <vector>

// The buffer of TiConcatStream. It delivers a line in pieces. A piece has at most the buffer size (1024 bytes by
// default) minus 13 bytes, plus the line end.
class TUZUTIL_API TConcatStreamBuf : public TFilterStreamBuf {
public:
    // These constructors take one source, two sources, or a list of `count` pointers to sources. If `crLf` is not 0, LF
    // line ends become CR LF. A buffer size outside 14 bytes to 1 GiB becomes the nearer bound.
    TConcatStreamBuf(int crLf, std::istream &source);
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream &source);
    TConcatStreamBuf(int crLf, std::istream &first, std::istream &second);
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream &first, std::istream &second);
    TConcatStreamBuf(int crLf, std::istream **sources, unsigned long count);
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream **sources, unsigned long count);
    ~TConcatStreamBuf() override;

    // If `on` is not 0, the stream adds a line end to the last line of each source that does not end with one. If the
    // `crLf` of the constructor is not 0 either, every LF becomes CR LF, even the LF of an empty line.
    void SetWholeLines(int on) noexcept { fWholeLines = on != 0; }

protected:
    int doallocate() override;               // -1 if there is no memory
    int_type pbackfail(int_type c) override; // puts back any character, see PutBack()

private:
    TConcatStreamBuf(int crLf, unsigned long bufferSize, std::vector<std::istream *> sources);

    bool IsWritable() const noexcept override;
    void WriteThrough(char const *bytes, std::size_t count) override;
    bool IsReadable() const noexcept override;
    TPiece ReadPiece() override;
    std::size_t TakePieces(char *into, std::size_t size) override;

    std::vector<std::istream *> fSources;
    std::size_t fCurrent = 0;
    std::uint32_t fBufferSize;
    std::unique_ptr<char[]> fStorage;
    bool fCrLf;
    bool fWholeLines = false;
    char fLast = '\n';         // the last byte delivered
    std::size_t fGathered = 0; // bytes of an incomplete piece, if a source threw
};

class TUZUTIL_API TiConcatStream : public std::istream {
public:
    // These constructors take the same arguments as those of TConcatStreamBuf.
    TiConcatStream(int crLf, std::istream &source);
    TiConcatStream(int crLf, unsigned long bufferSize, std::istream &source);
    TiConcatStream(int crLf, std::istream &first, std::istream &second);
    TiConcatStream(int crLf, unsigned long bufferSize, std::istream &first, std::istream &second);
    TiConcatStream(int crLf, std::istream **sources, unsigned long count);
    TiConcatStream(int crLf, unsigned long bufferSize, std::istream **sources, unsigned long count);
    ~TiConcatStream() override;

    TConcatStreamBuf *rdbuf() { return &fBuf; }                     // the buffer of this stream
    void SetWholeLines(int on) noexcept { fBuf.SetWholeLines(on); } // see TConcatStreamBuf

private:
    void Start();

    TConcatStreamBuf fBuf;
};

#endif
