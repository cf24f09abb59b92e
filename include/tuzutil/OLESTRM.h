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
//             stream drops them and sets its bad bit, unless its exceptions() contain badbit.
// Surprises:
// - A positive result of the object, which means a special kind of success, counts as a failure here. If the object
//   returns such a result with the last bytes, these bytes are lost.
// - The stream cannot seek. It reads and writes at the position of the IStream, and reads ahead.

#include "tuzutil/EXPORT.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>

#if defined(_WIN32)
struct IStream; // declared by the system
#else
// Declares the part of the interface that the streams need, because this system has no IStream. As with all component
// objects, a result of 0 means success, and a negative result means failure.
struct IStream {
    virtual unsigned long AddRef() = 0;
    virtual unsigned long Release() = 0;
    virtual std::int32_t Read(void *bytes, unsigned long count, unsigned long *read) = 0;
    virtual std::int32_t Write(void const *bytes, unsigned long count, unsigned long *written) = 0;

protected:
    ~IStream() = default;
};
#endif

class TUZUTIL_API TOleStreamBuf : public std::streambuf {
public:
    enum Type { reading, writing, readingWriting };

    TOleStreamBuf(IStream *stream, Type type);
    // A size outside 2 bytes to 1 GiB becomes the nearer bound. The constructor without a size takes 10240 bytes.
    TOleStreamBuf(unsigned long bufferSize, IStream *stream, Type type);
    TOleStreamBuf(TOleStreamBuf const &) = delete;
    TOleStreamBuf &operator=(TOleStreamBuf const &) = delete;
    ~TOleStreamBuf() override;

    unsigned long QueryBytesWritten() const noexcept; // includes the bytes that wait in the buffer

protected:
    explicit TOleStreamBuf(Type type); // without a stream: reading and flushing fail
    TOleStreamBuf(unsigned long bufferSize, Type type);

    // Attaches `stream`, and restarts the count of bytes at 0. Does nothing if `stream` is attached already. Flush
    // before the call: bytes that still wait are written to the new stream. Bytes that were read ahead from the old
    // stream are still delivered.
    void Init(IStream *stream);
    void Close(); // releases the stream, and discards the bytes that wait or were read ahead

    int sync() override;
    int_type overflow(int_type c) override;
    int_type underflow() override;
    virtual int doallocate(); // 0, or -1 if there is no memory

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
    explicit TOleStream(IStream *stream);
    TOleStream(unsigned long bufferSize, IStream *stream);
    ~TOleStream() override;

    TOleStreamBuf *rdbuf() { return &fBuf; }
    unsigned long QueryBytesWritten() const noexcept { return fBuf.QueryBytesWritten(); }

private:
    TOleStreamBuf fBuf;
};

class TUZUTIL_API TiOleStream : public std::istream {
public:
    explicit TiOleStream(IStream *stream);
    TiOleStream(unsigned long bufferSize, IStream *stream);
    ~TiOleStream() override;

    TOleStreamBuf *rdbuf() { return &fBuf; }

private:
    TOleStreamBuf fBuf;
};

class TUZUTIL_API ToOleStream : public std::ostream {
public:
    explicit ToOleStream(IStream *stream);
    ToOleStream(unsigned long bufferSize, IStream *stream);
    ~ToOleStream() override;

    TOleStreamBuf *rdbuf() { return &fBuf; }
    unsigned long QueryBytesWritten() const noexcept { return fBuf.QueryBytesWritten(); }

private:
    TOleStreamBuf fBuf;
};

#endif
