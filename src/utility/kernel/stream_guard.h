#ifndef TUZUTIL_STREAM_GUARD
#define TUZUTIL_STREAM_GUARD

// Treats an exception of a stream's buffer as the standard streams do. The stream gets its bad bit, and the exception
// passes only if the stream's exception mask contains badbit.

#include <exception>
#include <ios>

namespace stream_guard {

// Sets bits of the state without throwing, even if the stream's mask contains them.
inline void Mark(std::ios &stream, std::ios_base::iostate bits) {
    try {
        stream.setstate(bits);
    } catch (std::ios_base::failure const &) {
    }
}

// Runs `work`, which uses the stream's buffer, and returns true. If `work` throws, sets the bad bit. After that, if the
// mask contains badbit, lets the exception pass, and otherwise returns false. The unwinding of a cancelled thread
// always continues.
template <typename Work>
bool Guard(std::ios &stream, Work work) {
    try {
        work();
        return true;
    } catch (...) {
        // If there is no C++ exception, the system is unwinding a cancelled thread.
        bool const isCancelled = !std::current_exception();
        Mark(stream, std::ios_base::badbit);
        if (isCancelled || (stream.exceptions() & std::ios_base::badbit))
            throw;
        return false;
    }
}

} // namespace stream_guard

#endif
