// TOleStreamBuf and its streams: read and write through the interface IStream of an object, which is called the
// component. Init() adds a reference to the new component, and releases the reference to the former one. Close() and
// the destructor release the reference too. A failure of the component is traced and ends the operation. This source
// has no lock.

#include "tuzutil/OLESTRM.h"

#include "platform/platform.h"
#include "utility/kernel/buffer_area.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/reporter.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

constexpr unsigned long fsDefaultSize = 10240;
constexpr unsigned long fsMinimumSize = 2; // one byte for each direction
constexpr unsigned long fsMaximumSize = 1ul << 30;

TReporter const fsReports(TUtilityTraceCategory::OleStream, "src/utility/OLESTRM");
// Trace entries name these fixed line numbers, which are not lines of this file.
constexpr std::uint32_t fsWriteFailed = 190;
constexpr std::uint32_t fsReadFailed = 247;

} // namespace

TOleStreamBuf::TOleStreamBuf(IStream *stream, Type type) : TOleStreamBuf(fsDefaultSize, stream, type) {}

TOleStreamBuf::TOleStreamBuf(unsigned long bufferSize, IStream *stream, Type type) : TOleStreamBuf(bufferSize, type) {
    Init(stream);
}

TOleStreamBuf::TOleStreamBuf(Type type) : TOleStreamBuf(fsDefaultSize, type) {}

TOleStreamBuf::TOleStreamBuf(unsigned long bufferSize, Type type)
    : fType(type), fBufferSize(static_cast<std::uint32_t>(std::clamp(bufferSize, fsMinimumSize, fsMaximumSize))) {}

TOleStreamBuf::~TOleStreamBuf() {
    DropExceptions([this] { TOleStreamBuf::Close(); });
}

void TOleStreamBuf::Init(IStream *stream) {
    if (stream == fStream)
        return;
    if (stream)
        platform::AddStreamReference(*stream);
    fBytesWritten = 0;
    if (IStream *const old = std::exchange(fStream, stream))
        platform::ReleaseStream(*old); // comes last, because it may throw
}

void TOleStreamBuf::Close() {
    fBuffer.reset();
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
    if (IStream *const old = std::exchange(fStream, nullptr))
        platform::ReleaseStream(*old); // comes last, because it may throw
}

unsigned long TOleStreamBuf::QueryBytesWritten() const noexcept {
    return fBytesWritten + static_cast<std::uint32_t>(pptr() - pbase());
}

int TOleStreamBuf::doallocate() {
    if (fBuffer)
        return 0;
    fBuffer.reset(new (std::nothrow) char[fBufferSize]);
    if (!fBuffer)
        return traits_type::eof();
    char *const begin = fBuffer.get();
    char *const end = begin + fBufferSize;
    char *const middle = fType == reading ? end : fType == writing ? begin : begin + fBufferSize / 2;
    setg(begin, middle, middle);
    setp(middle, end);
    return 0;
}

// Passes the bytes of the put area to the component. Bytes that the component does not accept stay in the put area.
bool TOleStreamBuf::WritePending() {
    auto const pending = static_cast<std::uint32_t>(pptr() - pbase());
    if (pending == 0)
        return true;
    if (!fStream)
        return false;
    std::uint32_t written = 0;
    std::int32_t const result = platform::WriteStream(*fStream, pbase(), pending, written);
    fBytesWritten += written;
    TBufferArea::Drop(*this, written);
    if (result != 0)
        fsReports.Error({"Error writing from IStream interface, fStream=x%p, rc=%d", fsWriteFailed},
                        TagVarVoidPtr(fStream), int{result});
    return result == 0 && written == pending;
}

std::streambuf::int_type TOleStreamBuf::overflow(int_type c) {
    if (!WritePending() || doallocate() != 0)
        return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return 0;
    if (pptr() == epptr()) // the buffer is only for reading
        return traits_type::eof();
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return traits_type::to_int_type(traits_type::to_char_type(c));
}

std::streambuf::int_type TOleStreamBuf::underflow() {
    if (gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    if (!fStream || doallocate() != 0)
        return traits_type::eof();
    auto const size =
        static_cast<std::uint32_t>(pbase() - eback()); // bytes can be read up to the beginning of the put area
    std::uint32_t read = 0;
    std::int32_t const result = platform::ReadStream(*fStream, eback(), size, read);
    if (result != 0) {
        fsReports.Error({"error reading from IStream interface, fStream=x%p, rc=%d", fsReadFailed},
                        TagVarVoidPtr(fStream), int{result});
        return traits_type::eof();
    }
    if (read == 0)
        return traits_type::eof();
    setg(eback(), eback(), eback() + read);
    return traits_type::to_int_type(*gptr());
}

int TOleStreamBuf::sync() {
    return pptr() != pbase() ? overflow(traits_type::eof()) : 0;
}

TOleStream::TOleStream(IStream *stream) : std::iostream(nullptr), fBuf(stream, TOleStreamBuf::readingWriting) {
    init(&fBuf);
}

TOleStream::TOleStream(unsigned long bufferSize, IStream *stream)
    : std::iostream(nullptr), fBuf(bufferSize, stream, TOleStreamBuf::readingWriting) {
    init(&fBuf);
}

TOleStream::~TOleStream() = default;

TiOleStream::TiOleStream(IStream *stream) : std::istream(nullptr), fBuf(stream, TOleStreamBuf::reading) {
    init(&fBuf);
}

TiOleStream::TiOleStream(unsigned long bufferSize, IStream *stream)
    : std::istream(nullptr), fBuf(bufferSize, stream, TOleStreamBuf::reading) {
    init(&fBuf);
}

TiOleStream::~TiOleStream() = default;

ToOleStream::ToOleStream(IStream *stream) : std::ostream(nullptr), fBuf(stream, TOleStreamBuf::writing) {
    init(&fBuf);
}

ToOleStream::ToOleStream(unsigned long bufferSize, IStream *stream)
    : std::ostream(nullptr), fBuf(bufferSize, stream, TOleStreamBuf::writing) {
    init(&fBuf);
}

ToOleStream::~ToOleStream() = default;
