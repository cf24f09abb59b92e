#include "MessageSource.h"

#include <cstring>

namespace pop3d {

MessageSourceBuf::MessageSourceBuf(file::Folder const &folder, std::string const &name, file::Identity const &identity)
    : fLeft(identity.size) {
    file::Identity found;
    if (folder.IsOpen())
        fFile = folder.Open(name, found);
    if (fFile == file::fsNone || found == identity)
        return;
    file::Close(fFile);
    fFile = file::fsNone;
}

MessageSourceBuf::~MessageSourceBuf() {
    if (fFile != file::fsNone)
        file::Close(fFile);
}

// Reads what the file had when it was listed, and no more; less is a failure, which is not the same as the end.
bool MessageSourceBuf::ReadBlock() {
    std::size_t const wanted = fLeft < fBlock.size() ? static_cast<std::size_t>(fLeft) : fBlock.size();
    long const count = wanted > 0 ? file::Read(fFile, fBlock.data(), wanted) : 0;
    if (wanted > 0 && count <= 0)
        fHasFailed = true;
    fNext = fBlock.data();
    fEnd = fNext + (count > 0 ? count : 0);
    fLeft -= static_cast<std::uint64_t>(fEnd - fNext);
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

MessageSource::MessageSource(file::Folder const &folder, std::string const &name, file::Identity const &identity)
    : std::istream(nullptr), fBuf(folder, name, identity) {
    init(&fBuf);
    if (!fBuf.IsOpen())
        setstate(std::ios_base::failbit);
}

MessageSource::~MessageSource() = default;

} // namespace pop3d
