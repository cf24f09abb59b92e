#ifndef POP3D_SOCKETSTREAM_H
#define POP3D_SOCKETSTREAM_H

// SocketStream: an iostream over a connected socket. The stream borrows the socket. One thread at a time may use the
// stream.
//
// flush() sends nothing. Written bytes are sent when there are enough of them, before the stream waits for the client,
// by SendNow(), and by the destructor. Therefore the answers to many commands that came together leave together.

#include "System.h"

#include <array>
#include <iostream>
#include <streambuf>

namespace pop3d {

// How long the server waits for a client that does not receive what the server sends.
struct Patience {
    int idleSeconds;    // the longest time without any progress
    int bytesPerSecond; // the lowest average rate; 0 for no limit
};

class SocketStreamBuf : public std::streambuf {
public:
    SocketStreamBuf(net::Handle handle, Patience const &patience);
    ~SocketStreamBuf() override;
    SocketStreamBuf(SocketStreamBuf const &) = delete;
    SocketStreamBuf &operator=(SocketStreamBuf const &) = delete;

    net::Handle QueryHandle() const { return fHandle; }
    bool SendPending(); // sends the bytes that wait in the buffer; returns false if this fails

protected:
    int_type underflow() override;
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const *from, std::streamsize count) override;
    int sync() override;

private:
    bool SendAll(char const *from, std::size_t count);
    bool AwaitRoom();

    // The number of bytes by which a client may fall behind the lowest rate. If the client falls further behind,
    // sending fails.
    static constexpr double fsAllowance = 131072;

    net::Handle fHandle;
    Patience fPatience;
    double fAllowance = fsAllowance; // the bytes by which the client may still fall behind
    std::array<char, 4096> fIn;
    std::array<char, 32768> fOut;
};

class SocketStream : public std::iostream {
public:
    SocketStream(net::Handle handle, Patience const &patience);
    ~SocketStream() override;

    void SendNow() { fBuf.SendPending(); }
    bool IsThere() const { return net::IsThere(fBuf.QueryHandle()); }
    bool IsLoopback() const { return net::IsLoopback(fBuf.QueryHandle()); }

private:
    SocketStreamBuf fBuf;
};

} // namespace pop3d

#endif
