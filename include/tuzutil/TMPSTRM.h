#ifndef TUZUTIL_TMPSTRM_H
#define TUZUTIL_TMPSTRM_H

// TTempStream: a memory stream that moves its content to a temporary file when a TTempStreamTest says so.
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
// Ownership:  The stream owns its buffer and the file. The file is removed when the stream is destroyed or the process
//             ends.
// Threads:    One thread at a time may use a stream.
// Failures:   Nothing is thrown. If the file cannot be made or takes no more bytes, writing fails: see TTempStreamBuf.
// Surprises:
// - The stream stores the name that the constructor takes, but the file does not get this name.
// - After the move to the file, reading and writing share one position. Therefore, seek when you change from reading to
//   writing or back, and before WriteTo().
class TTempStream;

#include "tuzutil/EXPORT.h"
#include "tuzutil/MEMSTRM.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <memory>

class TTempStreamBuf;

// Decides when a TTempStream moves its content to a file.
class TUZUTIL_API TTempStreamTest : public TRefCounted {
protected:
    TTempStreamTest();
    TTempStreamTest(TTempStreamTest const &) = default;

public:
    TTempStreamTest &operator=(TTempStreamTest const &) = default;
    ~TTempStreamTest() override;

    // Returns a value other than 0 to move the content to the file now. Subclasses must override this function. This
    // function may inspect the blocks, seek and write. If it seeks to a block with room and returns 0, writing
    // continues there. After the move to the file, writing continues at the end. If this function writes, the
    // stream may call it again before it has returned.
    virtual int Test(TTempStreamBuf *buf);
};

// The buffer of TTempStream. It behaves as TMemStreamBuf until the move to the file. If the test is null, everything
// stays in memory.
//
// The file. On Windows, the file has a random name in the user's folder for temporary files, and nobody else can open
// the file while the stream has it open. On Linux, the file has no name. A trace entry at the error level (TRACE.h)
// says that the file was opened, or that it could not be opened.
//
// Position. After the move, reading and writing share one position, which is first the end of the file. The buffer
// reads ahead. flush(), tellg(), WriteTo() and seeks begin by moving the position back to the byte that is to be read
// next. Without such a call, a write continues after the bytes that were read ahead.
//
// Failures. If the file cannot be made or takes no more bytes, the bytes that were written before remain readable, and
// the next write tries again. A failure to read from the file looks like the end of the file.
class TUZUTIL_API TTempStreamBuf : public TMemStreamBuf {
public:
    // These constructors take a name, which is only stored, and the test, which may be null. `blockSize` means
    // the same as in TMemStreamBuf. The constructor without it uses the block size of a default TMemStreamBuf.
    TTempStreamBuf(char const *name, TReference<TTempStreamTest> test);
    TTempStreamBuf(unsigned long blockSize, char const *name, TReference<TTempStreamTest> test);
    ~TTempStreamBuf() override;

    // Copies the content to `to`, and returns the number of bytes copied. As long as the content is in memory, copies
    // it from its beginning. After the move to the file, copies it from the present position on, and returns to this
    // position. If the file cannot be read, or the position cannot be restored, sets the fail bit of `to`. If the
    // waiting bytes cannot be written to the file, or if `to` uses this buffer, copies nothing, sets the fail bit of
    // `to` and returns 0.
    unsigned long WriteTo(std::ostream &to) override;

protected:
    // These functions behave as those of TMemStreamBuf until the move to the file. After the move, the comment of the
    // class says what they do.
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
    std::unique_ptr<char[]> fFileBuffer; // first half: bytes read; second half: bytes to be written
};

class TUZUTIL_API TTempStream : public TMemStream {
public:
    // These constructors take the same arguments as those of TTempStreamBuf.
    TTempStream(char const *name, TReference<TTempStreamTest> test);
    TTempStream(unsigned long blockSize, char const *name, TReference<TTempStreamTest> test);
    ~TTempStream() override;

private:
    TTempStreamBuf fTempBuf;
};

#endif
