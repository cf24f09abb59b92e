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
//
//     std::istringstream answer("a\r\n..b\r\n.\r\nX");
//     TiDotByteStream in(answer);
//     std::string line;
//     while (std::getline(in, line)) // "a\r", ".b\r"
//         std::cout << line << '\n';
//     char next = static_cast<char>(answer.get()); // 'X'
//
// Ownership:  source and sink are borrowed and outlive the stream.
// Threads:    one reader or writer at a time; Cancel() from any thread.
// Failures:   TDotByteError "Cancel" from the next read after Cancel(); TDotByteLinesException "Lines" from the write
//             or flush that passes the last allowed line on, after the end line was sent. Both reach the caller of
//             this stream with their own type; where another stream does the reading or writing (out << in.rdbuf(), a
//             stream that is tied to this one) it is that stream which goes bad. A failing source or sink shows in
//             its own state; one that is no longer good gets the fail bit instead of bytes.
// Surprises:  reading ends a line at CR LF only, writing at any LF, so that no other end-of-data is ever taken or made
//             by mistake: "a\n.b" comes back as "a\n..b". A bare CR passes both ways as it is; a caller whose bodies
//             are not its own makes line ends of it, for others may take it for one. At the end of a body that was
//             whole, source.good() is true; false: the body was cut, with whatever was read of it. WriteTermination()
//             after an unfinished line makes ".\r\n" part of that line, and the other side waits on: the caller ends
//             the last line, and gives a sink that changes no line ends (std::ios::binary). std::getline() into a
//             std::string takes a line of any length: where others write them, read with a bound. The destructor
//             neither flushes nor ends the body. An empty line for the lines limit is one below 3 bytes: "x\n" also
//             counts. A source that ended at the start of a line, and goes on after a clear(), goes on inside that
//             line. With std::unitbuf set while bytes wait, "Lines" comes with the next write.

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

class TUZUTIL_API TDotByteStreamBuf : public TFilterStreamBuf {
public:
    explicit TDotByteStreamBuf(std::istream &source);
    explicit TDotByteStreamBuf(std::ostream &sink);
    // Stops after the header, the first empty line and that many lines more: ends the body and throws.
    TDotByteStreamBuf(std::ostream &sink, unsigned long lines);
    explicit TDotByteStreamBuf(std::iostream &stream);
    ~TDotByteStreamBuf() override;

    int ReadToTermination(); // drops everything up to and with the end line, or up to the end of the source; 0
    // Writes what waits and the end line, and flushes the sink. 0, or -1 if the body was ended before or the sink
    // failed.
    int WriteTermination();
    void Cancel() noexcept { fCancel.store(1); } // the next read throws

protected:
    int doallocate() override;
    pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override; // 0; nothing moves
    pos_type seekpos(pos_type, std::ios_base::openmode) override;                         // 0; nothing moves

private:
    enum class State {
        terminated,  // the end line was read or written
        atLineStart, // seen: nothing, or CR LF; LF alone is enough on the writing side
        insideLine,  // seen: something else
        afterCr      // seen: CR last; reading only, as for writing any LF ends the line
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
    std::uint64_t fLineLength = 0; // bytes written of the line under way
    std::size_t fGathered = 0;     // bytes of a piece that an exception of the source interrupted
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
