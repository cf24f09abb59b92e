#ifndef TUZUTIL_OLESTRM_H
#define TUZUTIL_OLESTRM_H

// TOleStream: reads from and writes to an object that offers the component-object interface IStream, buffered.
//
// Example:
//     void Save(IStream *storage) {
//         ToOleStream out(storage);
//         out << "Subject: x\r\n" << std::flush; // the destructor does not flush
//         unsigned long bytes = out.QueryBytesWritten(); // 12
//     }
//
// Ownership:  the buffer holds a counted reference to the IStream until it is closed or destroyed.
// Threads:    one thread at a time.
// Failures:   none thrown. A call that answers anything but 0 is traced at level "er" and met as the end of file; so
//             are short writes. What was not written goes on waiting, and the next flush tries again. An object that
//             throws (which none should) is passed on.
// Surprises:  results that the platform counts as success with information are failures here too: a last short read
//             that comes with one loses its bytes. There is no seeking: the position is the object's own and moves with
//             each read and write.

#include "tuzutil/EXPORT.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>

#if defined(_WIN32)
struct IStream; // the system's
#else
// What is needed of the interface where the system has none. Results are the component-object ones: 0 for success,
// negative for failure.
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
    TOleStreamBuf(unsigned long bufferSize, IStream *stream, Type type); // at least 2, at most 1 GiB; 10240 by default
    TOleStreamBuf(TOleStreamBuf const &) = delete;
    TOleStreamBuf &operator=(TOleStreamBuf const &) = delete;
    ~TOleStreamBuf() override;

    unsigned long QueryBytesWritten() const noexcept; // with those that wait

protected:
    explicit TOleStreamBuf(Type type); // no stream yet: the end of file
    TOleStreamBuf(unsigned long bufferSize, Type type);

    void Init(IStream *stream); // another stream, counted from 0; nothing if it is the present one. What waits
                                // to be written goes to the new one, what was read ahead is still read: flush first
    void Close();               // lets the stream go; what waits or was read ahead is dropped

    int sync() override;
    int_type overflow(int_type c) override;
    int_type underflow() override;
    virtual int doallocate(); // 0, or -1 where no memory can be had

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
