// TFilterStreamBuf: the common part of buffers that pass bytes on to another stream. It runs the virtual operations so
// that exceptions pass through the stream (see streams/stream_failure.h), divides the storage, and keeps the last bytes
// so that they can be put back. No lock is taken.

#include "tuzutil/FILTSTRM.h"

#include "platform/no_cancel.h"
#include "utility/kernel/reporter.h"
#include "utility/streams/stream_failure.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

TFilterStreamBuf::~TFilterStreamBuf() = default;

std::streambuf::int_type TFilterStreamBuf::underflow() {
    return Relay(fControl, [this]() -> int_type {
        BeforeRead();
        if (gptr() < egptr())
            return traits_type::to_int_type(*gptr());
        if (!IsReadable())
            return traits_type::eof();
        // If this returned end of file, callers would take it for the end of the data.
        if (doallocate() != 0)
            TReporter(TUtilityTraceCategory::Utility, "src/utility/FILTSTRM").RaiseOutOfMemory();
        // If ReadPiece() throws, nothing can be put back, because the piece is incomplete.
        char *const back = eback();
        char *const end = egptr();
        setg(nullptr, nullptr, nullptr);
        char read[fsPutBackRoom];
        std::size_t const count = std::min(static_cast<std::size_t>(end - back), fsPutBackRoom);
        std::copy_n(end - count, count, read);
        TPiece const piece = ReadPiece();
        if (piece.begin == piece.end) {
            // What was read before can be put back as long as nothing took its place.
            if (piece.begin)
                setg(back, end, end);
            return traits_type::eof();
        }
        // The bytes that were read last precede the new ones. Any further room only takes bytes that are put back.
        std::size_t const kept = std::min(count, static_cast<std::size_t>(piece.begin - piece.back));
        std::copy_n(read + (count - kept), kept, piece.begin - kept);
        fBack = piece.back;
        setg(piece.begin - kept, piece.begin, piece.end);
        return traits_type::to_int_type(*gptr());
    });
}

std::streambuf::int_type TFilterStreamBuf::PutBack(int_type c) noexcept {
    if (!gptr() || gptr() == fBack || traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::eof();
    char *const at = gptr() - 1;
    *at = traits_type::to_char_type(c);
    setg(std::min(eback(), at), at, egptr());
    return c;
}

std::streambuf::int_type TFilterStreamBuf::overflow(int_type c) {
    return Relay(fControl, [this, c]() -> int_type {
        ThrowKept();
        if (!FlushPutArea())
            return traits_type::eof();
        if (traits_type::eq_int_type(c, traits_type::eof()))
            return 0;
        char const byte = traits_type::to_char_type(c);
        if (pptr() == epptr())
            WriteThrough(&byte, 1);
        else
            Append(&byte, 1);
        return traits_type::to_int_type(byte);
    });
}

std::streamsize TFilterStreamBuf::xsputn(char const *bytes, std::streamsize count) {
    if (count <= 0)
        return 0;
    auto const given = static_cast<std::size_t>(count);
    bool const unbuffered = fControl.IsUnitBuffered();
    if (!unbuffered && !fKept && given <= static_cast<std::size_t>(epptr() - pptr())) {
        Append(bytes, given);
        return count;
    }
    return Relay(fControl, [this, bytes, given, unbuffered, count]() -> std::streamsize {
        ThrowKept();
        auto const waiting = static_cast<std::size_t>(pptr() - pbase());
        if (!FlushPutArea())
            return 0;
        // As many bytes keep waiting as if they were written one by one: then a full area waits until one more byte
        // comes.
        auto const size = static_cast<std::size_t>(fPutEnd - fPutBegin);
        std::size_t const stay = unbuffered || size == 0 ? 0 : (waiting + given - 1) % size + 1;
        if (stay < given)
            WriteThrough(bytes, given - stay);
        if (stay != 0) // if it is 0, there may be no area at all
            Append(bytes + (given - stay), stay);
        return count;
    });
}

int TFilterStreamBuf::sync() {
    if (pptr() == pbase())
        return 0;
    if (!fControl.IsUnitBuffered())
        return overflow(traits_type::eof());
    // The destructor of an output sentry may call this. It must not throw, and it must not report a failure if the
    // stream throws on failures.
    TNoCancel const noCancel;
    try {
        FlushPutArea();
    } catch (...) {
        fKept = std::current_exception();
    }
    return 0;
}

// Returns false if this buffer cannot be written to, or no longer.
bool TFilterStreamBuf::FlushPutArea() {
    if (!IsWritable())
        return false;
    if (!pbase()) {
        if (doallocate() != 0)
            return false;
        EmptyPutArea();
        return true;
    }
    char const *const waiting = pbase();
    auto const count = static_cast<std::size_t>(pptr() - pbase());
    EmptyPutArea(); // comes first, so that bytes whose writing fails are not sent twice
    if (count != 0)
        WriteThrough(waiting, count);
    return true;
}

std::unique_ptr<char[]> TFilterStreamBuf::NewStorage(std::size_t size) noexcept {
    return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

void TFilterStreamBuf::SetPutArea(char *begin, char *end) noexcept {
    fPutBegin = begin;
    fPutEnd = end;
    setp(begin, end);
}

// While no bytes may wait, the area has no room, so that overflow() is called for each single byte.
void TFilterStreamBuf::EmptyPutArea() noexcept {
    setp(fPutBegin, fControl.IsUnitBuffered() ? fPutBegin : fPutEnd);
}

// REQUIRES: there is room.
void TFilterStreamBuf::Append(char const *bytes, std::size_t count) noexcept {
    std::memcpy(pptr(), bytes, count);
    pbump(static_cast<int>(count));
}

void TFilterStreamBuf::ThrowKept() {
    if (fKept)
        std::rethrow_exception(std::exchange(fKept, nullptr));
}
