#ifndef TUZUTIL_FILTSTRM_H
#define TUZUTIL_FILTSTRM_H

// TFilterStreamBuf: what the buffers that stand in front of another stream share: the put area and how it is passed on,
// and exceptions that reach the stream's caller. A base for such buffers, not for use by itself.
//
// Example:
//     class TCapitalsBuf : public TFilterStreamBuf {
//     public:
//         explicit TCapitalsBuf(std::ostream &sink) : fSink(sink) {}
//
//     private:
//         int doallocate() override {
//             SetPutArea(fArea, fArea + sizeof fArea);
//             return 0;
//         }
//         bool IsWritable() const noexcept override { return true; }
//         void WriteThrough(char const *bytes, std::size_t count) override {
//             for (; count > 0; --count)
//                 fSink.put(static_cast<char>(std::toupper(static_cast<unsigned char>(*bytes++))));
//         }
//         bool IsReadable() const noexcept override { return false; }
//         TPiece ReadPiece() override { return {}; }
//
//         std::ostream &fSink;
//         char fArea[4];
//     };
//
// Ownership:  the memory of the areas is the subclass's.
// Threads:    one thread at a time.
// Failures:   as the subclass says; reading throws TOutOfMemory if doallocate() fails. Exceptions pass through the
//             attached stream with their own type (STRMCTL.h).
// Surprises:  writing a run of bytes leaves exactly those waiting that writing them one by one leaves. With
//             std::unitbuf nothing waits. An exception out of the flush that a standard stream makes by itself after a
//             write would end the process: it is kept, and thrown by the next write.

#include "tuzutil/STRMCTL.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <streambuf>

class TUZUTIL_API TFilterStreamBuf : public std::streambuf {
public:
    void Attach(std::ios *stream) noexcept { fControl.Attach(stream); } // whose callers see this buffer's exceptions

protected:
    TFilterStreamBuf() noexcept = default;
    ~TFilterStreamBuf() override;

    int sync() override;
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const *bytes, std::streamsize count) override;
    int_type underflow() override;
    // For pbackfail(): stores any character while there is room, not only the one read last.
    int_type PutBack(int_type c) noexcept;

    // Bytes to be read, with room from `back` on for the bytes read before them, as many as fsPutBackRoom, and for what
    // is put back.
    struct TPiece {
        char *back;
        char *begin;
        char *end;
    };
    static constexpr std::size_t fsPutBackRoom = 10;

    // Called on first use. 0: memory stands, SetPutArea() has been called if this buffer writes; otherwise -1.
    virtual int doallocate() = 0;

    // Memory for the areas; null where there is none.
    static std::unique_ptr<char[]> NewStorage(std::size_t size) noexcept;
    void SetPutArea(char *begin, char *end) noexcept; // empty, and closed if both are null
    void ClosePutArea() noexcept { SetPutArea(nullptr, nullptr); }

private:
    virtual bool IsWritable() const noexcept = 0;
    virtual void WriteThrough(char const *bytes, std::size_t count) = 0; // to the sink; count is at least 1
    virtual bool IsReadable() const noexcept = 0;
    virtual void BeforeRead() {} // called first by underflow(), also while unread bytes remain; may throw
    // The next bytes of the source, none at its end: null pointers if the area was written to all the same. Where it
    // throws, what it has gathered must be kept for the next call.
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
