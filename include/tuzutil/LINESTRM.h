#ifndef TUZUTIL_LINESTRM_H
#define TUZUTIL_LINESTRM_H

// TLineStream: reads another stream line by line, in pieces of limited size, and counts the lines. Written bytes are
// buffered and passed on unchanged.
//
// Example:
//     std::istringstream connection("USER joe\r\nPASS secret\r\n");
//     TiLineStream commands(&connection);
//     std::string line;
//     TLineRead read = commands.ReadLine(line, 512); // TLineRead::line, "USER joe"; the connection's next byte is 'P'
//     unsigned long n = commands.QueryLinesRead();   // 1
//
// Ownership:  Source and sink are borrowed and must outlive the stream.
// Threads:    One thread at a time may use a stream.
// Failures:   The stream itself throws nothing. If there is no memory for the buffer, reading sets the bad bit. Reading
//             without a source ends at once, and writing without a sink fails. Exceptions of DOTBYTE.h that the source
//             or sink throws pass through the stream. Bytes that were read before such an exception are not lost.
// Surprises:
// - Only LF ends a line. CR is an ordinary character, except to ReadLine().
// - The size of a piece is limited, but not the length of a line. std::getline() into a std::string takes as many bytes
//   as the other side sends before its LF. Read lines from strangers with ReadLine(), whose limit bounds the memory.
// - If the data end after a complete line, the attempt to read on counts one more line.
// - At the start of a piece, up to ten characters of any value can be put back. unget() can go back over the ten
//   characters read last.
// - The destructor does not flush. A build without NDEBUG traces a loss of bytes at level "wa".
class TLineStream;

#include "tuzutil/FILTSTRM.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

// The outcome of ReadLine(). Unless the outcome is `end`, ReadLine() took one whole line from the source, with its line
// end.
enum class TLineRead {
    line,               // CR LF ended the line
    tooLong,            // the line is longer than the limit; the bytes beyond the limit were skipped
    bareLineFeed,       // an LF without a CR before it ended the line
    bareCarriageReturn, // the line has a CR that no LF follows; this CR is part of the text
    end                 // the source ended, or failed, before the line ended
};

// The buffer of the line streams. The buffer size is 10,240 bytes by default. A size outside 500 bytes to 1 GiB becomes
// the nearer bound. The reading area is the whole buffer, or half of it if the stream also writes. A piece with its LF
// has at most the size of the reading area minus 11 bytes.
class TUZUTIL_API TLineStreamBuf : public TFilterStreamBuf {
public:
    // These constructors take the source, the sink, or a stream that is both. The pointer may be null.
    explicit TLineStreamBuf(std::iostream *stream);
    explicit TLineStreamBuf(std::istream *source);
    explicit TLineStreamBuf(std::ostream *sink);
    TLineStreamBuf(unsigned long bufferSize, std::iostream *stream);
    TLineStreamBuf(unsigned long bufferSize, std::istream *source);
    TLineStreamBuf(unsigned long bufferSize, std::ostream *sink);
    ~TLineStreamBuf() override;

    // Returns how many lines were begun. The line that is being read counts too.
    unsigned long QueryLinesRead() const noexcept { return fLinesRead; }

    // Stores the next line, without its CR LF or LF, in `line`. If the next line is longer than `limit` bytes, stores
    // only its first `limit` bytes. `tooLong` takes precedence over `bareCarriageReturn`, and `bareCarriageReturn` over
    // `bareLineFeed`. After `end`, `line` holds the beginning of the unfinished line, of at most `limit` bytes. Do not
    // call ReadLine() again after `end`, even if the source delivers more: the rest of the line would count as a whole
    // line. The time is linear in the bytes read. If the string has a capacity of `limit` bytes before the call, the
    // string keeps its memory. Then no copy of a secret is left behind in memory that the string has released.
    [[nodiscard]] TLineRead ReadLine(std::string &line, std::size_t limit);

protected:
    // These constructors attach no stream: call Init() before reading or writing.
    TLineStreamBuf();
    explicit TLineStreamBuf(unsigned long bufferSize);

    // These functions attach another stream. They discard bytes that were read ahead or wait to be written. The count
    // of lines continues.
    void Init(std::iostream *stream);
    void Init(std::istream *source);
    void Init(std::ostream *sink);

    void Close(); // releases the storage with its content; the next read or write allocates it again

    int doallocate() override;               // -1 if there is no memory
    int_type pbackfail(int_type c) override; // puts back any character, see PutBack()

private:
    friend class TLineStream;
    friend class TiLineStream;

    // Appends bytes to a line. Append() is compiled into the caller's code. Therefore only the caller's code changes
    // the std::string.
    using TAppend = void (*)(void *line, char const *bytes, std::size_t count);
    static void Append(void *line, char const *bytes, std::size_t count);

    TLineRead TakeLine(TAppend append, void *line, std::size_t limit);
    TLineRead TakeLine(std::istream &stream, TAppend append, void *line, std::size_t limit); // sets state bits
    TLineRead TakeLine(std::istream &stream, std::string &line, std::size_t limit);

    bool IsWritable() const noexcept override;
    void WriteThrough(char const *bytes, std::size_t count) override;
    bool IsReadable() const noexcept override;
    TPiece ReadPiece() override;
    std::size_t TakePieces(char *into, std::size_t size) override;
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

inline void TLineStreamBuf::Append(void *line, char const *bytes, std::size_t count) {
    static_cast<std::string *>(line)->append(bytes, count);
}

inline TLineRead TLineStreamBuf::ReadLine(std::string &line, std::size_t limit) {
    line.clear();
    return TakeLine(&Append, &line, limit);
}

inline TLineRead TLineStreamBuf::TakeLine(std::istream &stream, std::string &line, std::size_t limit) {
    line.clear();
    return TakeLine(stream, &Append, &line, limit);
}

class TUZUTIL_API TLineStream : public std::iostream {
public:
    // These constructors take the same arguments as those of TLineStreamBuf.
    explicit TLineStream(std::iostream *stream);
    TLineStream(unsigned long bufferSize, std::iostream *stream);
    ~TLineStream() override;

    TLineStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream
    // Does the same as TLineStreamBuf::QueryLinesRead().
    unsigned long QueryLinesRead() const noexcept { return fBuf.QueryLinesRead(); }
    // Does the same as TLineStreamBuf::ReadLine(). After `end`, eofbit and failbit are set, or badbit if reading threw
    // an exception. The other outcomes set no bit. gcount() is not changed.
    [[nodiscard]] TLineRead ReadLine(std::string &line, std::size_t limit) { return fBuf.TakeLine(*this, line, limit); }

private:
    TLineStreamBuf fBuf;
};

// An istream that reads lines, through a TLineStreamBuf.
class TUZUTIL_API TiLineStream : public std::istream {
public:
    // These constructors take the same arguments as those of TLineStreamBuf.
    explicit TiLineStream(std::istream *source);
    TiLineStream(unsigned long bufferSize, std::istream *source);
    ~TiLineStream() override;

    TLineStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream
    // Does the same as TLineStreamBuf::QueryLinesRead().
    unsigned long QueryLinesRead() const noexcept { return fBuf.QueryLinesRead(); }
    // Does the same as TLineStream::ReadLine().
    [[nodiscard]] TLineRead ReadLine(std::string &line, std::size_t limit) { return fBuf.TakeLine(*this, line, limit); }

private:
    TLineStreamBuf fBuf;
};

// An ostream that buffers bytes and passes them on unchanged, through a TLineStreamBuf.
class TUZUTIL_API ToLineStream : public std::ostream {
public:
    // These constructors take the same arguments as those of TLineStreamBuf.
    explicit ToLineStream(std::ostream *sink);
    ToLineStream(unsigned long bufferSize, std::ostream *sink);
    ~ToLineStream() override;

    TLineStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream

private:
    TLineStreamBuf fBuf;
};

#endif
