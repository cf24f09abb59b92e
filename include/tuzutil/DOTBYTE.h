#ifndef TUZUTIL_DOTBYTE_H
#define TUZUTIL_DOTBYTE_H

// TDotByteStream: a text body on a line-oriented mail or news connection, where a line with a single "." ends the body
// and lines that begin with "." get a second one.
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
// Threads:    One reader or writer at a time; any thread may call Cancel().
// Failures:   TDotByteError "Cancel" and TDotByteLinesException "Lines" reach the caller of this stream, see
//             TDotByteStreamBuf. A failing source or sink shows in its own state.
// Surprises:
// - Reading ends a line at CR LF only, but writing at any LF, so that "a\n.b" comes back as "a\n..b".
// - The destructor neither flushes nor ends the body. See the member functions for what they require.

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
// Line ends. Because reading takes only CR LF and writing takes any LF, no other end of the data is ever accepted or
// produced by mistake. A bare CR passes unchanged in both directions. Other programs may read it as a line end, so a
// caller that forwards a body from a stranger should replace each bare CR by CR LF. std::getline() into a std::string
// takes a line of any length: if strangers write the lines, read with a bound.
//
// End of the body. If source.good() is true at the end of the body, the body is complete; otherwise it was cut short.
// If a source ends at the start of a line and has more bytes after a clear(), they are read as if they were inside that
// line.
//
// Failures. A read after Cancel() throws TDotByteError "Cancel". If a limit of lines is set, the write or flush that
// passes on the last allowed line ends the body and then throws TDotByteLinesException "Lines"; if std::unitbuf is set
// while bytes wait, the next write throws it. If another stream does the reading or writing (out << in.rdbuf(), or a
// stream tied to this one), that stream goes bad instead. If the sink is no longer good, its fail bit is set and it
// gets no bytes.
class TUZUTIL_API TDotByteStreamBuf : public TFilterStreamBuf {
public:
    explicit TDotByteStreamBuf(std::istream &source);
    explicit TDotByteStreamBuf(std::ostream &sink);
    // Passes on the header, the first empty line and `lines` more lines, then ends the body and throws "Lines". A line
    // of less than 3 bytes counts as empty, so "x\n" does too.
    TDotByteStreamBuf(std::ostream &sink, unsigned long lines);
    explicit TDotByteStreamBuf(std::iostream &stream);
    ~TDotByteStreamBuf() override;

    // Discards everything through the end line, or to the end of the source. Returns 0.
    int ReadToTermination();
    // Writes the bytes that wait and the end line, and flushes the sink. Returns 0, or -1 if the body has already been
    // ended or if the sink failed. REQUIRES: the caller has ended the last line; otherwise ".\r\n" becomes part of it,
    // and the other side keeps waiting. The sink must not change line ends (open files with std::ios::binary).
    int WriteTermination();
    void Cancel() noexcept { fCancel.store(1); } // the next read throws

protected:
    int doallocate() override;
    pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override; // returns 0, moves nothing
    pos_type seekpos(pos_type, std::ios_base::openmode) override;                         // returns 0, moves nothing

private:
    enum class State {
        terminated,  // the end line was read or written
        atLineStart, // nothing came yet, or CR LF came last (writing: any LF)
        insideLine,  // something else came last
        afterCr      // CR came last; only reading uses this state
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
    std::uint64_t fLineLength = 0; // bytes written of the current line
    std::size_t fGathered = 0;     // bytes read of a piece before the source threw
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
