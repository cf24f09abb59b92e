#include "MessageSource.h"

#include <stdexcept>

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

// Reads as many bytes as the file had when it was listed. If the file now has fewer bytes, throws, because a part of a
// message must not be taken for the whole message.
MessageSourceBuf::int_type MessageSourceBuf::underflow() {
    if (gptr() == egptr()) {
        std::size_t const wanted = fLeft < fBlock.size() ? static_cast<std::size_t>(fLeft) : fBlock.size();
        if (wanted == 0)
            return traits_type::eof();
        long const count = file::Read(fFile, fBlock.data(), wanted);
        if (count <= 0) {
            fHasFailed = true;
            throw std::runtime_error("a message cannot be read");
        }
        setg(fBlock.data(), fBlock.data(), fBlock.data() + count);
        fLeft -= static_cast<std::uint64_t>(count);
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
