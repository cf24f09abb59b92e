#ifndef TUZUTIL_FILTSTRM_H
#define TUZUTIL_FILTSTRM_H

// TFilterStreamBuf: a base class for buffers that pass bytes on to another stream, or read them from one.
//
// Example:
//     class TCapitalsBuf : public TFilterStreamBuf {
//     public:
//         explicit TCapitalsBuf(std::ostream &sink) : fSink(sink) {}
//     private:
//         int doallocate() override { return SetPutArea(fArea, fArea + sizeof fArea), 0; }
//         bool IsWritable() const noexcept override { return true; }
//         void WriteThrough(char const *bytes, std::size_t count) override {
//             for (; count > 0; --count)
//                 fSink.put(static_cast<char>(std::toupper(static_cast<unsigned char>(*bytes++))));
//         }
//         bool IsReadable() const noexcept override { return false; }
//         TPiece ReadPiece() override { return {}; }
//         std::ostream &fSink;
//         char fArea[4];
//     };
//
// Ownership:  The subclass owns the memory of the areas.
// Threads:    One thread at a time may use a buffer.
// Failures:   Reading throws TOutOfMemory if doallocate() fails. A standard stream drops an exception of its buffer. It
//             passes on all of them if its exceptions() contain badbit, and those of DOTBYTE.h after Attach().
// Surprises:
// - If std::unitbuf is set for the stream that was given to Attach(), each write passes its bytes on at once.
class TFilterStreamBuf;

#include "tuzutil/STRMCTL.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <streambuf>

class TUZUTIL_API TFilterStreamBuf : public std::streambuf {
public:
    // Sets the stream that uses this buffer. Exceptions of DOTBYTE.h then pass through the stream, see STRMCTL.h. Null
    // detaches the stream.
    void Attach(std::ios *stream) noexcept { fControl.Attach(stream); }

protected:
    TFilterStreamBuf() noexcept = default;
    ~TFilterStreamBuf() override;

    // These functions do what std::streambuf says of them. Those that read throw TOutOfMemory if doallocate() fails.
    // Those that write pass the bytes of the put area to WriteThrough(). Writing several bytes at once leaves the same
    // bytes in the put area as writing them one by one. If std::unitbuf is set for a standard stream, the stream
    // flushes after each output, in the destructor of its sentry. An exception that leaves this destructor would end
    // the process. Therefore, if std::unitbuf is set for the attached stream, sync() keeps an exception of
    // WriteThrough(), and the next write throws it.
    int sync() override;
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const *bytes, std::streamsize count) override;
    int_type underflow() override;
    std::streamsize xsgetn(char *into, std::streamsize count) override;
    // Puts back any character, even if another one was read at that place. Returns end of file if there is no room for
    // the character. A subclass may call this function in its pbackfail().
    int_type PutBack(int_type c) noexcept;

    // A piece of the source. The bytes from `begin` to `end` are the next ones to be read. The memory from `back` to
    // `begin` is for characters that are put back. underflow() copies the bytes that were read last, at most
    // fsPutBackRoom, to the end of the memory before `begin`.
    struct TPiece {
        char *back;  // where the memory for put-back characters begins
        char *begin; // the first byte to be read
        char *end;   // behind the last byte to be read
    };
    static constexpr std::size_t fsPutBackRoom = 10; // characters

    // Called before new bytes are read, and before a write if there is no put area. If the areas exist, this function
    // must do nothing. Otherwise it allocates the areas, and calls SetPutArea() if the buffer can be written to. It
    // returns 0, or -1 if there is no memory.
    virtual int doallocate() = 0;

    // Allocates memory for the areas. Returns null if there is no memory.
    static std::unique_ptr<char[]> NewStorage(std::size_t size) noexcept;
    void SetPutArea(char *begin, char *end) noexcept; // sets an empty put area; null pointers close the area
    void ClosePutArea() noexcept { SetPutArea(nullptr, nullptr); } // removes the put area
    // If written bytes still wait to be flushed, a build without NDEBUG traces this at level "wa". The destructors of
    // subclasses call this function.
    void TraceLostBytes() const noexcept;

private:
    friend class TLineStreamBuf; // frees the memory of its pieces

    virtual bool IsWritable() const noexcept = 0;                        // whether bytes can be written
    virtual void WriteThrough(char const *bytes, std::size_t count) = 0; // to the sink; `count` is at least 1
    virtual bool IsReadable() const noexcept = 0;                        // whether bytes can be read
    virtual void BeforeRead() {} // underflow() calls this first, even if unread bytes remain; may throw
    // Returns the next bytes of the source. At the end of the source, returns an empty piece. The pointers of the empty
    // piece are null if this call has overwritten the memory of the piece returned before. Otherwise bytes of that
    // piece can still be put back. REQUIRES: if ReadPiece() throws, it keeps the bytes that it has read, and returns
    // them at the next call.
    virtual TPiece ReadPiece() = 0;

    // Moves whole pieces from the get area of the source's buffer to `into`. The stored bytes are those that
    // ReadPiece() would return. Returns the number of stored bytes, which is less than `size`. REQUIRES: the function
    // leaves at least one byte in that get area, for the next ReadPiece(). A reader can put back the bytes of that next
    // piece. If the piece has room, the reader can also put back up to fsPutBackRoom bytes that precede the piece. The
    // default does nothing, and returns 0.
    virtual std::size_t TakePieces(char *into, std::size_t size);

    void KeepLast(char const *taken, std::size_t count) noexcept;
    bool FlushPutArea();
    void EmptyPutArea() noexcept;
    void Append(char const *bytes, std::size_t count) noexcept;
    void ThrowKept();

    TStreamControl fControl;
    std::exception_ptr fKept;
    char *fBack = nullptr; // `back` of the current piece, or null if there has been none or its memory was freed
    char *fPutBegin = nullptr;
    char *fPutEnd = nullptr;
};

#endif
