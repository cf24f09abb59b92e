// Reads a source up to a line feed: within the get area of its buffer or, if the buffer has no get area, character by
// character. An exception of the buffer passes only if the source's exception mask asks for it (see
// kernel/stream_guard.h).

#include "utility/streams/source_reader.h"

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/byte_search.h"
#include "utility/kernel/stream_guard.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <streambuf>
#include <string_view>

namespace {

using traits = std::char_traits<char>;

// Runs `read` on the source's buffer. If the buffer throws and the mask of the source does not let the exception pass,
// the result is Stop::end.
template <typename F>
source_reader::Stop FromBuffer(std::istream &source, F read) {
    source_reader::Stop stop = source_reader::Stop::end;
    if (!stream_guard::Guard(source, [&] { stop = read(*source.rdbuf()); }))
        return source_reader::Stop::end;
    if (stop == source_reader::Stop::end)
        stream_guard::Mark(source, std::ios_base::eofbit);
    return stop;
}

source_reader::Stop Gather(std::streambuf &from, char *into, std::size_t limit, std::size_t &count,
                           bool *hasBareReturn) {
    // Called if a byte other than LF follows the bytes gathered so far: if the last of these is a CR, that CR is bare.
    auto const inspectLast = [&] {
        if (hasBareReturn && count != 0 && into[count - 1] == '\r')
            *hasBareReturn = true;
    };
    while (count < limit) {
        std::string_view const held = TBufferArea::Held(from);
        if (!held.empty()) {
            char const *const begin = held.data();
            std::size_t const size = std::min(held.size(), limit - count);
            char const *const lineFeed = byte_search::FindLineFeed(begin, begin + size, hasBareReturn);
            if (lineFeed != begin)
                inspectLast();
            std::size_t const taken = lineFeed ? static_cast<std::size_t>(lineFeed - begin) : size;
            std::memcpy(into + count, begin, taken);
            TBufferArea::Advance(from, taken);
            count += taken;
            if (lineFeed)
                return source_reader::Stop::lineFeed;
            continue;
        }
        traits::int_type const next = from.sgetc();
        if (traits::eq_int_type(next, traits::eof()))
            return source_reader::Stop::end;
        if (traits::to_char_type(next) == '\n')
            return source_reader::Stop::lineFeed;
        // A buffer without a get area gives its bytes one at a time.
        if (TBufferArea::Held(from).empty()) {
            inspectLast();
            from.sbumpc();
            into[count++] = traits::to_char_type(next);
        }
    }
    return source_reader::Stop::limit;
}

} // namespace

source_reader::Stop source_reader::ReadToLineFeed(std::istream &source, char *into, std::size_t limit,
                                                  std::size_t &count, bool *hasBareReturn) {
    if (!source.good())
        return Stop::end;
    // For a good stream, the sentry only flushes a tied stream. Making a sentry takes time, so none is made if no
    // stream is tied.
    if (source.tie()) {
        std::istream::sentry const ready(source, true);
        if (!ready)
            return Stop::end;
    }
    return FromBuffer(source, [&](std::streambuf &from) { return Gather(from, into, limit, count, hasBareReturn); });
}

bool source_reader::TakeLineFeed(std::istream &source, Stop stop) {
    // After Stop::lineFeed the source is good, and its get area usually begins with the line feed.
    if (stop == Stop::lineFeed && !TBufferArea::Held(*source.rdbuf()).empty()) {
        TBufferArea::Advance(*source.rdbuf(), 1);
        return true;
    }
    if (stop == Stop::end || !source.good())
        return false;
    Stop const next = stop != Stop::limit ? stop : FromBuffer(source, [](std::streambuf &from) {
        traits::int_type const c = from.sgetc();
        if (traits::eq_int_type(c, traits::eof()))
            return Stop::end;
        return traits::to_char_type(c) == '\n' ? Stop::lineFeed : Stop::limit;
    });
    if (next != Stop::lineFeed)
        return false;
    FromBuffer(source, [](std::streambuf &from) {
        from.sbumpc();
        return Stop::lineFeed;
    });
    return true;
}

std::string_view source_reader::HeldLines(std::istream &source, std::size_t size) {
    constexpr std::size_t fsMaximum = 1u << 30; // an area is advanced by an int
    if (!source.good() || source.tie())
        return {};
    std::string_view const held = TBufferArea::Held(*source.rdbuf()).substr(0, std::min(size, fsMaximum));
    if (held.empty())
        return {};
    char const *const lineFeed = byte_search::FindLastByte(held.data(), held.data() + held.size() - 1, '\n');
    return lineFeed ? held.substr(0, static_cast<std::size_t>(lineFeed - held.data()) + 1) : std::string_view();
}
