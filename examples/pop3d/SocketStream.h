#ifndef POP3D_SOCKETSTREAM_H
#define POP3D_SOCKETSTREAM_H

// SocketStream: an iostream over a connected socket, which is borrowed. One thread at a time.

#include "System.h"

#include <array>
#include <iostream>
#include <streambuf>

namespace pop3d {

class SocketStreamBuf : public std::streambuf {
public:
    explicit SocketStreamBuf(net::Handle handle);
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

    net::Handle fHandle;
    std::array<char, 4096> fIn;
    std::array<char, 16384> fOut;
};

class SocketStream : public std::iostream {
public:
    explicit SocketStream(net::Handle handle);
    ~SocketStream() override;

    bool IsLoopback() const { return net::IsLoopback(fBuf.QueryHandle()); }

private:
    SocketStreamBuf fBuf;
};

} // namespace pop3d

#endif
