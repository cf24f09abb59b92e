#ifndef LMTPD_CONNECTION_H
#define LMTPD_CONNECTION_H

// Connection: an iostream over the standard input and output of the process. One thread at a time may use it.
//
// flush() sends nothing. Written bytes are sent when there are enough of them, before the stream waits for the client,
// and by the destructor. Therefore the answers to many commands that came together leave together.

#include <array>
#include <iostream>
#include <streambuf>

namespace lmtpd {

class ConnectionBuf : public std::streambuf {
public:
    explicit ConnectionBuf(int idleSeconds); // reading ends if the client sends nothing for so long
    ~ConnectionBuf() override;
    ConnectionBuf(ConnectionBuf const &) = delete;
    ConnectionBuf &operator=(ConnectionBuf const &) = delete;

protected:
    int_type underflow() override;
    int_type overflow(int_type c) override;
    int sync() override;

private:
    bool SendPending();

    int fIdleSeconds;
    bool fHasFailed = false; // whether bytes could not be sent
    std::array<char, 16384> fIn;
    std::array<char, 4096> fOut;
};

class Connection : public std::iostream {
public:
    explicit Connection(int idleSeconds);
    ~Connection() override;

private:
    ConnectionBuf fBuf;
};

} // namespace lmtpd

#endif
