#ifndef TUZUTIL_BUFFER_AREA
#define TUZUTIL_BUFFER_AREA

// TBufferArea: the get and put areas of any stream buffer, reached through pointers to the protected members. It does
// for several characters what sbumpc() and sputc() do for one, without a virtual call.

#include <cstring>
#include <streambuf>
#include <string_view>

class TBufferArea : private std::streambuf {
public:
    // Moves `count` bytes, all or none. False if the area does not hold them, or has no room for them.
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

    // What the get area holds, and a step forward in it. REQUIRES: it holds `count` bytes.
    static std::string_view Held(std::streambuf &buffer) noexcept {
        char const *const begin = (buffer.*&TBufferArea::gptr)();
        char const *const end = (buffer.*&TBufferArea::egptr)();
        return begin < end ? std::string_view(begin, static_cast<std::size_t>(end - begin)) : std::string_view();
    }
    static void Advance(std::streambuf &buffer, std::size_t count) noexcept {
        (buffer.*&TBufferArea::gbump)(static_cast<int>(count));
    }

    // Takes the first `count` bytes out of the put area; the rest moves to its beginning. REQUIRES: it holds them.
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
