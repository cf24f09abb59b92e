#ifndef TUZUTIL_BUFFER_AREA
#define TUZUTIL_BUFFER_AREA

// The get and put areas of somebody else's buffer, for small blocks of a fixed size: what sbumpc() and sputc() do for
// one character, without a virtual call.

#include <cstring>
#include <streambuf>

class TBufferArea : private std::streambuf {
public:
    // Moves `count` bytes, all or none; false where the area does not hold them or has no room for them.
    static bool Take(std::streambuf &buffer, void *to, int count) noexcept {
        char const *const from = (buffer.*&TBufferArea::gptr)();
        if ((buffer.*&TBufferArea::egptr)() - from < count)
            return false;
        std::memcpy(to, from, static_cast<std::size_t>(count));
        (buffer.*&TBufferArea::gbump)(count);
        return true;
    }
    static bool Put(std::streambuf &buffer, void const *from, int count) noexcept {
        char *const to = (buffer.*&TBufferArea::pptr)();
        if ((buffer.*&TBufferArea::epptr)() - to < count)
            return false;
        std::memcpy(to, from, static_cast<std::size_t>(count));
        (buffer.*&TBufferArea::pbump)(count);
        return true;
    }
};

#endif
