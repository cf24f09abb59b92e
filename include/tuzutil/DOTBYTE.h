#ifndef TUZUTIL_DOTBYTE_H
#define TUZUTIL_DOTBYTE_H

// TDotByteStream: reads and writes the body of a message on a mail or news connection. A line "." ends the body. A line
// of the body that begins with "." is sent with a second "." in front.
//
// Example:
//     std::ostringstream connection;
//     ToDotByteStream out(connection);
//     out << "a\r\n.b\r\n";
//     out.WriteTermination();       // the connection has "a\r\n..b\r\n.\r\n"
//     std::istringstream answer("a\r\n..b\r\n.\r\nX");
//     TiDotByteStream in(answer);
//     std::string line;
//     while (std::getline(in, line)) // "a\r", ".b\r"
//         std::cout << line << '\n';
//     char next = static_cast<char>(answer.get()); // 'X'
//
// Ownership:  Source and sink are borrowed and must outlive the stream.
// Threads:    One thread at a time may read or write. Any thread may call Cancel().
// Failures:   TDotByteError "Cancel" and TDotByteLinesException "Lines" pass through the stream to the caller, see
//             TDotByteStreamBuf. If the source or sink fails, its own state bits are set.
// Surprises:
// - When reading, only CR LF ends a line; when writing, any LF does. Therefore "a\n.b" is written, and read back, as
//   "a\n..b".
// - The destructor neither flushes the stream nor ends the body. Call WriteTermination() before.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/FILTSTRM.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>

TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TDotByteError, TAccessError);
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TDotByteLinesException, TException);

// The buffer of the dot-byte streams.
//
// Line ends. Reading accepts only CR LF as a line end, so no other bytes are taken for the end of the body by mistake.
// Writing doubles a dot after any LF, so the bytes of a body never look like its end. A bare CR passes unchanged in
// both directions. Other programs may take it for a line end: a program that forwards a body from a stranger should
// replace each bare CR by CR LF. std::getline() into a std::string accepts a line of any length. If strangers write the
// lines, use a function that limits the length.
//
// End of the body. If source.good() is true when reading ends, the body is complete; otherwise it was cut short. If a
// source ends at the start of a line and delivers more bytes after a clear(), these bytes count as being inside a line.
//
// Failures. A read after Cancel() throws TDotByteError "Cancel". If the number of lines is limited, the write or flush
// that passes on the last allowed line ends the body and then throws TDotByteLinesException "Lines". If std::unitbuf
// was set while bytes were waiting in the buffer, a flush does not throw; the next write throws instead. If another
// stream runs the operation (out << in.rdbuf(), or a stream that is tied to this one), that other stream sets its bad
// bit instead. If the sink is not good(), nothing is written to it, and its fail bit is set.
class TUZUTIL_API TDotByteStreamBuf : public TFilterStreamBuf {
public:
    explicit TDotByteStreamBuf(std::istream &source);
    explicit TDotByteStreamBuf(std::ostream &sink);
    // Passes on the header, the first empty line and `lines` more lines, then ends the body and throws "Lines". A line
    // of less than 3 bytes, including its line end, counts as empty. For example, "x\n" does.
    TDotByteStreamBuf(std::ostream &sink, unsigned long lines);
    explicit TDotByteStreamBuf(std::iostream &stream);
    ~TDotByteStreamBuf() override;

    // Discards all bytes up to the end of the body, including the line ".". Stops if the source ends. Returns 0.
    int ReadToTermination();
    // Writes the waiting bytes and the line ".", and flushes the sink. Returns 0, or -1 if the body has already been
    // ended or the sink has failed. REQUIRES: the body is empty or ends with a line end; otherwise the "." becomes part
    // of its last line, and the other side keeps waiting. The sink does not change line ends: open files with
    // std::ios::binary.
    int WriteTermination();
    void Cancel() noexcept { fCancel.store(1); } // the next read throws

protected:
    int doallocate() override;
    pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override; // returns 0, moves nothing
    pos_type seekpos(pos_type, std::ios_base::openmode) override;                         // returns 0, moves nothing

private:
    enum class State {
        terminated,  // the line "." was read or written
        atLineStart, // at the first byte, or after CR LF; when writing, after any LF
        insideLine,  // after any other byte
        afterCr      // after a CR; only when reading
    };

    TDotByteStreamBuf(std::istream *source, std::ostream *sink, std::uint32_t size);

    bool IsWritable() const noexcept override;
    void WriteThrough(char const *bytes, std::size_t count) override;
    bool IsReadable() const noexcept override;
    void BeforeRead() override;
    TPiece ReadPiece() override;

    char const *EndOfRun(char const *from, char const *end) const noexcept;
    void CheckStop();
    [[noreturn]] void Stop(std::uint32_t sourceLine);
    void EndBody();
    std::uint32_t ReadAreaSize() const noexcept;

    std::istream *fSource;
    std::ostream *fSink;
    std::uint32_t fSize;
    std::unique_ptr<char[]> fBuffer;
    std::atomic<int> fCancel{0};
    State fReadState = State::atLineStart;
    State fWriteState = State::atLineStart;
    bool fLinesLimited = false;
    bool fInBody = false; // an empty line was written
    std::uint32_t fLinesLeft = 0;
    std::uint64_t fLineLength = 0; // bytes of the current line that were written
    std::size_t fGathered = 0;     // bytes of an incomplete piece, if the source threw
};

class TUZUTIL_API TDotByteStream : public std::iostream {
public:
    explicit TDotByteStream(std::iostream &stream);
    ~TDotByteStream() override;

    TDotByteStreamBuf *rdbuf() { return &fBuf; }
    int ReadToTermination() { return fBuf.ReadToTermination(); }
    int WriteTermination() { return fBuf.WriteTermination(); }
    void Cancel() noexcept { fBuf.Cancel(); }

private:
    TDotByteStreamBuf fBuf;
};

class TUZUTIL_API TiDotByteStream : public std::istream {
public:
    explicit TiDotByteStream(std::istream &source);
    ~TiDotByteStream() override;

    TDotByteStreamBuf *rdbuf() { return &fBuf; }
    int ReadToTermination() { return fBuf.ReadToTermination(); }
    void Cancel() noexcept { fBuf.Cancel(); }

private:
    TDotByteStreamBuf fBuf;
};

class TUZUTIL_API ToDotByteStream : public std::ostream {
public:
    explicit ToDotByteStream(std::ostream &sink);
    ToDotByteStream(std::ostream &sink, unsigned long lines);
    ~ToDotByteStream() override;

    TDotByteStreamBuf *rdbuf() { return &fBuf; }
    int WriteTermination() { return fBuf.WriteTermination(); }
    void Cancel() noexcept { fBuf.Cancel(); }

private:
    TDotByteStreamBuf fBuf;
};

#endif
