#ifndef TUZUTIL_TMPSTRM_H
#define TUZUTIL_TMPSTRM_H

// TTempStream: a memory stream that moves its content to a temporary file when a test that the user supplies says so.
//
// Example:
//     class TAtMost : public TTempStreamTest { // asked before each block of memory
//     public:
//         int Test(TTempStreamBuf *buf) override {
//             unsigned long size = 0;
//             for (TMemStreamBuffer const *block = buf->QueryFirstBuffer(); block; block = block->QueryNext())
//                 size += block->QueryUsed();
//             return size >= 65536;
//         }
//     };
//     TTempStream message("message", new TAtMost);
//     message << std::cin.rdbuf();
//     message.seekg(0);
//     message.rdbuf()->WriteTo(std::cout);
//
// Ownership:  The stream owns its buffer and the file, which is removed with the stream or the process.
// Threads:    One thread at a time may use a stream.
// Failures:   Nothing is thrown. If the file cannot be made, or takes no more bytes, writing fails; see
//             TTempStreamBuf.
// Surprises:
// - The name is only kept: it does not name the file.
// - After the move to the file, reading and writing share one position: seek between them, and before WriteTo().

#include "tuzutil/EXPORT.h"
#include "tuzutil/MEMSTRM.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <memory>

class TTempStreamBuf;

// Decides when a stream moves to a file.
class TUZUTIL_API TTempStreamTest : public TRefCounted {
protected:
    TTempStreamTest();
    TTempStreamTest(TTempStreamTest const &) = default;

public:
    TTempStreamTest &operator=(TTempStreamTest const &) = default;
    ~TTempStreamTest() override;

    // Returns not 0 if the content shall move to the file now. Subclasses must override it. The test may inspect the
    // blocks, seek and write. If it seeks to a block with room, writing continues there; after the move to the file, at
    // the end. What the test writes is tested again.
    virtual int Test(TTempStreamBuf *buf);
};

// The buffer of TTempStream. It behaves as TMemStreamBuf until the move to the file. If the test is null, everything
// stays in memory.
//
// The file. On Windows it has a random name in the user's folder for temporary files while it is open, and nobody else
// can open it; elsewhere it has no name. Both outcomes are traced at level "er": that the file was opened, and that it
// could not be.
//
// Position. After the move, reading and writing share one position, which is then at the end of the file. It is the
// reader's: bytes that were read ahead are read again after flush(), tellg() and WriteTo(). Until one of these calls or
// a seek, a write continues after the bytes that were read ahead. From the move on, negative offsets move backwards.
//
// Failures. If the file cannot be made or takes no more, the bytes written before remain readable, and the next write
// tries again. If reading from the file fails, that looks like the end of the file.
class TUZUTIL_API TTempStreamBuf : public TMemStreamBuf {
public:
    TTempStreamBuf(char const *name, TReference<TTempStreamTest> test);
    TTempStreamBuf(unsigned long blockSize, char const *name, TReference<TTempStreamTest> test);
    ~TTempStreamBuf() override;

    // Copies the content to `to`: from the start while it is in memory, from the present position after the move to the
    // file. If the file fails, sets the fail bit of `to`; returns 0 if the file did not take the bytes that waited.
    unsigned long WriteTo(std::ostream &to) override;

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
    bool DropReadAhead() noexcept;
    bool FlushToFile() noexcept;
    void ResetAreas() noexcept;
    std::size_t FileBufferSize() const noexcept;

    TReference<TTempStreamTest> fTest;
    TString fName;
    std::unique_ptr<TFile> fFile;        // null while the data is in memory
    std::unique_ptr<char[]> fFileBuffer; // the bytes read, then the bytes to be written
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
