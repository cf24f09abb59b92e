#ifndef POP3D_MESSAGESOURCE_H
#define POP3D_MESSAGESOURCE_H

// MessageSource: reads the bytes of a stored message, if its file was not changed after the mailbox was listed.

#include "Files.h"

#include <cstddef>
#include <functional>
#include <istream>
#include <memory>
#include <string>

namespace pop3d {

class MessageSourceBuf : public std::streambuf {
public:
    // Opens the file if it still has this identity. Otherwise IsOpen() returns false. The file is read in blocks of
    // `block` bytes. REQUIRES: the folder is open.
    MessageSourceBuf(file::Folder const &folder, std::string const &name, file::Identity const &identity,
                     std::size_t block);
    MessageSourceBuf(MessageSourceBuf const &) = delete;
    MessageSourceBuf &operator=(MessageSourceBuf const &) = delete;
    ~MessageSourceBuf() override;

    bool IsOpen() const { return fFile != file::fsNone; }
    bool HasFailed() const { return fHasFailed; } // true if the message could not be read, or was changed meanwhile
    // Reads the next block. Returns false if this fails. REQUIRES: the bytes read before have been taken.
    bool ReadAhead();

protected:
    int_type underflow() override;

private:
    bool Fill();
    bool IsUnchanged() const; // false if the file was changed after it was opened

    file::Handle fFile = file::fsNone;
    file::Identity fIdentity;
    std::uint64_t fLeft; // bytes still to be read, of the size that the file had when it was listed
    std::size_t fSize;
    std::unique_ptr<char[]> fBlock; // of fSize bytes
    bool fHasFailed = false;
};

class MessageSource : public std::istream {
public:
    MessageSource(file::Folder const &folder, std::string const &name, file::Identity const &identity,
                  std::size_t block);
    ~MessageSource() override;

    // Reads the first block, before anything else is read. Returns false if this fails.
    bool ReadAhead() { return fBuf.ReadAhead(); }
    // Writes the message with CR LF line ends, without doubling dots. Calls `isWanted` after each block. Returns false
    // if the message cannot be read to its end, if its file is changed meanwhile, if `isWanted` returns false, or if
    // `to` fails. A part of the message has then been written.
    bool CopyTo(std::ostream &to, std::function<bool()> const &isWanted);

private:
    MessageSourceBuf fBuf;
};

} // namespace pop3d

#endif
