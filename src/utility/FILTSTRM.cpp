// TFilterStreamBuf: the common part of buffers that pass bytes on to another stream. It manages the put area, and keeps
// the bytes read last so that they can be put back. It lets the exceptions of DOTBYTE.h pass through the stream that
// uses the buffer (see streams/stream_failure.h). This source has no lock.

#include "tuzutil/FILTSTRM.h"

#include "platform/no_cancel.h"
#include "utility/kernel/debug_check.h"
#include "utility/kernel/reporter.h"
#include "utility/streams/stream_failure.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Utility, "src/utility/FILTSTRM");

// Copies `count` bytes. Usually `count` equals the constant `most`. The compiler copies a constant number of bytes
// without a call.
template <std::size_t most>
void CopyBytes(char const *from, std::size_t count, char *to) noexcept {
    if (count == most)
        std::memcpy(to, from, most);
    else
        std::copy_n(from, count, to);
}

} // namespace

TFilterStreamBuf::~TFilterStreamBuf() = default;

std::streambuf::int_type TFilterStreamBuf::underflow() {
    return Relay(fControl, [this]() -> int_type {
        BeforeRead();
        if (gptr() < egptr())
            return traits_type::to_int_type(*gptr());
        if (!IsReadable())
            return traits_type::eof();
        // This throws, because callers would take a result of eof() for the end of the data.
        if (doallocate() != 0)
            fsReports.RaiseOutOfMemory();
        // If ReadPiece() throws, nothing can be put back, because the piece is incomplete.
        char *const back = eback();
        char *const end = egptr();
        setg(nullptr, nullptr, nullptr);
        char read[fsPutBackRoom];
        std::size_t const count = std::min(static_cast<std::size_t>(end - back), fsPutBackRoom);
        CopyBytes<fsPutBackRoom>(end - count, count, read);
        TPiece const piece = ReadPiece();
        if (piece.begin == piece.end) {
            // If ReadPiece() has not overwritten the previous piece, the bytes of that piece can still be put back.
            if (piece.begin)
                setg(back, end, end);
            return traits_type::eof();
        }
        // The bytes that were read last are copied to the place in front of the new ones. The room in front of the
        // copied bytes is for bytes that are put back.
        std::size_t const kept = std::min(count, static_cast<std::size_t>(piece.begin - piece.back));
        CopyBytes<fsPutBackRoom>(read + (count - kept), kept, piece.begin - kept);
        fBack = piece.back;
        setg(piece.begin - kept, piece.begin, piece.end);
        return traits_type::to_int_type(*gptr());
    });
}

std::size_t TFilterStreamBuf::TakePieces(char *, std::size_t) {
    return 0;
}

std::streamsize TFilterStreamBuf::xsgetn(char *into, std::streamsize count) {
    std::streamsize got = 0;
    while (got < count) {
        auto const wanted = static_cast<std::size_t>(count - got);
        if (gptr() < egptr()) {
            std::size_t const taken = std::min(wanted, static_cast<std::size_t>(egptr() - gptr()));
            std::memcpy(into + got, gptr(), taken);
            gbump(static_cast<int>(taken));
            got += static_cast<std::streamsize>(taken);
            continue;
        }
        // If no piece has been read yet, there may be no memory for the bytes that can be put back. A derived class may
        // have set a get area of its own nevertheless.
        if (std::size_t const taken = eback() && fBack ? TakePieces(into + got, wanted) : 0) {
            KeepLast(into + got, taken);
            got += static_cast<std::streamsize>(taken);
        }
        if (traits_type::eq_int_type(underflow(), traits_type::eof()))
            break;
    }
    return got;
}

// Sets the get area so that the bytes that were read last can be put back. The last `count` of them are at `taken`, and
// the earlier ones are in the present get area.
void TFilterStreamBuf::KeepLast(char const *taken, std::size_t count) noexcept {
    char last[fsPutBackRoom];
    std::size_t const fresh = std::min(count, fsPutBackRoom);
    std::size_t const old = std::min(fsPutBackRoom - fresh, static_cast<std::size_t>(egptr() - eback()));
    std::copy_n(egptr() - old, old, last);
    std::copy_n(taken + count - fresh, fresh, last + old);
    std::copy_n(last, old + fresh, fBack);
    setg(fBack, fBack + old + fresh, fBack + old + fresh);
}

std::streambuf::int_type TFilterStreamBuf::PutBack(int_type c) noexcept {
    // In front of the present piece there is room. In front of a get area that a derived class has set, there is none.
    bool const isPiece = fBack && !std::less<>()(eback(), fBack) && !std::less<>()(fBack + fsPutBackRoom, eback());
    if (!gptr() || gptr() == (isPiece ? fBack : eback()) || traits_type::eq_int_type(c, traits_type::eof()))
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
    // No test gets here: a derived class would have to set a new put area after a flush that fails.
    if (!unbuffered && !fKept && given <= static_cast<std::size_t>(epptr() - pptr())) {
        Append(bytes, given);
        return count;
    }
    return Relay(fControl, [this, bytes, given, unbuffered, count]() -> std::streamsize {
        ThrowKept();
        auto const waiting = static_cast<std::size_t>(pptr() - pbase());
        if (!FlushPutArea())
            return 0;
        // As many bytes stay in the area as if they had been written one by one. So bytes that fill the area exactly
        // stay in it until one more byte is written.
        auto const size = static_cast<std::size_t>(fPutEnd - fPutBegin);
        std::size_t const stay = unbuffered || size == 0 ? 0 : (waiting + given - 1) % size + 1;
        if (stay < given)
            WriteThrough(bytes, given - stay);
        if (stay != 0) // if no bytes stay, there may be no area
            Append(bytes + (given - stay), stay);
        return count;
    });
}

int TFilterStreamBuf::sync() {
    if (pptr() == pbase())
        return 0;
    if (!fControl.IsUnitBuffered())
        return overflow(traits_type::eof());
    // If std::unitbuf is set, the destructor of an output sentry may call this function. An exception that leaves a
    // destructor ends the process. If the result were -1, the stream might throw, which could end the process too. So
    // the exception is kept for the next write.
    TNoCancel const noCancel;
    try {
        FlushPutArea();
    } catch (...) {
        fKept = std::current_exception();
    }
    return 0;
}

// Writes the bytes of the put area. Returns false if this buffer cannot be written to, or if there is no memory for the
// area.
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
    EmptyPutArea(); // comes before the write, so that bytes are not sent again after a failure
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

// If std::unitbuf is set, no bytes may wait in the area. So the area gets no room, and every byte leads to a call of
// overflow().
void TFilterStreamBuf::EmptyPutArea() noexcept {
    setp(fPutBegin, fControl.IsUnitBuffered() ? fPutBegin : fPutEnd);
}

// REQUIRES: the put area has room for `count` bytes.
void TFilterStreamBuf::Append(char const *bytes, std::size_t count) noexcept {
    std::memcpy(pptr(), bytes, count);
    pbump(static_cast<int>(count));
}

void TFilterStreamBuf::TraceLostBytes() const noexcept {
    if constexpr (debugcheck::isOn) {
        if (pptr() != pbase())
            fsReports.Warning("Stream destroyed with %u bytes that were not flushed",
                              static_cast<unsigned int>(pptr() - pbase()));
    }
}

void TFilterStreamBuf::ThrowKept() {
    if (fKept)
        std::rethrow_exception(std::exchange(fKept, nullptr));
}
