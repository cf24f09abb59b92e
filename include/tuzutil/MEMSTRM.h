#ifndef TUZUTIL_MEMSTRM_H
#define TUZUTIL_MEMSTRM_H

// TMemStream: keeps what is written to it in a chain of memory blocks, which grows without copying. The content can be
// read back from any position, and written to another stream in one call.
//
// Example:
//     TMemStream message;
//     message << "Subject: x\r\n\r\nHello\r\n" << std::flush;
//     std::string first;
//     std::getline(message, first);                         // "Subject: x\r": reading begins at the start
//     std::ostringstream copy;
//     unsigned long bytes = message.rdbuf()->WriteTo(copy); // 21
//
// Ownership:  The stream owns its buffer. The buffer owns the first block, and each block owns the next one.
// Threads:    One thread at a time may use a stream.
// Failures:   The stream and its buffer throw nothing. If there is no memory, writing fails, and the bytes that were
//             written before remain. Only the constructor of a block (TMemStreamBuffer) throws std::bad_alloc.
// Surprises:
// - Reading and writing have separate positions. Writing in the middle replaces bytes and does not truncate.
// - QueryUsed() of the last block may be too small until the next flush.
// - overflow() returns 0 on success. sputc() also returns 0 if it has to call overflow().
// - Seeking has its own rules, for example for negative offsets: see seekoff().
class TMemStream;

#include "tuzutil/EXPORT.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>

// One block of the memory of a TMemStream. It has QueryAllocSize() bytes. The first QueryUsed() bytes are content.
class TUZUTIL_API TMemStreamBuffer {
public:
    explicit TMemStreamBuffer(unsigned long allocSize); // throws std::bad_alloc, even for a size beyond 32 bits
    TMemStreamBuffer(TMemStreamBuffer const &) = delete;
    TMemStreamBuffer &operator=(TMemStreamBuffer const &) = delete;
    ~TMemStreamBuffer(); // destroys this block and all blocks after it

    unsigned long QueryAllocSize() const noexcept { return fAllocSize; } // bytes, used or not
    unsigned long QueryUsed() const noexcept { return fUsed; }           // bytes of content; complete after a flush
    char const *QueryData() const noexcept { return fData.get(); }       // the first byte of the block
    TMemStreamBuffer *QueryNext() const noexcept { return fNext; }       // null for the last block
    void SetNext(TMemStreamBuffer *next) noexcept;                       // destroys the blocks that followed before

private:
    friend class TMemStreamBuf;

    std::uint32_t fAllocSize;
    std::uint32_t fUsed = 0;
    std::unique_ptr<char[]> fData;
    TMemStreamBuffer *fNext = nullptr;
};

// The buffer of TMemStream: a chain of blocks of one size.
class TUZUTIL_API TMemStreamBuf : public std::streambuf {
public:
    TMemStreamBuf(); // with blocks of 10000 bytes
    TMemStreamBuf(TMemStreamBuf const &) = delete;
    TMemStreamBuf &operator=(TMemStreamBuf const &) = delete;
    explicit TMemStreamBuf(unsigned long blockSize); // a size outside 1 byte to 1 GiB becomes the nearer bound
    ~TMemStreamBuf() override;

    TMemStreamBuffer *QueryFirstBuffer() const noexcept { return fFirst; } // null until something is written

    // Writes the whole content to another stream, whatever the reading position is. Returns the number of bytes
    // written, at most 4294967295. Stops if the other stream fails. If the other stream uses this buffer, writes
    // nothing and sets the fail bit of that stream.
    virtual unsigned long WriteTo(std::ostream &to);

protected:
    int sync() override; // brings QueryUsed() of the last block up to date; returns 0
    // A negative offset is taken as if it were positive: the position moves forward by its absolute value. A position
    // beyond the end becomes the end. With `cur`, an offset counts from the reading position if `mode` has `in`. If
    // `mode` has only `out`, the offset counts from a mixed position. This is the start of the block that is being
    // read, plus the offset of the writing position within its own block. As long as nothing was read and no reading
    // position was set, an offset with `cur` counts from the start of the content, whatever `mode` is. Because tellp()
    // seeks by 0 with `cur` and `out`, it may move the writing position.
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode mode) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode mode) override; // as seekoff() with `beg`
    int_type overflow(int_type c) override;                                     // 0 on success
    int_type underflow() override; // at the end of a block, goes on to the next one
    virtual int doallocate();      // makes the first block if there is none; 0, or -1 on failure
    virtual int extend();          // continues in the next block, or adds one; 0, or -1 on failure

    unsigned long QueryAllocSize() const noexcept { return fBlockSize; } // of new blocks, in bytes
    void DeleteBuffer() noexcept;                                        // deletes all blocks with their content

    // Returns whether extend() would add a block instead of continuing in the next one.
    bool NeedsBlock() const noexcept { return !fFirst || !fWrite->fNext; }
    static unsigned long Told(std::uint64_t count) noexcept; // at most 4294967295

private:
    void SetPutPlace(TMemStreamBuffer &block, std::uint32_t offset) noexcept;
    void SetGetPlace(TMemStreamBuffer &block, std::uint32_t offset) noexcept;
    std::uint32_t PutCount() const noexcept { return static_cast<std::uint32_t>(pptr() - pbase()); }
    std::uint64_t CountBefore(TMemStreamBuffer const *block) const noexcept;

    std::uint32_t fBlockSize;
    TMemStreamBuffer *fFirst = nullptr;
    TMemStreamBuffer *fLast = nullptr;
    TMemStreamBuffer *fRead = nullptr;  // holds the get area; null if nothing was read and no reading position was set
    TMemStreamBuffer *fWrite = nullptr; // holds the put area
};

class TUZUTIL_API TMemStream : public std::iostream {
public:
    TMemStream();                                 // with blocks of 10000 bytes
    explicit TMemStream(unsigned long blockSize); // as that of TMemStreamBuf
    ~TMemStream() override;

    // Returns the buffer of this stream.
    TMemStreamBuf *rdbuf() { return static_cast<TMemStreamBuf *>(std::ios::rdbuf()); }

private:
    TMemStreamBuf fBuf;
};

#endif
