#ifndef POP3D_MESSAGESOURCE_H
#define POP3D_MESSAGESOURCE_H

// MessageSource: reads the bytes of a stored message, if its file was not changed after the mailbox was listed.

#include "Files.h"

#include <array>
#include <istream>
#include <string>

namespace pop3d {

class MessageSourceBuf : public std::streambuf {
public:
    // Opens the file if it still has this identity. Otherwise IsOpen() returns false.
    MessageSourceBuf(file::Folder const &folder, std::string const &name, file::Identity const &identity);
    MessageSourceBuf(MessageSourceBuf const &) = delete;
    MessageSourceBuf &operator=(MessageSourceBuf const &) = delete;
    ~MessageSourceBuf() override;

    bool IsOpen() const { return fFile != file::fsNone; }
    bool HasFailed() const { return fHasFailed; } // true if fewer bytes than expected could be read

protected:
    int_type underflow() override;

private:
    file::Handle fFile = file::fsNone;
    std::uint64_t fLeft; // bytes still to be read, of the size that the file had when it was listed
    std::array<char, 16384> fBlock;
    bool fHasFailed = false;
};

class MessageSource : public std::istream {
public:
    MessageSource(file::Folder const &folder, std::string const &name, file::Identity const &identity);
    ~MessageSource() override;

    bool HasFailed() const { return !fBuf.IsOpen() || fBuf.HasFailed(); }

private:
    MessageSourceBuf fBuf;
};

} // namespace pop3d

#endif
