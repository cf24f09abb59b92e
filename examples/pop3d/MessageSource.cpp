#include "MessageSource.h"

#include "tuzutil/CONCSTRM.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <stdexcept>

namespace pop3d {

MessageSourceBuf::MessageSourceBuf(file::Folder const &folder, std::string const &name, file::Identity const &identity,
                                   std::size_t block)
    : fIdentity(identity), fLeft(identity.size),
      fSize(static_cast<std::size_t>(std::clamp<std::uint64_t>(identity.size, 1, block))), fBlock(new char[fSize]) {
    file::Identity found;
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

bool MessageSourceBuf::IsUnchanged() const {
    file::Identity now;
    return file::Identify(fFile, now) && now == fIdentity;
}

// Reads as many bytes as the file had when it was listed. Returns false if the file now has fewer bytes, or if it has
// been read to its end and was changed meanwhile.
bool MessageSourceBuf::Fill() {
    auto const wanted = static_cast<std::size_t>(std::min<std::uint64_t>(fLeft, fSize));
    for (std::size_t filled = 0; filled < wanted;) {
        long const count = file::Read(fFile, fBlock.get() + filled, wanted - filled);
        if (count <= 0)
            return false;
        filled += static_cast<std::size_t>(count);
    }
    setg(fBlock.get(), fBlock.get(), fBlock.get() + wanted);
    fLeft -= wanted;
    return fLeft > 0 || IsUnchanged();
}

bool MessageSourceBuf::ReadAhead() {
    fHasFailed = !IsOpen() || !Fill();
    return !fHasFailed;
}

// Throws if the message cannot be read, because a part of a message must not be taken for the whole message.
MessageSourceBuf::int_type MessageSourceBuf::underflow() {
    if (gptr() == egptr()) {
        if (fLeft == 0)
            return traits_type::eof();
        if (!ReadAhead())
            throw std::runtime_error("a message cannot be read");
    }
    return traits_type::to_int_type(*gptr());
}

MessageSource::MessageSource(file::Folder const &folder, std::string const &name, file::Identity const &identity,
                             std::size_t block)
    : std::istream(nullptr), fBuf(folder, name, identity, block) {
    rdbuf(&fBuf);
}

MessageSource::~MessageSource() = default;

bool MessageSource::CopyTo(std::ostream &to, std::function<bool()> const &isWanted) {
    TiConcatStream lines(1, 16384, *this);
    lines.SetWholeLines(1); // each line is delivered whole, and with CR LF
    std::array<char, 16384> block;
    while (lines.read(block.data(), static_cast<std::streamsize>(block.size())), lines.gcount() > 0) {
        if (!isWanted())
            return false;
        to.write(block.data(), lines.gcount());
        if (!to)
            return false;
    }
    to.flush();
    return to.good() && !fBuf.HasFailed();
}

} // namespace pop3d
