#ifndef TUZUTIL_OLESTRM_H
#define TUZUTIL_OLESTRM_H

// TOleStream: a buffered stream that reads from or writes to an object with the component-object interface IStream.
//
// Example:
//     void Save(IStream *storage) {
//         ToOleStream out(storage);
//         out << "Subject: x\r\n" << std::flush; // the destructor does not flush
//         unsigned long bytes = out.QueryBytesWritten(); // 12
//     }
//
// Ownership:  The buffer holds a counted reference to the IStream until the buffer is closed or destroyed.
// Threads:    One thread at a time may use a stream.
// Failures:   The stream itself throws nothing. If a call of the object returns anything but 0, the result is traced at
//             level "er". Reading then ends as at the end of file, and writing sets the bad bit. If the object takes
//             fewer bytes than were passed to Write(), writing also sets the bad bit, but nothing is traced. The other
//             bytes keep waiting, and the next flush tries again. Exceptions of the object pass through the buffer. The
//             stream drops them and sets its bad bit, unless its exceptions() contain badbit. The destructor drops an
//             exception of Release().
// Surprises:
// - A positive result of the object, which means a special kind of success, counts as a failure here. If the object
//   returns such a result with the last bytes, these bytes are lost.
// - The stream cannot seek. It reads and writes at the position of the IStream, and reads ahead.
class TOleStream;

#include "tuzutil/EXPORT.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>

#if defined(_WIN32)
struct IStream; // declared by the system
#else
// The part of the interface IStream that the streams need. It is declared here because this system has no IStream. As
// with all component objects, a result of 0 means success, and a negative result means failure.
struct IStream {
    // These functions add and release a reference, and return the new count.
    virtual unsigned long AddRef() = 0;
    virtual unsigned long Release() = 0;
    // These functions read and write at most `count` bytes, and store how many they moved.
    virtual std::int32_t Read(void *bytes, unsigned long count, unsigned long *read) = 0;
    virtual std::int32_t Write(void const *bytes, unsigned long count, unsigned long *written) = 0;

protected:
    ~IStream() = default;
};
#endif

// The buffer of the streams of this header. It passes bytes on to an IStream, and reads them from it.
class TUZUTIL_API TOleStreamBuf : public std::streambuf {
public:
    // What a buffer is for. With readingWriting, each direction has half of the buffer.
    enum Type { reading, writing, readingWriting };

    // These constructors add a reference to the IStream, which may be null. A buffer size outside 2 bytes to 1 GiB
    // becomes the nearer bound. Without a size, the buffer has 10240 bytes.
    TOleStreamBuf(IStream *stream, Type type);
    TOleStreamBuf(unsigned long bufferSize, IStream *stream, Type type);
    TOleStreamBuf(TOleStreamBuf const &) = delete;
    TOleStreamBuf &operator=(TOleStreamBuf const &) = delete;
    ~TOleStreamBuf() override;

    unsigned long QueryBytesWritten() const noexcept; // includes the bytes that wait in the buffer

protected:
    // These constructors attach no IStream. Until Init() is called, reading and flushing fail.
    explicit TOleStreamBuf(Type type);
    TOleStreamBuf(unsigned long bufferSize, Type type);

    // Attaches `stream`, and restarts the count of bytes at 0. Does nothing if `stream` is attached already. Flush
    // before the call: bytes that still wait are written to the new stream. Bytes that were read ahead from the old
    // stream are still delivered.
    void Init(IStream *stream);
    void Close(); // releases the stream, and discards the bytes that wait or were read ahead

    int sync() override;                    // 0, or -1 if bytes still wait
    int_type overflow(int_type c) override; // passes the waiting bytes on
    int_type underflow() override;          // reads as many bytes as the buffer has room for
    virtual int doallocate();               // 0, or -1 if there is no memory

private:
    bool WritePending();

    IStream *fStream = nullptr;
    Type fType;
    std::uint32_t fBufferSize;
    std::unique_ptr<char[]> fBuffer;
    std::uint32_t fBytesWritten = 0;
};

class TUZUTIL_API TOleStream : public std::iostream {
public:
    // These constructors take the same arguments as those of TOleStreamBuf.
    explicit TOleStream(IStream *stream);
    TOleStream(unsigned long bufferSize, IStream *stream);
    ~TOleStream() override;

    TOleStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream
    // Does the same as TOleStreamBuf::QueryBytesWritten().
    unsigned long QueryBytesWritten() const noexcept { return fBuf.QueryBytesWritten(); }

private:
    TOleStreamBuf fBuf;
};

// An istream that reads from an IStream, through a TOleStreamBuf.
class TUZUTIL_API TiOleStream : public std::istream {
public:
    // These constructors take the same arguments as those of TOleStreamBuf.
    explicit TiOleStream(IStream *stream);
    TiOleStream(unsigned long bufferSize, IStream *stream);
    ~TiOleStream() override;

    TOleStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream

private:
    TOleStreamBuf fBuf;
};

// An ostream that writes to an IStream, through a TOleStreamBuf.
class TUZUTIL_API ToOleStream : public std::ostream {
public:
    // These constructors take the same arguments as those of TOleStreamBuf.
    explicit ToOleStream(IStream *stream);
    ToOleStream(unsigned long bufferSize, IStream *stream);
    ~ToOleStream() override;

    TOleStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream
    // Does the same as TOleStreamBuf::QueryBytesWritten().
    unsigned long QueryBytesWritten() const noexcept { return fBuf.QueryBytesWritten(); }

private:
    TOleStreamBuf fBuf;
};

#endif
