#ifndef TUZUTIL_TESTS_OLESTREAM_H
#define TUZUTIL_TESTS_OLESTREAM_H

// A component-object stream that does what the tests say. Defined in olestream_posix.cpp and olestream_win32.cpp.

#include "tuzutil/OLESTRM.h"

#include <cstdint>
#include <string>
#include <vector>

struct TOleBehaviour {
    std::string content; // read from, and written to
    std::size_t position = 0;
    std::vector<unsigned long> reads; // the counts asked for
    std::vector<unsigned long> writes;
    unsigned long most = 0xFFFFFFFF; // bytes that one call moves
    std::size_t room = SIZE_MAX;     // for content
    std::int32_t readResult = 0;
    std::int32_t writeResult = 0;
    bool tellsTooMuch = false; // counts beyond what was asked for
    int references = 0;

    // What the calls do; the count is what they report.
    unsigned long Read(void *bytes, unsigned long count);
    unsigned long Write(void const *bytes, unsigned long count);
};

// An object over the behaviour; it has no reference of its own.
class TOleObject {
public:
    explicit TOleObject(TOleBehaviour &behaviour);
    TOleObject(TOleObject const &) = delete;
    TOleObject &operator=(TOleObject const &) = delete;
    ~TOleObject();

    IStream *Stream() const noexcept { return fStream; }

private:
    IStream *fStream;
};

inline unsigned long TOleBehaviour::Read(void *bytes, unsigned long count) {
    reads.push_back(count);
    std::size_t const moved = content.copy(static_cast<char *>(bytes), count < most ? count : most, position);
    position += moved;
    return tellsTooMuch ? 0x80000000 : static_cast<unsigned long>(moved);
}

inline unsigned long TOleBehaviour::Write(void const *bytes, unsigned long count) {
    writes.push_back(count);
    std::size_t moved = count < most ? count : most;
    if (moved > room - content.size())
        moved = room - content.size();
    content.append(static_cast<char const *>(bytes), moved);
    return tellsTooMuch ? 0x80000000 : static_cast<unsigned long>(moved);
}

#endif
