#include "MessageSource.h"

#include <cstring>

namespace pop3d {

MessageSourceBuf::MessageSourceBuf(std::string const &path) {
    fFile.open(path, std::ios_base::in | std::ios_base::binary);
}

bool MessageSourceBuf::ReadBlock() {
    std::streamsize count = 0;
    try {
        count = fFile.sgetn(fBlock.data(), static_cast<std::streamsize>(fBlock.size()));
    } catch (std::ios_base::failure const &) {
        fHasFailed = true; // which is not the same as the end
    }
    fNext = fBlock.data();
    fEnd = fNext + (count > 0 ? count : 0);
    return count > 0;
}

// Hands out either a stretch of the block in place, up to the next empty line, or one of the mended line ends.
MessageSourceBuf::int_type MessageSourceBuf::underflow() {
    if (gptr() != egptr())
        return traits_type::to_int_type(*gptr());
    if (fNext == fEnd && !ReadBlock()) {
        if (fLast == '\n')
            return traits_type::eof();
        fMended[0] = fLast = '\n';
        setg(fMended, fMended, fMended + 1);
    } else if (*fNext == '\n' && fLast == '\n') {
        ++fNext;
        fMended[0] = '\r';
        fMended[1] = '\n';
        setg(fMended, fMended, fMended + 2);
    } else {
        char const *stop = fNext + 1;
        while (stop != fEnd && !(*stop == '\n' && stop[-1] == '\n')) {
            auto const *const lf =
                static_cast<char const *>(std::memchr(stop, '\n', static_cast<std::size_t>(fEnd - stop)));
            if (!lf)
                stop = fEnd;
            else
                stop = lf == stop && stop[-1] == '\n' ? stop : lf + 1;
        }
        char *const from = const_cast<char *>(fNext); // the get area is never written to
        fNext = stop;
        fLast = stop[-1];
        setg(from, from, const_cast<char *>(stop));
    }
    return traits_type::to_int_type(*gptr());
}

MessageSource::MessageSource(std::string const &path) : std::istream(nullptr), fBuf(path) {
    init(&fBuf);
    if (!fBuf.IsOpen())
        setstate(std::ios_base::failbit);
}

MessageSource::~MessageSource() = default;

} // namespace pop3d
