#ifndef POP3D_MESSAGESOURCE_H
#define POP3D_MESSAGESOURCE_H

// MessageSource: the bytes of a stored message, as they were when the mailbox was listed.

#include "Files.h"

#include <array>
#include <istream>
#include <string>

namespace pop3d {

class MessageSourceBuf : public std::streambuf {
public:
    // Opens the file that was listed, and no other one of its name.
    MessageSourceBuf(file::Folder const &folder, std::string const &name, file::Identity const &identity);
    MessageSourceBuf(MessageSourceBuf const &) = delete;
    MessageSourceBuf &operator=(MessageSourceBuf const &) = delete;
    ~MessageSourceBuf() override;

    bool IsOpen() const { return fFile != file::fsNone; }
    bool HasFailed() const { return fHasFailed; } // something could not be read

protected:
    int_type underflow() override;

private:
    file::Handle fFile = file::fsNone;
    std::uint64_t fLeft; // of the size that the file had when it was listed
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
