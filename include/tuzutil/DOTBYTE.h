#ifndef TUZUTIL_DOTBYTE_H
#define TUZUTIL_DOTBYTE_H

// TDotByteStream: reads and writes the body of a message on a mail or news connection. A line "." (the end line) ends
// the body. A line of the body that begins with "." is sent with a second "." in front.
//
// Example:
//     std::ostringstream connection;
//     ToDotByteStream out(connection);
//     out << "a\r\n.b";
//     out.EndBody();                // the connection has "a\r\n..b\r\n.\r\n"
//     std::istringstream answer("a\r\n..b\r\n.\r\nX");
//     TiDotByteStream in(answer);
//     TiLineStream lines(&in);
//     std::string line;
//     while (lines.ReadLine(line, 998) != TLineRead::end) // "a", ".b"
//         std::cout << line << '\n';
//     bool isWhole = in.IsTerminated();            // true: the connection was not lost before the end line
//     char next = static_cast<char>(answer.get()); // 'X'
//
// Ownership:  Source and sink are borrowed and must outlive the stream.
// Threads:    One thread at a time may read or write. Any thread may call Cancel().
// Failures:   TDotByteError "Cancel" and TDotByteLinesException "Lines" pass through the stream to the caller, see
//             TDotByteStreamBuf. A source or sink that fails sets its own state bits.
// Surprises:
// - Reading ends a line only at CR LF, but writing ends it at any LF. So "a\n.b" is written and read back as "a\n..b".
// - A bare CR passes unchanged, but some programs take it for a line end. A relay must replace it, as UseCrLf() does.
// - The destructor neither flushes nor ends the body. A build without NDEBUG traces a loss of bytes at level "wa".
class TDotByteStream;

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/FILTSTRM.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>

// A read throws this exception after Cancel(). Its text is "Cancel".
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TDotByteError, TAccessError);
// A write or flush throws this exception after it has passed on the last allowed line. Its text is "Lines".
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TDotByteLinesException, TException);

// The buffer of the dot-byte streams.
//
// Line ends. Reading accepts only CR LF as a line end, so no other bytes are taken for the end of the body by mistake.
// Writing doubles a dot after any LF, so the bytes of a body never look like its end. Reading passes a bare CR or LF on
// unchanged, and so does writing unless UseCrLf() was called. Other programs may take a bare CR for a line end, and
// then see an end line that this class does not see. A relay that forwards a body from a stranger must therefore write
// the body with UseCrLf(), or refuse the body if SawBareCarriageReturn() or SawBareLineFeed() returns true.
// std::getline() into a std::string accepts a line of any length. If strangers write the lines, read them through a
// TiLineStream.
//
// End of the body. If IsTerminated() is true when reading ends, the body is complete. Otherwise the body was cut short.
// A source may end at the start of a line, and deliver more bytes after its clear() was called. This class takes such
// bytes for the rest of a line, so a dot at their beginning is an ordinary character.
//
// Failures. After Cancel(), the next read that needs more bytes than the buffer has throws TDotByteError "Cancel". If
// the number of lines is limited, the write or flush that passes on the last allowed line ends the body and then throws
// TDotByteLinesException "Lines". If std::unitbuf is set while bytes wait in the buffer, a flush does not throw this
// exception; the next write throws it. Another stream may call this buffer, as in out << in.rdbuf(), or because this
// buffer's stream is tied to the other one. Then the other stream sets its bad bit instead of passing the exception on.
// If the sink is not good(), nothing is written to the sink, and the fail bit of the sink is set. If there is no memory
// for the buffer, reading and writing fail.
class TUZUTIL_API TDotByteStreamBuf : public TFilterStreamBuf {
public:
    // These constructors take the source, the sink, or a stream that is both.
    explicit TDotByteStreamBuf(std::istream &source);
    explicit TDotByteStreamBuf(std::ostream &sink);
    // Passes on the header, the first empty line and `lines` more lines. Then ends the body and throws "Lines". A line
    // of less than 3 bytes, including its line end, counts as empty: for example, the line "x\n".
    TDotByteStreamBuf(std::ostream &sink, unsigned long lines);
    explicit TDotByteStreamBuf(std::iostream &stream);
    ~TDotByteStreamBuf() override;

    // Discards all bytes up to the end of the body, including the line ".". Stops if the source ends. Returns 0.
    int ReadToTermination();
    // Returns whether the line "." was read. If not, and reading has ended, the body was cut short.
    bool IsTerminated() const noexcept { return fReadState == State::terminated; }
    // These functions return whether the bytes read from the source so far contain an LF without a CR before it, or a
    // CR without an LF after it. The source is read ahead. Call these functions after reading has ended, so that the
    // result is about the whole body. If a body was cut short after a CR, this CR is not reported.
    bool SawBareLineFeed() const noexcept { return fHasBareLineFeed; }
    bool SawBareCarriageReturn() const noexcept { return fHasBareReturn; }
    // Writes the waiting bytes and the line ".", and flushes the sink. Returns 0, or -1 if there is no sink, the body
    // has already been ended, the sink has failed, or there is no memory for the buffer. REQUIRES: the body is empty or
    // ends with a line end; otherwise the "." becomes part of its last line, and the other side keeps waiting.
    // REQUIRES: the sink does not change line ends, so open files with std::ios::binary.
    int WriteTermination();
    // If the last line is unfinished, ends it with CR LF, or with LF if its last byte is CR. Then does the same as
    // WriteTermination(). A limit of lines counts this line too, and may throw "Lines".
    int EndBody();
    // From now on, each LF, CR or CR LF that is written ends a line, and is sent as CR LF. REQUIRES: nothing was
    // written before.
    void UseCrLf() noexcept { fUsesCrLf = true; }

    void Cancel() noexcept { fCancel.store(1); } // the next read that needs more bytes throws "Cancel"

protected:
    int doallocate() override;
    pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override; // returns 0, moves nothing
    pos_type seekpos(pos_type, std::ios_base::openmode) override;                         // returns 0, moves nothing

private:
    enum class State {
        terminated,  // the line "." was read or written
        atLineStart, // before the first byte, or after CR LF; when writing, after any LF
        insideLine,  // after any other byte
        afterCr      // after a CR
    };

    TDotByteStreamBuf(std::istream *source, std::ostream *sink, std::uint32_t size);

    bool IsWritable() const noexcept override;
    void WriteThrough(char const *bytes, std::size_t count) override;
    bool IsReadable() const noexcept override;
    void BeforeRead() override;
    TPiece ReadPiece() override;
    std::size_t TakePieces(char *into, std::size_t size) override;

    char const *EndOfDotless(char const *from, char const *begin, char const *end) noexcept;
    static State StateAfter(char written) noexcept;
    void WriteLines(char const *bytes, std::size_t count);
    void WriteWithCrLf(char const *bytes, std::size_t count);
    char const *EndOfRun(char const *from, char const *end, std::uint32_t &lines) const noexcept;
    void CheckStop(std::uint32_t lines);
    [[noreturn]] void Stop(std::uint32_t sourceLine);
    void WriteEndLine();
    std::uint32_t ReadAreaSize() const noexcept;

    std::istream *fSource;
    std::ostream *fSink;
    std::uint32_t fSize;
    std::unique_ptr<char[]> fBuffer;
    std::atomic<int> fCancel{0};
    State fReadState = State::atLineStart;
    State fWriteState = State::atLineStart;
    bool fLinesLimited = false;
    bool fInBody = false; // whether lines are limited, and the empty line after the header was written
    std::uint32_t fLinesLeft = 0;
    std::uint64_t fLineLength = 0; // bytes of the current line of the header that were written
    std::size_t fGathered = 0;     // bytes of an incomplete piece, if the source threw
    bool fHasBareLineFeed = false;
    bool fHasBareReturn = false;
    bool fUsesCrLf = false;
    bool fSkipsLineFeed = false; // the last byte was a CR and was sent as CR LF, so an LF now sends nothing
};

class TUZUTIL_API TDotByteStream : public std::iostream {
public:
    explicit TDotByteStream(std::iostream &stream); // source and sink
    ~TDotByteStream() override;

    // These functions give access to the buffer of this stream, see TDotByteStreamBuf.
    TDotByteStreamBuf *rdbuf() { return &fBuf; }
    int ReadToTermination() { return fBuf.ReadToTermination(); }
    bool IsTerminated() const noexcept { return fBuf.IsTerminated(); }
    bool SawBareLineFeed() const noexcept { return fBuf.SawBareLineFeed(); }
    bool SawBareCarriageReturn() const noexcept { return fBuf.SawBareCarriageReturn(); }
    int WriteTermination() { return fBuf.WriteTermination(); }
    int EndBody() { return fBuf.EndBody(); }
    void UseCrLf() noexcept { fBuf.UseCrLf(); }
    void Cancel() noexcept { fBuf.Cancel(); }

private:
    TDotByteStreamBuf fBuf;
};

// An istream that reads the body of a message, through a TDotByteStreamBuf.
class TUZUTIL_API TiDotByteStream : public std::istream {
public:
    explicit TiDotByteStream(std::istream &source); // exceptions of DOTBYTE.h pass through this stream
    ~TiDotByteStream() override;

    // These functions give access to the buffer of this stream, see TDotByteStreamBuf.
    TDotByteStreamBuf *rdbuf() { return &fBuf; }
    int ReadToTermination() { return fBuf.ReadToTermination(); }
    bool IsTerminated() const noexcept { return fBuf.IsTerminated(); }
    bool SawBareLineFeed() const noexcept { return fBuf.SawBareLineFeed(); }
    bool SawBareCarriageReturn() const noexcept { return fBuf.SawBareCarriageReturn(); }
    void Cancel() noexcept { fBuf.Cancel(); }

private:
    TDotByteStreamBuf fBuf;
};

// An ostream that writes the body of a message, through a TDotByteStreamBuf.
class TUZUTIL_API ToDotByteStream : public std::ostream {
public:
    // These constructors take the same arguments as those of TDotByteStreamBuf.
    explicit ToDotByteStream(std::ostream &sink);
    ToDotByteStream(std::ostream &sink, unsigned long lines);
    ~ToDotByteStream() override;

    // These functions give access to the buffer of this stream, see TDotByteStreamBuf.
    TDotByteStreamBuf *rdbuf() { return &fBuf; }
    int WriteTermination() { return fBuf.WriteTermination(); }
    int EndBody() { return fBuf.EndBody(); }
    void UseCrLf() noexcept { fBuf.UseCrLf(); }
    void Cancel() noexcept { fBuf.Cancel(); }

private:
    TDotByteStreamBuf fBuf;
};

#endif
