#ifndef TUZUTIL_FILTSTRM_H
#define TUZUTIL_FILTSTRM_H

// TFilterStreamBuf: a base for buffers that pass bytes on to another stream. It is not for use by itself.
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
// Failures:   The subclass defines them. Exceptions reach the caller of the attached stream with their own type.
// Surprises:
// - With std::unitbuf set, no bytes wait: each write passes them on.

#include "tuzutil/STRMCTL.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <streambuf>

// This class manages the put area, passes its bytes on, and brings exceptions to the caller of the stream (STRMCTL.h).
//
// After a run of bytes is written, the same bytes wait as if they had been written one by one. A standard stream may
// flush by itself after a write; an exception out of that flush would end the process, so the buffer keeps it, and the
// next write throws it. Reading throws TOutOfMemory if doallocate() fails.
class TUZUTIL_API TFilterStreamBuf : public std::streambuf {
public:
    // Sets the stream whose callers receive this buffer's exceptions.
    void Attach(std::ios *stream) noexcept { fControl.Attach(stream); }

protected:
    TFilterStreamBuf() noexcept = default;
    ~TFilterStreamBuf() override;

    int sync() override;
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const *bytes, std::streamsize count) override;
    int_type underflow() override;
    // Implements pbackfail(): stores any character while there is room, not only the one read last.
    int_type PutBack(int_type c) noexcept;

    // The bytes from `begin` to `end` are to be read. From `back` on there is room for fsPutBackRoom bytes that were
    // read before them or are put back.
    struct TPiece {
        char *back;
        char *begin;
        char *end;
    };
    static constexpr std::size_t fsPutBackRoom = 10;

    // Called on first use. Allocates the memory, calls SetPutArea() if this buffer writes, and returns 0; or returns -1
    // if there is no memory.
    virtual int doallocate() = 0;

    // Allocates memory for the areas; returns null if there is none.
    static std::unique_ptr<char[]> NewStorage(std::size_t size) noexcept;
    void SetPutArea(char *begin, char *end) noexcept; // an empty area; null closes it
    void ClosePutArea() noexcept { SetPutArea(nullptr, nullptr); }

private:
    virtual bool IsWritable() const noexcept = 0;
    virtual void WriteThrough(char const *bytes, std::size_t count) = 0; // to the sink; `count` is at least 1
    virtual bool IsReadable() const noexcept = 0;
    virtual void BeforeRead() {} // underflow() calls it first, also while unread bytes remain; it may throw
    // Returns the next bytes of the source. At its end, returns no bytes; the pointers are null if the area has been
    // overwritten. REQUIRES: if it throws, it keeps what it has gathered for the next call.
    virtual TPiece ReadPiece() = 0;

    bool FlushPutArea();
    void EmptyPutArea() noexcept;
    void Append(char const *bytes, std::size_t count) noexcept;
    void ThrowKept();

    TStreamControl fControl;
    std::exception_ptr fKept;
    char *fBack = nullptr; // how far back characters can be put, while there is a get area
    char *fPutBegin = nullptr;
    char *fPutEnd = nullptr;
};

#endif
