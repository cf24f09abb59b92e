// TDotByteStreamBuf and its streams: text bodies as mail protocols send them. In this form, a dot at the beginning of a
// line is doubled, and a line with a single dot ends the body. Any thread may call Cancel(). The other functions are
// for one thread at a time. This source has no lock.

#include "tuzutil/DOTBYTE.h"

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/byte_search.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/wide_search.h"
#include "utility/streams/sink_writer.h"
#include "utility/streams/source_reader.h"
#include "utility/streams/stream_failure.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

TReporter const fsReports(TUtilityTraceCategory::MemStream, "src/utility/DOTBYTE");

// The line numbers that the exceptions and the trace entry of this source report.
constexpr std::uint32_t fsLimitInBody = 271;
constexpr std::uint32_t fsLimitAtEmptyLine = 279;
constexpr std::uint32_t fsCancelling = 297;
constexpr std::uint32_t fsCancelled = 298;

constexpr std::uint32_t fsAreaSize = 1024; // bytes of the get area and of the put area

[[noreturn]] void RaiseCancelled() {
    fsReports.Warning({"Cancelling download", fsCancelling});
    RaiseThroughStreams<TDotByteError>(fsReports.Failure(
        {"Cancel", fsCancelled},
        {.function = "TDotByteStreamBuf::underflow()", .errorId = 0, .severity = TException::unrecoverable}));
}

// If the put area of the sink has room for the bytes, even if every dot in them must be doubled, stores them there in
// one pass, and returns true. Otherwise does nothing, and returns false. This function is not inlined: if it were, a
// body with a limit of lines would be written more slowly.
[[gnu::noinline]] bool StoreLines(std::ostream &sink, char const *bytes, std::size_t count,
                                  bool isAtLineStart) noexcept {
    // No test gets here: more than 1 GiB would have to be written in one call.
    if (count > TBufferArea::fsMostAtOnce)
        return false;
    std::streambuf *const area = sink_writer::AreaFor(sink, 1 + count + count / 2);
    if (!area)
        return false;
    char *const begin = TBufferArea::Place(*area);
    char *to = begin;
    if (isAtLineStart && *bytes == '.')
        *to++ = '.';
    to = wide_search::CopyDoubled(bytes, bytes + count, '\n', '.', to);
    TBufferArea::Filled(*area, static_cast<std::size_t>(to - begin));
    return true;
}

} // namespace

TUZUTIL_DEFINE_EXCEPTION(TDotByteError)
TUZUTIL_DEFINE_EXCEPTION(TDotByteLinesException)

TDotByteStreamBuf::TDotByteStreamBuf(std::istream *source, std::ostream *sink, std::uint32_t size)
    : fSource(source), fSink(sink), fSize(size) {}

TDotByteStreamBuf::TDotByteStreamBuf(std::istream &source) : TDotByteStreamBuf(&source, nullptr, fsAreaSize) {}

TDotByteStreamBuf::TDotByteStreamBuf(std::ostream &sink) : TDotByteStreamBuf(nullptr, &sink, fsAreaSize) {}

TDotByteStreamBuf::TDotByteStreamBuf(std::ostream &sink, unsigned long lines) : TDotByteStreamBuf(sink) {
    fLinesLimited = true;
    fLinesLeft = static_cast<std::uint32_t>(std::min(lines, 0xFFFFFFFFul));
}

TDotByteStreamBuf::TDotByteStreamBuf(std::iostream &stream) : TDotByteStreamBuf(&stream, &stream, 2 * fsAreaSize) {}

TDotByteStreamBuf::~TDotByteStreamBuf() {
    TraceLostBytes();
}

std::uint32_t TDotByteStreamBuf::ReadAreaSize() const noexcept {
    return fSource ? fsAreaSize : 0;
}

int TDotByteStreamBuf::doallocate() {
    if (fBuffer)
        return 0;
    fBuffer = NewStorage(fSize);
    if (!fBuffer)
        return -1;
    if (fSink)
        SetPutArea(fBuffer.get() + ReadAreaSize(), fBuffer.get() + fSize);
    return 0;
}

std::streambuf::pos_type TDotByteStreamBuf::seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) {
    return pos_type(off_type(0));
}

std::streambuf::pos_type TDotByteStreamBuf::seekpos(pos_type position, std::ios_base::openmode mode) {
    return seekoff(off_type(position), std::ios_base::beg, mode);
}

bool TDotByteStreamBuf::IsWritable() const noexcept {
    return fSink && fWriteState != State::terminated;
}

void TDotByteStreamBuf::WriteThrough(char const *bytes, std::size_t count) {
    if (fUsesCrLf)
        WriteWithCrLf(bytes, count);
    else
        WriteLines(bytes, count);
}

// Sends CR LF for each line end of the text, which may be LF, CR or CR LF. The converted bytes are gathered in `part`,
// because one write for each byte would be slow.
void TDotByteStreamBuf::WriteWithCrLf(char const *bytes, std::size_t count) {
    char part[2 * fsAreaSize];
    char const *const end = bytes + count;
    while (bytes != end) {
        std::size_t size = 0;
        for (; bytes != end && size + 2 <= sizeof part; ++bytes) {
            char const c = *bytes;
            bool const isSkipped = c == '\n' && fSkipsLineFeed;
            fSkipsLineFeed = c == '\r';
            if (isSkipped)
                continue;
            if (c == '\r' || c == '\n') {
                part[size++] = '\r';
                part[size++] = '\n';
            } else {
                part[size++] = c;
            }
        }
        if (size != 0)
            WriteLines(part, size);
    }
}

TDotByteStreamBuf::State TDotByteStreamBuf::StateAfter(char written) noexcept {
    if (written == '\n')
        return State::atLineStart;
    return written == '\r' ? State::afterCr : State::insideLine;
}

// Stores the bytes in the put area of the sink, or else writes them in runs. If a run begins a line and its first byte
// is a dot, a second dot is written before it. If the number of lines is limited, the limit is checked after each run.
// Otherwise the dot that ends a run is written with this run, and once more with the next run.
void TDotByteStreamBuf::WriteLines(char const *bytes, std::size_t count) {
    if (!fLinesLimited && StoreLines(*fSink, bytes, count, fWriteState == State::atLineStart)) {
        fWriteState = StateAfter(bytes[count - 1]);
        return;
    }
    char const *const end = bytes + count;
    bool isDotWritten = false;
    while (bytes != end) {
        if (fWriteState == State::atLineStart && *bytes == '.' && !isDotWritten)
            sink_writer::Write(*fSink, ".", 1);
        std::uint32_t lines = 0;
        char const *const stop = EndOfRun(bytes, end, lines);
        auto const length = static_cast<std::size_t>(stop - bytes);
        isDotWritten = stop != end && !fLinesLimited;
        sink_writer::Write(*fSink, bytes, length + (isDotWritten ? 1 : 0));
        fWriteState = StateAfter(stop[-1]);
        fLineLength += length;
        bytes = stop;
        if (fLinesLimited)
            CheckStop(lines);
    }
}

// Returns the end of the run that begins at `from`. A run ends after the next LF that is followed by a dot, or else at
// `end`. If the number of lines is limited, a run in the header ends after the next LF. A run in the body then ends
// after the last allowed line at the latest, and `lines` is set to the number of lines that end in this run.
char const *TDotByteStreamBuf::EndOfRun(char const *from, char const *end, std::uint32_t &lines) const noexcept {
    if (fLinesLimited && !fInBody) {
        char const *const lineFeed = byte_search::FindByte(from, end, '\n');
        return lineFeed ? lineFeed + 1 : end;
    }
    char const *const dotted = wide_search::FindPair(from, end, '\n', '.');
    char const *const stop = dotted ? dotted + 1 : end;
    if (!fLinesLimited)
        return stop;
    std::size_t const ends = byte_search::CountByte(from, stop, '\n');
    lines = static_cast<std::uint32_t>(std::min<std::size_t>(ends, fLinesLeft));
    if (ends < fLinesLeft)
        return stop;
    for (std::uint32_t i = 0; i < lines; ++i)
        from = byte_search::FindByte(from, stop, '\n') + 1;
    return from;
}

// Called after each run if the number of lines is limited. `lines` is the number of lines of the body that ended in the
// run.
void TDotByteStreamBuf::CheckStop(std::uint32_t lines) {
    if (fInBody) {
        fLinesLeft -= lines;
        if (fLinesLeft == 0)
            Stop(fsLimitInBody);
    } else if (fWriteState == State::atLineStart) {
        if (fLineLength < 3) {
            fInBody = true;
            if (fLinesLeft == 0)
                Stop(fsLimitAtEmptyLine);
        }
        fLineLength = 0;
    }
}

void TDotByteStreamBuf::Stop(std::uint32_t sourceLine) {
    WriteEndLine();
    RaiseThroughStreams<TDotByteLinesException>(fsReports.Failure(
        {"Lines", sourceLine},
        {.function = "TDotByteStreamBuf::CheckStop()", .errorId = 0, .severity = TException::unrecoverable}));
}

void TDotByteStreamBuf::WriteEndLine() {
    fWriteState = State::terminated;
    ClosePutArea();
    sink_writer::Through(*fSink, [](std::ostream &sink) {
        sink << ".\r\n";
        sink.flush();
    });
}

int TDotByteStreamBuf::WriteTermination() {
    if (traits_type::eq_int_type(overflow(traits_type::eof()), traits_type::eof()))
        return -1;
    WriteEndLine();
    return fSink->fail() ? -1 : 0;
}

int TDotByteStreamBuf::EndBody() {
    if (traits_type::eq_int_type(overflow(traits_type::eof()), traits_type::eof()))
        return -1;
    if (fWriteState == State::afterCr)
        xsputn("\n", 1);
    else if (fWriteState == State::insideLine)
        xsputn("\r\n", 2);
    return WriteTermination();
}

bool TDotByteStreamBuf::IsReadable() const noexcept {
    return fSource && fReadState != State::terminated;
}

void TDotByteStreamBuf::BeforeRead() {
    // exchange() is slower than load(), so it is called only if Cancel() was called.
    // No test gets here: two threads would have to read from the stream in one moment.
    if (fCancel.load(std::memory_order_relaxed) && fCancel.exchange(0))
        RaiseCancelled();
}

TFilterStreamBuf::TPiece TDotByteStreamBuf::ReadPiece() {
    char *begin = fBuffer.get();
    // A full piece has fsAreaSize - 1 bytes. The piece is delivered before the next byte is inspected, because that
    // byte may not have arrived yet.
    auto const [count, lineFeed] = source_reader::ReadPart(*fSource, begin, fsAreaSize - 1, fGathered,
                                                           source_reader::AtLimit::stop, &fHasBareReturn);
    char *end = begin + count;

    if (fReadState == State::atLineStart && count >= 2 && *begin == '.') {
        if (count == 2 && begin[1] == '\r' && lineFeed) {
            fReadState = State::terminated;
            // The pointers are null, because the line with the dot has overwritten the previous piece.
            return {nullptr, nullptr, nullptr};
        }
        ++begin;
    }
    // If the previous piece ended with CR, and a byte other than LF follows, that CR is bare.
    if (count > 0 && fReadState == State::afterCr)
        fHasBareReturn = true;
    if (count > 0 && end[-1] == '\r')
        fReadState = State::afterCr;
    else if (count > 0 || fReadState != State::afterCr)
        fReadState = State::insideLine;
    if (lineFeed) {
        ++end; // ReadPart() has stored the line feed
        if (fReadState == State::afterCr)
            fReadState = State::atLineStart;
        else
            fHasBareLineFeed = true;
    }
    return {begin, begin, end};
}

std::size_t TDotByteStreamBuf::TakePieces(char *into, std::size_t size) {
    bool const isCancelled = fCancel.load(std::memory_order_relaxed) != 0; // if true, the next underflow() throws
    if (isCancelled || !IsReadable() || fReadState != State::atLineStart || fGathered != 0)
        return 0;
    std::string_view const lines = source_reader::HeldLines(*fSource, size);
    char const *const begin = lines.data();
    char const *const end = begin + lines.size();
    char const *at = begin;
    char *to = into;
    if (at != end && *at == '\n')
        fHasBareLineFeed = true;
    // Each round copies the bytes up to the next line that begins with a dot.
    while (at != end) {
        if (*at == '.' && at[1] != '\n') {
            if (at[1] == '\r' && at[2] == '\n')
                break; // the end of the body is left to ReadPiece()
            ++at;
        }
        char const *const stop = EndOfDotless(at, begin, end);
        auto const length = static_cast<std::size_t>(stop - at);
        std::memcpy(to, at, length);
        to += length;
        at = stop;
    }
    if (at == begin)
        return 0;
    fReadState = at - begin > 1 && at[-2] == '\r' ? State::atLineStart : State::insideLine;
    TBufferArea::Advance(*fSource->rdbuf(), static_cast<std::size_t>(at - begin));
    return static_cast<std::size_t>(to - into);
}

// Returns the beginning of the first line after `from` that begins with a dot, or `end`. Only CR LF ends a line here.
// Sets the flags for the bare CRs and LFs before that place. REQUIRES: a line begins at `begin`, and `from` is at the
// beginning of a line or after the dot that begins a line.
char const *TDotByteStreamBuf::EndOfDotless(char const *from, char const *begin, char const *end) noexcept {
    from += from == begin ? 1 : 0; // the byte before `begin` must not be read
    while (char const *const found = fHasBareLineFeed && fHasBareReturn ? byte_search::FindPair(from, end, '\n', '.')
                                                                        : byte_search::FindDottedOrBare(from, end)) {
        bool const isAfterCr = found[-1] == '\r';
        if (*found != '\n')
            fHasBareReturn = true;
        else if (!isAfterCr)
            fHasBareLineFeed = true;
        else
            return found + 1;
        from = found + 1;
    }
    return end;
}

int TDotByteStreamBuf::ReadToTermination() {
    while (!traits_type::eq_int_type(underflow(), traits_type::eof()))
        setg(eback(), egptr(), egptr());
    return 0;
}

TDotByteStream::TDotByteStream(std::iostream &stream) : std::iostream(nullptr), fBuf(stream) {
    init(&fBuf);
    fBuf.Attach(this);
}

TDotByteStream::~TDotByteStream() = default;

TiDotByteStream::TiDotByteStream(std::istream &source) : std::istream(nullptr), fBuf(source) {
    init(&fBuf);
    fBuf.Attach(this);
}

TiDotByteStream::~TiDotByteStream() = default;

ToDotByteStream::ToDotByteStream(std::ostream &sink) : std::ostream(nullptr), fBuf(sink) {
    init(&fBuf);
    fBuf.Attach(this);
}

ToDotByteStream::ToDotByteStream(std::ostream &sink, unsigned long lines) : std::ostream(nullptr), fBuf(sink, lines) {
    init(&fBuf);
    fBuf.Attach(this);
}

ToDotByteStream::~ToDotByteStream() = default;
