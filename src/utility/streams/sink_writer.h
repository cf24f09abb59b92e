#ifndef TUZUTIL_SINK_WRITER
#define TUZUTIL_SINK_WRITER

// Writes to a sink stream that may have std::unitbuf set. If this flag is set, a standard stream flushes in the
// destructor of its sentry. An exception that leaves a destructor ends the process. So the flag is cleared during the
// write, and the sink is flushed afterwards outside of any destructor.

#include "utility/kernel/buffer_area.h"
#include "utility/kernel/stream_guard.h"

#include <cstddef>
#include <ios>
#include <ostream>
#include <streambuf>

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

// Runs `write` on the sink if the sink is good. Otherwise sets the fail bit of the sink, because nothing is written.
// Some sinks are also read. If reading has reached the end of such a sink, the sink is no longer good, so nothing is
// written to it.
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

// Returns the buffer of the sink if its put area has room for `count` bytes, and a write would do nothing but store the
// bytes there. Otherwise returns null.
inline std::streambuf *AreaFor(std::ostream &sink, std::size_t count) noexcept {
    if (!sink.good() || sink.tie() || (sink.flags() & std::ios_base::unitbuf))
        return nullptr;
    std::streambuf *const buffer = sink.rdbuf();
    return TBufferArea::Room(*buffer) >= count ? buffer : nullptr;
}

} // namespace sink_writer

#endif
