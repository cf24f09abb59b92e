#ifndef TUZUTIL_TESTS_OLESTREAM_H
#define TUZUTIL_TESTS_OLESTREAM_H

// A component-object stream whose behaviour the tests choose. olestream_posix.cpp and olestream_win32.cpp define its
// class.

#include "tuzutil/OLESTRM.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

struct TOleBehaviour {
    std::string content; // the stream reads from it and writes to it
    std::size_t position = 0;
    std::vector<unsigned long> reads; // the counts that the caller asked for
    std::vector<unsigned long> writes;
    unsigned long most = 0xFFFFFFFF; // the most bytes that one call moves
    std::size_t room = SIZE_MAX;     // the largest size of `content`
    std::int32_t readResult = 0;
    std::int32_t writeResult = 0;
    bool tellsTooMuch = false; // calls report more bytes than the caller asked for
    int references = 0;
    std::string throwing; // the function of the interface that throws std::runtime_error

    // Throws if `function` is the function that is to throw. These are AddRef, Release, Read and Write.
    void Enter(char const *function) const {
        if (throwing == function)
            throw std::runtime_error(throwing);
    }
    unsigned long AddReference(int change) {
        Enter(change > 0 ? "AddRef" : "Release");
        return static_cast<unsigned long>(references += change);
    }

    // These functions move the bytes of a call, and return the count that the call reports.
    unsigned long Read(void *bytes, unsigned long count);
    unsigned long Write(void const *bytes, unsigned long count);
};

// A stream object with the given behaviour. TOleObject itself holds no reference to the stream object.
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
    Enter("Read");
    reads.push_back(count);
    std::size_t const moved = content.copy(static_cast<char *>(bytes), count < most ? count : most, position);
    position += moved;
    return tellsTooMuch ? 0x80000000 : static_cast<unsigned long>(moved);
}

inline unsigned long TOleBehaviour::Write(void const *bytes, unsigned long count) {
    Enter("Write");
    writes.push_back(count);
    std::size_t moved = count < most ? count : most;
    if (moved > room - content.size())
        moved = room - content.size();
    content.append(static_cast<char const *>(bytes), moved);
    return tellsTooMuch ? 0x80000000 : static_cast<unsigned long>(moved);
}

#endif
