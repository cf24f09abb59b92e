#ifndef TUZUTIL_SOURCE_READER
#define TUZUTIL_SOURCE_READER

// Reads a source stream up to a line feed, as the classic `get` with a delimiter did: an empty line is no failure. The
// source gets eofbit at its end and badbit if its buffer throws, never failbit. Its get area is searched in place, and
// the bytes after the line feed stay there.

#include <cstddef>
#include <iosfwd>

namespace source_reader {

enum class Stop {
    lineFeed, // the source's next byte
    limit,
    end // of the data, or a source that is not good
};

// Reads until `count` is `limit`, the next byte is a line feed or the source ends. An exception of the source passes if
// the source throws on badbit; `count` is right even then, and the same call continues from there.
Stop ReadToLineFeed(std::istream &source, char *into, std::size_t limit, std::size_t &count);

// After that: takes the line feed if it is the next byte. After `limit` this looks at the next byte and may wait for
// it.
bool TakeLineFeed(std::istream &source, Stop stop);

} // namespace source_reader

#endif
