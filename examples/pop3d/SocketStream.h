#ifndef POP3D_SOCKETSTREAM_H
#define POP3D_SOCKETSTREAM_H

// SocketStream: an iostream over a connected socket, which is borrowed. One thread at a time.

#include "System.h"

#include <array>
#include <iostream>
#include <streambuf>

namespace pop3d {

// How long a client is waited for that does not take what it asked for.
struct Patience {
    int idleSeconds;    // without any progress
    int bytesPerSecond; // on average; 0 for any rate
};

class SocketStreamBuf : public std::streambuf {
public:
    SocketStreamBuf(net::Handle handle, Patience const &patience);
    ~SocketStreamBuf() override;
    SocketStreamBuf(SocketStreamBuf const &) = delete;
    SocketStreamBuf &operator=(SocketStreamBuf const &) = delete;

    net::Handle QueryHandle() const { return fHandle; }

protected:
    int_type underflow() override;
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const *from, std::streamsize count) override;
    int sync() override;

private:
    bool SendAll(char const *from, std::size_t count);
    bool SendPending();
    bool AwaitRoom();

    // So many bytes a client may be behind the rate that is asked of it: some seconds of any connection's life.
    static constexpr double fsAllowance = 131072;

    net::Handle fHandle;
    Patience fPatience;
    double fAllowance = fsAllowance; // what is left of it
    std::array<char, 4096> fIn;
    std::array<char, 16384> fOut;
};

class SocketStream : public std::iostream {
public:
    SocketStream(net::Handle handle, Patience const &patience);
    ~SocketStream() override;

    bool IsThere() const { return net::IsThere(fBuf.QueryHandle()); }
    bool IsLoopback() const { return net::IsLoopback(fBuf.QueryHandle()); }

private:
    SocketStreamBuf fBuf;
};

} // namespace pop3d

#endif
