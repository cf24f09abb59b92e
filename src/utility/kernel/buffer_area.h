#ifndef TUZUTIL_BUFFER_AREA
#define TUZUTIL_BUFFER_AREA

// TBufferArea: access to the get and put areas of any stream buffer, through pointers to its protected members. Take()
// and Put() do for several characters what sbumpc() and sputc() do for a single one. No function makes a virtual call.

#include <cstring>
#include <streambuf>
#include <string_view>

class TBufferArea : private std::streambuf {
public:
    // Take() moves `count` bytes out of the get area, and Put() moves `count` bytes into the put area. If the get area
    // has fewer bytes, or the put area has less room, the functions move nothing and return false.
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

    // Removes the first `count` bytes from the put area, and moves the rest to its beginning. REQUIRES: the area holds
    // at least `count` bytes.
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
