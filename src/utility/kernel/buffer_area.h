#ifndef TUZUTIL_BUFFER_AREA
#define TUZUTIL_BUFFER_AREA

// TBufferArea: access to the get and put areas of any stream buffer, through pointers to its protected members. No
// function makes a virtual call.

#include <cstddef>
#include <cstring>
#include <streambuf>
#include <string_view>

class TBufferArea : private std::streambuf {
public:
    // The most bytes that a caller moves from or to an area at once. A position moves by an int.
    static constexpr std::size_t fsMostAtOnce = 0x40000000u;

    // Held() returns the unread bytes of the get area, and Advance() skips `count` of these bytes. REQUIRES, for
    // Advance(): there are at least `count` unread bytes.
    static std::string_view Held(std::streambuf &buffer) noexcept {
        char const *const begin = (buffer.*&TBufferArea::gptr)();
        char const *const end = (buffer.*&TBufferArea::egptr)();
        return begin < end ? std::string_view(begin, static_cast<std::size_t>(end - begin)) : std::string_view();
    }
    static void Advance(std::streambuf &buffer, std::size_t count) noexcept {
        (buffer.*&TBufferArea::gbump)(static_cast<int>(count));
    }

    // Room() returns the number of bytes for which the put area has room. Place() returns the put position. Filled()
    // moves this position forward by `count` bytes, and returns the old position. The caller must store the bytes
    // there, before or after the call. REQUIRES, for Filled(): there is room for the bytes.
    static std::size_t Room(std::streambuf &buffer) noexcept {
        return static_cast<std::size_t>((buffer.*&TBufferArea::epptr)() - (buffer.*&TBufferArea::pptr)());
    }
    static char *Place(std::streambuf &buffer) noexcept { return (buffer.*&TBufferArea::pptr)(); }
    static char *Filled(std::streambuf &buffer, std::size_t count) noexcept {
        char *const to = Place(buffer);
        (buffer.*&TBufferArea::pbump)(static_cast<int>(count));
        return to;
    }

    // Removes the first `count` bytes from the put area, and moves the rest to the beginning of the area. REQUIRES: the
    // area holds at least `count` bytes.
    static void Drop(std::streambuf &buffer, std::size_t count) noexcept {
        char *const begin = (buffer.*&TBufferArea::pbase)();
        auto const left = static_cast<std::size_t>((buffer.*&TBufferArea::pptr)() - begin) - count;
        if (left && count)
            std::memmove(begin, begin + count, left);
        (buffer.*&TBufferArea::setp)(begin, (buffer.*&TBufferArea::epptr)());
        (buffer.*&TBufferArea::pbump)(static_cast<int>(left));
    }
};

#endif
