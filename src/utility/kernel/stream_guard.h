#ifndef TUZUTIL_STREAM_GUARD
#define TUZUTIL_STREAM_GUARD

// What a stream does when its buffer throws: it sets its bad bit, and passes the exception on only if its mask asks for
// that.

#include <exception>
#include <ios>

namespace stream_guard {

// Sets bits without the exception that the stream's mask may ask for.
inline void Mark(std::ios &stream, std::ios_base::iostate bits) {
    try {
        stream.setstate(bits);
    } catch (std::ios_base::failure const &) {
    }
}

// Runs `work` on the stream's buffer. An exception sets the bad bit. It is thrown on if the stream's mask asks for it;
// otherwise the result is false. The unwinding of a thread that is cancelled always continues.
template <typename Work>
bool Guard(std::ios &stream, Work work) {
    try {
        work();
        return true;
    } catch (...) {
        // None of the language's exceptions: the system's unwinding.
        bool const isCancelled = !std::current_exception();
        Mark(stream, std::ios_base::badbit);
        if (isCancelled || (stream.exceptions() & std::ios_base::badbit))
            throw;
        return false;
    }
}

} // namespace stream_guard

#endif
