#ifndef POP3D_MESSAGESOURCE_H
#define POP3D_MESSAGESOURCE_H

// MessageSource: a stored message, file or text, with the two things mended that TiConcatStream leaves to its
// sources: the last line gets its line end, and an empty line a CR LF of its own. All other bytes pass unchanged.

#include <array>
#include <fstream>
#include <istream>
#include <string>

namespace pop3d {

class MessageSourceBuf : public std::streambuf {
public:
    explicit MessageSourceBuf(std::string const &path);

    bool IsOpen() const { return fFile.is_open(); }
    bool HasFailed() const { return fHasFailed; } // something could not be read

protected:
    int_type underflow() override;

private:
    bool ReadBlock();

    std::filebuf fFile;
    std::array<char, 16384> fBlock;
    char const *fNext = nullptr; // what of the block is not handed out yet
    char const *fEnd = nullptr;
    char fLast = '\n'; // the byte handed out last; a message starts like a line
    char fMended[2];
    bool fHasFailed = false;
};

class MessageSource : public std::istream {
public:
    explicit MessageSource(std::string const &path);
    ~MessageSource() override;

    bool HasFailed() const { return !fBuf.IsOpen() || fBuf.HasFailed(); }

private:
    MessageSourceBuf fBuf;
};

} // namespace pop3d

#endif
