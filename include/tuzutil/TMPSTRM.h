#ifndef TUZUTIL_TMPSTRM_H
#define TUZUTIL_TMPSTRM_H

// TTempStream: a memory stream that moves to a temporary file once a test of the user's says so.
//
// Example:
//     class TAtMost : public TTempStreamTest { // asked before each block of memory
//     public:
//         explicit TAtMost(unsigned long bytes) : fBytes(bytes) {}
//         int Test(TTempStreamBuf *buf) override {
//             unsigned long size = 0;
//             for (TMemStreamBuffer const *block = buf->QueryFirstBuffer(); block; block = block->QueryNext())
//                 size += block->QueryUsed();
//             return size >= fBytes;
//         }
//
//     private:
//         unsigned long fBytes;
//     };
//     TTempStream message("message", new TAtMost(65536));
//     message << std::cin.rdbuf();
//     message.seekg(0);
//     message.rdbuf()->WriteTo(std::cout);
//
// Ownership:  the stream owns its buffer and the file, which is gone with the stream or the process. On Windows the
//             file has a random name in the user's folder for such files while it is open, and nobody else can open
//             it; elsewhere it has none. The test is counted; null:
//             everything stays in memory. The name given is kept, and names nothing.
// Threads:    one thread at a time.
// Failures:   none thrown. Where no file can be had, or it takes no more, writing meets the end of file, and what was
//             written before stays: it can still be read, and the next write tries again. A file that cannot be made is
//             traced at level "er", and so is one that was. To a reader a file that fails looks like its end;
//             WriteTo() then sets the fail bit of its target.
// Surprises:  as TMemStream until the file; from then on reading and writing share one position, which stands at the
//             end right after the move. It is the reader's: what was read ahead is read again after flush(), tellg()
//             and WriteTo(). Until one of these, or a seek, writing goes on behind what was read ahead: seek between
//             reading and writing. Offsets count both ways then. WriteTo() copies from the position on: seek to the
//             start first. The test may look at the blocks and seek: where there is room at the place that it goes to,
//             writing goes on there, and behind everything after the move. What it writes is asked about in its turn.

#include "tuzutil/EXPORT.h"
#include "tuzutil/MEMSTRM.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <memory>

class TTempStreamBuf;

// Decides when a stream goes to a file.
class TUZUTIL_API TTempStreamTest : public TRefCounted {
protected:
    TTempStreamTest();
    TTempStreamTest(TTempStreamTest const &) = default;

public:
    TTempStreamTest &operator=(TTempStreamTest const &) = default;
    ~TTempStreamTest() override;

    virtual int Test(TTempStreamBuf *buf); // "pure": not 0: now
};

class TUZUTIL_API TTempStreamBuf : public TMemStreamBuf {
public:
    TTempStreamBuf(char const *name, TReference<TTempStreamTest> test);
    TTempStreamBuf(unsigned long blockSize, char const *name, TReference<TTempStreamTest> test);
    ~TTempStreamBuf() override;

    unsigned long WriteTo(std::ostream &to) override; // 0 and `to`'s fail bit: the file takes no more

protected:
    int sync() override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode mode) override;
    int_type overflow(int_type c) override;
    int_type underflow() override;
    int extend() override;

private:
    class TFile;

    int MoveToFile();
    bool CopyTo(TFile const &file) const;
    bool FlushToFile() noexcept;
    void ResetAreas() noexcept;
    std::size_t FileBufferSize() const noexcept;

    TReference<TTempStreamTest> fTest;
    TString fName;
    std::unique_ptr<TFile> fFile;        // null while the data is in memory
    std::unique_ptr<char[]> fFileBuffer; // first what is read, then what is written
};

class TUZUTIL_API TTempStream : public TMemStream {
public:
    TTempStream(char const *name, TReference<TTempStreamTest> test);
    TTempStream(unsigned long blockSize, char const *name, TReference<TTempStreamTest> test);
    ~TTempStream() override;

private:
    TTempStreamBuf fTempBuf;
};

#endif
