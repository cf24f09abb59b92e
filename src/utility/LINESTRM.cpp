// TLineStreamBuf and its streams: read the lines of a source in pieces of bounded size, and pass written bytes on to a
// sink unchanged. This source has no lock, because a stream belongs to one thread.

#include "tuzutil/LINESTRM.h"

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/byte_search.h"
#include "utility/kernel/stream_guard.h"
#include "utility/streams/sink_writer.h"
#include "utility/streams/source_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr unsigned long fsDefaultSize = 10240;
constexpr unsigned long fsMinimumSize = 500;
constexpr unsigned long fsMaximumSize = 1ul << 30;

} // namespace

TLineStreamBuf::TLineStreamBuf() : TLineStreamBuf(fsDefaultSize) {}

TLineStreamBuf::TLineStreamBuf(unsigned long bufferSize)
    : fBufferSize(static_cast<std::uint32_t>(std::clamp(bufferSize, fsMinimumSize, fsMaximumSize))) {}

TLineStreamBuf::TLineStreamBuf(std::iostream *stream) : TLineStreamBuf(fsDefaultSize, stream) {}

TLineStreamBuf::TLineStreamBuf(std::istream *source) : TLineStreamBuf(fsDefaultSize, source) {}

TLineStreamBuf::TLineStreamBuf(std::ostream *sink) : TLineStreamBuf(fsDefaultSize, sink) {}

TLineStreamBuf::TLineStreamBuf(unsigned long bufferSize, std::iostream *stream) : TLineStreamBuf(bufferSize) {
    Init(stream);
}

TLineStreamBuf::TLineStreamBuf(unsigned long bufferSize, std::istream *source) : TLineStreamBuf(bufferSize) {
    Init(source);
}

TLineStreamBuf::TLineStreamBuf(unsigned long bufferSize, std::ostream *sink) : TLineStreamBuf(bufferSize) {
    Init(sink);
}

TLineStreamBuf::~TLineStreamBuf() {
    TraceLostBytes();
}

void TLineStreamBuf::Init(std::iostream *stream) {
    SetStreams(stream, stream);
}

void TLineStreamBuf::Init(std::istream *source) {
    SetStreams(source, nullptr);
}

void TLineStreamBuf::Init(std::ostream *sink) {
    SetStreams(nullptr, sink);
}

// Sets source and sink, each of which may be null. The division of the storage into areas depends on which of them is
// null. So the storage is released here, and allocated again at the next use.
void TLineStreamBuf::SetStreams(std::istream *source, std::ostream *sink) {
    Close();
    fSource = source;
    fSink = sink;
}

void TLineStreamBuf::Close() {
    setg(nullptr, nullptr, nullptr);
    ClosePutArea();
    fGathered = 0;
    fBack = nullptr;
    fStorage.reset();
}

std::uint32_t TLineStreamBuf::ReadAreaSize() const noexcept {
    if (!fSource)
        return 0;
    return fSink ? fBufferSize / 2 : fBufferSize;
}

int TLineStreamBuf::doallocate() {
    if (fStorage)
        return 0;
    fStorage = NewStorage(fBufferSize);
    if (!fStorage)
        return -1;
    if (fSink)
        SetPutArea(fStorage.get() + ReadAreaSize(), fStorage.get() + fBufferSize);
    return 0;
}

bool TLineStreamBuf::IsWritable() const noexcept {
    return fSink != nullptr;
}

void TLineStreamBuf::WriteThrough(char const *bytes, std::size_t count) {
    sink_writer::Write(*fSink, bytes, count);
}

bool TLineStreamBuf::IsReadable() const noexcept {
    return fSource != nullptr;
}

TFilterStreamBuf::TPiece TLineStreamBuf::ReadPiece() {
    // The piece follows the room for bytes that are put back. One of the two bytes after the piece is for the line
    // feed. The other stays unused, because LINESTRM.h promises pieces of this size.
    char *const back = fStorage.get();
    char *const piece = back + fsPutBackRoom;
    std::size_t const limit = ReadAreaSize() - fsPutBackRoom - 2;

    auto [count, lineEnds] =
        source_reader::ReadPart(*fSource, piece, limit, fGathered, source_reader::AtLimit::inspect);
    // The line is counted even if nothing was read. So the end of the data counts as one more line, as LINESTRM.h says.
    if (fAtLineStart)
        ++fLinesRead;
    fAtLineStart = lineEnds;
    if (lineEnds)
        ++count; // ReadPart() has stored the line feed
    return {back, piece, piece + count};
}

std::size_t TLineStreamBuf::TakePieces(char *into, std::size_t size) {
    std::string_view const lines = fGathered == 0 ? source_reader::HeldLines(*fSource, size) : std::string_view();
    if (lines.empty())
        return 0;
    std::memcpy(into, lines.data(), lines.size());
    // A line is counted when it begins, so a line that has begun before is counted already.
    fLinesRead += static_cast<std::uint32_t>(byte_search::CountByte(lines.data(), lines.data() + lines.size(), '\n')) -
                  (fAtLineStart ? 0 : 1);
    fAtLineStart = true;
    TBufferArea::Advance(*fSource->rdbuf(), lines.size());
    return lines.size();
}

// Reads the pieces of one line. A CR at the end of a piece is text only if the next piece does not begin with LF. So
// the CR is held back until the next piece is read.
TLineRead TLineStreamBuf::TakeLine(TAppend append, void *line, std::size_t limit) {
    bool isTooLong = false;
    bool hasBareReturn = false;
    bool isReturnHeld = false;
    auto const add = [&](char const *bytes, std::size_t count) {
        std::size_t const taken = std::min(count, limit);
        isTooLong = isTooLong || taken < count;
        limit -= taken;
        if (taken != 0)
            append(line, bytes, taken);
    };
    auto const addHeldReturn = [&] {
        if (isReturnHeld)
            add("\r", 1);
        hasBareReturn = hasBareReturn || isReturnHeld;
    };
    while (!traits_type::eq_int_type(sgetc(), traits_type::eof())) {
        char *const begin = gptr();
        char const *const lineFeed = byte_search::FindLineFeed(begin, egptr(), &hasBareReturn);
        std::ptrdiff_t const count = (lineFeed ? lineFeed : egptr()) - begin;
        if (count != 0) {
            addHeldReturn();
            isReturnHeld = begin[count - 1] == '\r';
            add(begin, static_cast<std::size_t>(count) - (isReturnHeld ? 1 : 0));
        }
        setg(eback(), begin + count + (lineFeed ? 1 : 0), egptr());
        if (!lineFeed)
            continue;
        if (isTooLong)
            return TLineRead::tooLong;
        if (hasBareReturn)
            return TLineRead::bareCarriageReturn;
        return isReturnHeld ? TLineRead::line : TLineRead::bareLineFeed;
    }
    addHeldReturn();
    return TLineRead::end;
}

TLineRead TLineStreamBuf::TakeLine(std::istream &stream, TAppend append, void *line, std::size_t limit) {
    TLineRead read = TLineRead::end;
    std::istream::sentry const ready(stream, true); // sets failbit if the stream is not good
    if (!ready || !stream_guard::Guard(stream, [&] { read = TakeLine(append, line, limit); }))
        return TLineRead::end;
    if (read == TLineRead::end)
        stream.setstate(std::ios_base::eofbit | std::ios_base::failbit);
    return read;
}

std::streambuf::int_type TLineStreamBuf::pbackfail(int_type c) {
    return PutBack(c);
}

TLineStream::TLineStream(std::iostream *stream) : std::iostream(nullptr), fBuf(stream) {
    init(&fBuf);
    fBuf.Attach(this);
}

TLineStream::TLineStream(unsigned long bufferSize, std::iostream *stream)
    : std::iostream(nullptr), fBuf(bufferSize, stream) {
    init(&fBuf);
    fBuf.Attach(this);
}

TLineStream::~TLineStream() = default;

TiLineStream::TiLineStream(std::istream *source) : std::istream(nullptr), fBuf(source) {
    init(&fBuf);
    fBuf.Attach(this);
}

TiLineStream::TiLineStream(unsigned long bufferSize, std::istream *source)
    : std::istream(nullptr), fBuf(bufferSize, source) {
    init(&fBuf);
    fBuf.Attach(this);
}

TiLineStream::~TiLineStream() = default;

ToLineStream::ToLineStream(std::ostream *sink) : std::ostream(nullptr), fBuf(sink) {
    init(&fBuf);
    fBuf.Attach(this);
}

ToLineStream::ToLineStream(unsigned long bufferSize, std::ostream *sink)
    : std::ostream(nullptr), fBuf(bufferSize, sink) {
    init(&fBuf);
    fBuf.Attach(this);
}

ToLineStream::~ToLineStream() = default;
