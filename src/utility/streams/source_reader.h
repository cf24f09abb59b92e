#ifndef TUZUTIL_SOURCE_READER
#define TUZUTIL_SOURCE_READER

// Reads a source stream up to a line feed. Unlike istream::get() with a delimiter, ReadToLineFeed() never sets failbit,
// so an empty line is not a failure. The source gets eofbit at its end, and badbit if its buffer throws. Bytes after
// the line feed stay in the source.

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/byte_search.h"

#include <cstddef>
#include <cstring>
#include <istream>
#include <string_view>
#include <utility>

namespace source_reader {

enum class Stop {
    lineFeed, // the next byte of the source is a line feed
    limit,    // as many bytes were read as the caller allows
    end       // the data ended, or the source is not good
};

// Reads until `count` is `limit`, the next byte is a line feed, or the source ends. Bytes are stored from into[count]
// on, and `count` is increased by their number. An exception of the buffer reaches the caller if the source's
// exception mask contains badbit. Even then `count` is correct, and a second call with the same arguments continues.
//
// If `hasBareReturn` is not null, `*hasBareReturn` becomes true if a byte other than LF follows a CR among the bytes
// read. `*hasBareReturn` never becomes false.
Stop ReadToLineFeed(std::istream &source, char *into, std::size_t limit, std::size_t &count,
                    bool *hasBareReturn = nullptr);

// Takes the next byte if it is a line feed, and returns whether it was one. `stop` is the result of ReadToLineFeed().
// If `stop` is Stop::limit, the function inspects the next byte, and waits until that byte arrives.
bool TakeLineFeed(std::istream &source, Stop stop);

// A part of a line: `count` bytes were stored. If `endsLine` is true, the line feed after them was taken and stored
// too, but not counted.
struct TPart {
    std::size_t count;
    bool endsLine;
};

// Tells ReadPart() what to do after `limit` bytes without a line feed. With `stop`, it returns at once. With `inspect`,
// it waits for the next byte, which may be the line feed.
enum class AtLimit { stop, inspect };

// Copies [from, end) to `into` up to the first LF, with this LF. Returns the place of this LF in [from, end). If there
// is none, returns null, and may have changed the bytes of `into`. `hasBareReturn` is that of
// byte_search::FindLineFeed().
inline char const *CopyToLineFeed(char const *from, char const *end, char *into, bool *hasBareReturn) noexcept {
    bool const isReturnText = !hasBareReturn || *hasBareReturn;
    char const *const found = byte_search::CopyToEither(from, end, isReturnText ? '\n' : '\r', '\n', into);
    if (!found || *found == '\n')
        return found;
    if (found + 1 != end && found[1] == '\n') {
        into[found + 1 - from] = '\n';
        return found + 1;
    }
    // The line has a bare CR, or the range ends.
    char const *const lineFeed = byte_search::FindLineFeed(found, end, hasBareReturn);
    if (lineFeed)
        std::memcpy(into, from, static_cast<std::size_t>(lineFeed - from) + 1);
    return lineFeed;
}

// Takes a whole line if the source's buffer already holds the line and its line feed within `limit` bytes, and if no
// tied stream has to be flushed. Otherwise takes nothing and returns false, but may have changed the bytes of `into`.
// The function is inline, because for a usual line, calls would take as long as the rest of the work.
inline bool TakeHeldLine(std::istream &source, char *into, std::size_t limit, std::size_t &count, bool *hasBareReturn) {
    if (!source.good() || source.tie())
        return false;
    std::string_view const held = TBufferArea::Held(*source.rdbuf()).substr(0, limit);
    if (held.empty())
        return false;
    char const *const lineFeed = CopyToLineFeed(held.data(), held.data() + held.size(), into, hasBareReturn);
    if (!lineFeed)
        return false;
    count = static_cast<std::size_t>(lineFeed - held.data());
    TBufferArea::Advance(*source.rdbuf(), count + 1);
    return true;
}

// Reads the next part of a line. If an earlier call threw, `gathered` is the number of bytes that the earlier call had
// stored, and this call continues after them. Sets `gathered` to 0 unless this call throws, too. `hasBareReturn` is
// that of ReadToLineFeed(). REQUIRES: `into` has room for `limit` bytes and the line feed.
inline TPart ReadPart(std::istream &source, char *into, std::size_t limit, std::size_t &gathered, AtLimit atLimit,
                      bool *hasBareReturn = nullptr) {
    std::size_t count = 0;
    if (gathered == 0 && TakeHeldLine(source, into, limit, count, hasBareReturn))
        return {count, true};
    Stop const stop = ReadToLineFeed(source, into, limit, gathered, hasBareReturn);
    bool const endsLine = (stop != Stop::limit || atLimit == AtLimit::inspect) && TakeLineFeed(source, stop);
    if (endsLine)
        into[gathered] = '\n';
    return {std::exchange(gathered, 0), endsLine};
}

// Returns lines that the source's buffer already holds. These lines have fewer than `size` bytes in all and end with
// LF, and at least one more byte follows them in the buffer. Returns an empty view if there is no such line, if the
// source is not good, or if reading would have to flush a tied stream.
std::string_view HeldLines(std::istream &source, std::size_t size);

} // namespace source_reader

#endif
