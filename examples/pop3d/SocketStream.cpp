#include "SocketStream.h"

#include "Words.h"

#include <algorithm>
#include <chrono>

namespace pop3d {

SocketStreamBuf::SocketStreamBuf(net::Handle handle, Patience const &patience) : fHandle(handle), fPatience(patience) {
    setp(fOut.data(), fOut.data() + fOut.size());
}

SocketStreamBuf::~SocketStreamBuf() {
    SendPending();
    // The buffer may contain a password.
    WipeBytes(fIn.data(), fIn.size());
}

SocketStreamBuf::int_type SocketStreamBuf::underflow() {
    if (gptr() != egptr())
        return traits_type::to_int_type(*gptr());
    // Sends the pending bytes before it waits, because the client may need them before it sends anything.
    if (!SendPending())
        return traits_type::eof();
    long const count = net::Receive(fHandle, fIn.data(), fIn.size());
    if (count <= 0)
        return traits_type::eof();
    setg(fIn.data(), fIn.data(), fIn.data() + count);
    return traits_type::to_int_type(*gptr());
}

SocketStreamBuf::int_type SocketStreamBuf::overflow(int_type c) {
    if (!SendPending())
        return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof()))
        sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

std::streamsize SocketStreamBuf::xsputn(char const *from, std::streamsize count) {
    // Fills the buffer before it is sent, so that the system is called as rarely as possible.
    for (std::streamsize left = count; left > 0;) {
        std::streamsize const part = std::min<std::streamsize>(left, epptr() - pptr());
        std::copy(from, from + part, pptr());
        pbump(static_cast<int>(part));
        from += part;
        left -= part;
        if (left > 0 && !SendPending())
            return 0;
    }
    return count;
}

int SocketStreamBuf::sync() {
    return 0; // see the top of the header
}

bool SocketStreamBuf::SendPending() {
    bool const sent = SendAll(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(fOut.data(), fOut.data() + fOut.size());
    return sent;
}

bool SocketStreamBuf::SendAll(char const *from, std::size_t count) {
    while (count > 0) {
        long const sent = net::Send(fHandle, from, count);
        if (sent < 0 || (sent == 0 && !AwaitRoom()))
            return false;
        from += sent;
        count -= static_cast<std::size_t>(sent);
        fAllowance = std::min(fsAllowance, fAllowance + static_cast<double>(sent));
    }
    return true;
}

// Waits until there is room to send. The allowance is the number of bytes by which the client may still fall behind the
// lowest rate. Waiting reduces it, and SendAll() adds the sent bytes to it again. Returns false if the allowance is
// used up, if fPatience.idleSeconds pass without any room, or if a stop is wanted.
bool SocketStreamBuf::AwaitRoom() {
    using Clock = std::chrono::steady_clock;
    auto const begin = Clock::now();
    double const before = fAllowance;
    for (;;) {
        bool const hasRoom = net::AwaitRoom(fHandle, 200);
        double const seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        fAllowance = before - seconds * fPatience.bytesPerSecond;
        if (fAllowance < 0 || seconds > fPatience.idleSeconds || IsStopWanted())
            return false;
        if (hasRoom)
            return true;
    }
}

SocketStream::SocketStream(net::Handle handle, Patience const &patience)
    : std::iostream(nullptr), fBuf(handle, patience) {
    init(&fBuf);
}

SocketStream::~SocketStream() = default;

} // namespace pop3d
