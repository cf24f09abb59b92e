#ifndef TUZUTIL_MEMSTRM_H
#define TUZUTIL_MEMSTRM_H

// TMemStream: keeps what is written to it in a chain of memory blocks that grows without copying, to be read back,
// sought in, and written to another stream in one call.
//
// Example:
//     TMemStream message;
//     message << "Subject: x\r\n\r\nHello\r\n" << std::flush;
//     std::string first;
//     std::getline(message, first);                         // "Subject: x\r": reading begins at the start
//     std::ostringstream copy;
//     unsigned long bytes = message.rdbuf()->WriteTo(copy); // 21
//
// Ownership:  the stream owns its buffer, the buffer its blocks, a block those behind it.
// Threads:    one thread at a time.
// Failures:   none thrown. Where no memory can be had, writing meets the end of file; what was written before stays.
// Surprises:  reading and writing have positions of their own; writing in the middle replaces bytes and cuts nothing
//             off. QueryUsed() of the last block lags behind until the next flush. Successful writes of single bytes
//             are answered by 0. A negative offset does not go back: it goes forward from the start, to the starting
//             point plus its amount. An offset relative to the current position of the put side alone counts from the
//             block that is read, and from 0 where nothing has been read: tellp() then moves the next write to the
//             start. Positions beyond the end become the end.

#include "tuzutil/EXPORT.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>

// One block. `data` holds `alloc size` bytes, of which the first `used` count.
class TUZUTIL_API TMemStreamBuffer {
public:
    explicit TMemStreamBuffer(unsigned long allocSize); // throws std::bad_alloc, also beyond 32 bits
    TMemStreamBuffer(TMemStreamBuffer const &) = delete;
    TMemStreamBuffer &operator=(TMemStreamBuffer const &) = delete;
    ~TMemStreamBuffer(); // of the whole chain from here on

    unsigned long QueryAllocSize() const noexcept { return fAllocSize; }
    unsigned long QueryUsed() const noexcept { return fUsed; }
    char const *QueryData() const noexcept { return fData.get(); }
    TMemStreamBuffer *QueryNext() const noexcept { return fNext; }
    void SetNext(TMemStreamBuffer *next) noexcept; // destroys what followed

private:
    friend class TMemStreamBuf;

    std::uint32_t fAllocSize;
    std::uint32_t fUsed = 0;
    std::unique_ptr<char[]> fData;
    TMemStreamBuffer *fNext = nullptr;
};

class TUZUTIL_API TMemStreamBuf : public std::streambuf {
public:
    TMemStreamBuf();
    TMemStreamBuf(TMemStreamBuf const &) = delete;
    TMemStreamBuf &operator=(TMemStreamBuf const &) = delete;
    explicit TMemStreamBuf(unsigned long blockSize); // at least 1, at most 1 GiB; 10000 by default
    ~TMemStreamBuf() override;

    TMemStreamBuffer *QueryFirstBuffer() const noexcept { return fFirst; } // null while nothing was written

    // Writes everything to another stream, wherever reading stands. The bytes written, at most 4294967295 being told;
    // a stream that fails on the way gets no more.
    virtual unsigned long WriteTo(std::ostream &to);

protected:
    int sync() override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode mode) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode mode) override;
    int_type overflow(int_type c) override;
    int_type underflow() override;
    virtual int doallocate(); // the first block, if there is none: 0, or -1
    virtual int extend();     // room in the put area, which is full: 0, or -1

    unsigned long QueryAllocSize() const noexcept { return fBlockSize; }
    void DeleteBuffer() noexcept;

    // Whether extend() would add a block, and not go on in one that is there.
    bool NeedsBlock() const noexcept { return !fFirst || !fWrite->fNext; }
    static unsigned long Told(std::uint64_t count) noexcept; // cut to 32 bits

private:
    void SetPutPlace(TMemStreamBuffer &block, std::uint32_t offset) noexcept;
    void SetGetPlace(TMemStreamBuffer &block, std::uint32_t offset) noexcept;
    std::uint32_t PutCount() const noexcept { return static_cast<std::uint32_t>(pptr() - pbase()); }
    std::uint64_t CountBefore(TMemStreamBuffer const *block) const noexcept;

    std::uint32_t fBlockSize;
    TMemStreamBuffer *fFirst = nullptr;
    TMemStreamBuffer *fLast = nullptr;
    TMemStreamBuffer *fRead = nullptr;  // holds the get area; null: nothing has been read
    TMemStreamBuffer *fWrite = nullptr; // holds the put area
};

class TUZUTIL_API TMemStream : public std::iostream {
public:
    TMemStream();
    explicit TMemStream(unsigned long blockSize);
    ~TMemStream() override;

    TMemStreamBuf *rdbuf() { return static_cast<TMemStreamBuf *>(std::ios::rdbuf()); }

private:
    TMemStreamBuf fBuf;
};

#endif
