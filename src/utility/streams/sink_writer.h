#ifndef TUZUTIL_SINK_WRITER
#define TUZUTIL_SINK_WRITER

// Writes to a sink stream that may have std::unitbuf set. A standard stream would flush in a destructor, and an
// exception there ends the process. Here the flush follows the write as a call that may throw.

#include "utility/kernel/stream_guard.h"

#include <cstddef>
#include <ios>
#include <ostream>

namespace sink_writer {

class TUnitBufferPause {
public:
    explicit TUnitBufferPause(std::ostream &sink) : fSink(sink) { sink.unsetf(std::ios_base::unitbuf); }
    ~TUnitBufferPause() { fSink.setf(std::ios_base::unitbuf); }
    TUnitBufferPause(TUnitBufferPause const &) = delete;
    TUnitBufferPause &operator=(TUnitBufferPause const &) = delete;

private:
    std::ostream &fSink;
};

// A sink that is at the end of what it reads, and so writes nothing, gets the fail bit: what is not sent shows.
template <typename F>
void Through(std::ostream &sink, F write) {
    if (!sink.good()) {
        stream_guard::Mark(sink, std::ios_base::failbit);
        return;
    }
    if (!(sink.flags() & std::ios_base::unitbuf)) {
        write(sink);
        return;
    }
    TUnitBufferPause const pause(sink);
    write(sink);
    sink.flush();
}

inline void Write(std::ostream &sink, char const *bytes, std::size_t count) {
    Through(sink, [=](std::ostream &to) { to.write(bytes, static_cast<std::streamsize>(count)); });
}

} // namespace sink_writer

#endif
