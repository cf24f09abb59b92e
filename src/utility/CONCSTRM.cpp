// TConcatStreamBuf and TiConcatStream: read several sources as one stream, line by line. If a source throws an
// exception of DOTBYTE.h, the exception passes through the stream that reads the sources (see
// streams/stream_failure.h). This source has no lock.

#include "tuzutil/CONCSTRM.h"

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/byte_search.h"
#include "utility/streams/source_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

constexpr unsigned long fsDefaultSize = 1024;
constexpr unsigned long fsMinimumSize = 14; // a buffer of this size has room for one byte and its line end
constexpr unsigned long fsMaximumSize = 1ul << 30;

} // namespace

TConcatStreamBuf::TConcatStreamBuf(int crLf, unsigned long bufferSize, std::vector<std::istream *> sources)
    : fSources(std::move(sources)),
      fBufferSize(static_cast<std::uint32_t>(std::clamp(bufferSize, fsMinimumSize, fsMaximumSize))), fCrLf(crLf != 0) {}

TConcatStreamBuf::TConcatStreamBuf(int crLf, std::istream &source) : TConcatStreamBuf(crLf, fsDefaultSize, source) {}

TConcatStreamBuf::TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream &source)
    : TConcatStreamBuf(crLf, bufferSize, std::vector<std::istream *>{&source}) {}

TConcatStreamBuf::TConcatStreamBuf(int crLf, std::istream &first, std::istream &second)
    : TConcatStreamBuf(crLf, fsDefaultSize, first, second) {}

TConcatStreamBuf::TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream &first, std::istream &second)
    : TConcatStreamBuf(crLf, bufferSize, std::vector<std::istream *>{&first, &second}) {}

TConcatStreamBuf::TConcatStreamBuf(int crLf, std::istream **sources, unsigned long count)
    : TConcatStreamBuf(crLf, fsDefaultSize, sources, count) {}

TConcatStreamBuf::TConcatStreamBuf(int crLf, unsigned long bufferSize, std::istream **sources, unsigned long count)
    : TConcatStreamBuf(crLf, bufferSize, std::vector<std::istream *>(sources, sources + count)) {}

TConcatStreamBuf::~TConcatStreamBuf() = default;

int TConcatStreamBuf::doallocate() {
    if (!fStorage)
        fStorage = NewStorage(fBufferSize);
    return fStorage ? 0 : -1;
}

bool TConcatStreamBuf::IsWritable() const noexcept {
    return false;
}

// No test gets here: the base class calls this function only if IsWritable() returns true.
void TConcatStreamBuf::WriteThrough(char const *, std::size_t) {}

bool TConcatStreamBuf::IsReadable() const noexcept {
    return fCurrent < fSources.size();
}

TFilterStreamBuf::TPiece TConcatStreamBuf::ReadPiece() {
    char *const back = fStorage.get();
    char *const piece = back + fsPutBackRoom;
    // Two of the 3 bytes are for CR and LF. The third byte stays unused, because CONCSTRM.h promises pieces of at most
    // the buffer size minus 13 bytes, plus the line end.
    std::size_t const limit = fBufferSize - fsPutBackRoom - 3;

    source_reader::Stop stop = source_reader::ReadToLineFeed(*fSources[fCurrent], piece, limit, fGathered);
    bool lineEnds = false;
    bool isOverwritten = false; // whether an unfinished line has overwritten the previous piece
    while (fSources[fCurrent]->eof()) {
        bool const isUnfinished = fGathered != 0 || fLast != '\n';
        if (fWholeLines && isUnfinished) {
            lineEnds = true;
            break;
        }
        isOverwritten = isOverwritten || fGathered != 0;
        fGathered = 0; // drops the unfinished line, if there is one
        if (++fCurrent == fSources.size())
            return {nullptr, nullptr, nullptr}; // null, because a dropped line may have overwritten the previous piece
        stop = source_reader::ReadToLineFeed(*fSources[fCurrent], piece, limit, fGathered);
    }
    if (!lineEnds)
        lineEnds = source_reader::TakeLineFeed(*fSources[fCurrent], stop);
    std::size_t count = std::exchange(fGathered, 0);
    if (lineEnds) {
        bool const lacksCr = count != 0 ? piece[count - 1] != '\r' : fWholeLines && fLast != '\r';
        if (fCrLf && lacksCr)
            piece[count++] = '\r';
        piece[count++] = '\n';
    }
    if (count == 0 && isOverwritten)
        return {nullptr, nullptr, nullptr};
    if (count != 0)
        fLast = piece[count - 1];
    return {back, piece, piece + count};
}

std::size_t TConcatStreamBuf::TakePieces(char *into, std::size_t size) {
    // If a line fills a piece exactly, ReadPiece() treats the LF of the line like that of an empty line. Therefore such
    // lines, and longer ones, are left to ReadPiece().
    std::size_t const limit = fBufferSize - fsPutBackRoom - 3;
    if (!IsReadable() || fLast != '\n' || fGathered != 0)
        return 0;
    std::istream &source = *fSources[fCurrent];
    std::string_view const lines = source_reader::HeldLines(source, size);
    char const *const begin = lines.data();
    char const *const end = begin + lines.size();
    char const *at = begin;
    char *to = into;
    while (at != end) {
        char const *const lineFeed = byte_search::FindByte(at, end, '\n');
        auto const count = static_cast<std::size_t>(lineFeed - at);
        // Copies the line only if its bytes and a line end of two bytes leave room for at least one more byte.
        if (count >= limit || count + 2 >= size - static_cast<std::size_t>(to - into))
            break;
        std::memcpy(to, at, count);
        to += count;
        bool const lacksCr = count != 0 ? lineFeed[-1] != '\r' : fWholeLines;
        if (fCrLf && lacksCr)
            *to++ = '\r';
        *to++ = '\n';
        at = lineFeed + 1;
    }
    TBufferArea::Advance(*source.rdbuf(), static_cast<std::size_t>(at - begin));
    return static_cast<std::size_t>(to - into);
}

std::streambuf::int_type TConcatStreamBuf::pbackfail(int_type c) {
    return PutBack(c);
}

TiConcatStream::TiConcatStream(int crLf, std::istream &source) : std::istream(nullptr), fBuf(crLf, source) {
    Start();
}

TiConcatStream::TiConcatStream(int crLf, unsigned long bufferSize, std::istream &source)
    : std::istream(nullptr), fBuf(crLf, bufferSize, source) {
    Start();
}

TiConcatStream::TiConcatStream(int crLf, std::istream &first, std::istream &second)
    : std::istream(nullptr), fBuf(crLf, first, second) {
    Start();
}

TiConcatStream::TiConcatStream(int crLf, unsigned long bufferSize, std::istream &first, std::istream &second)
    : std::istream(nullptr), fBuf(crLf, bufferSize, first, second) {
    Start();
}

TiConcatStream::TiConcatStream(int crLf, std::istream **sources, unsigned long count)
    : std::istream(nullptr), fBuf(crLf, sources, count) {
    Start();
}

TiConcatStream::TiConcatStream(int crLf, unsigned long bufferSize, std::istream **sources, unsigned long count)
    : std::istream(nullptr), fBuf(crLf, bufferSize, sources, count) {
    Start();
}

void TiConcatStream::Start() {
    init(&fBuf);
    fBuf.Attach(this);
}

TiConcatStream::~TiConcatStream() = default;
