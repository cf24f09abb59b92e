#include "Connection.h"

#include "System.h"

namespace lmtpd {

ConnectionBuf::ConnectionBuf(int idleSeconds) : fIdleSeconds(idleSeconds) {
    setp(fOut.data(), fOut.data() + fOut.size());
}

ConnectionBuf::~ConnectionBuf() {
    SendPending();
}

ConnectionBuf::int_type ConnectionBuf::underflow() {
    if (gptr() != egptr())
        return traits_type::to_int_type(*gptr());
    // Sends the pending bytes before it waits, because the client may need them before it sends anything.
    if (!SendPending())
        return traits_type::eof();
    long const count = Receive(fIn.data(), fIn.size(), fIdleSeconds);
    if (count <= 0)
        return traits_type::eof();
    setg(fIn.data(), fIn.data(), fIn.data() + count);
    return traits_type::to_int_type(*gptr());
}

ConnectionBuf::int_type ConnectionBuf::overflow(int_type c) {
    if (!SendPending())
        return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof()))
        sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

int ConnectionBuf::sync() {
    return 0; // see the top of the header
}

// After a failure nothing more is sent, because the client would miss the bytes between.
bool ConnectionBuf::SendPending() {
    fHasFailed = fHasFailed || !Send(pbase(), static_cast<std::size_t>(pptr() - pbase()), fIdleSeconds);
    setp(fOut.data(), fOut.data() + fOut.size());
    return !fHasFailed;
}

Connection::Connection(int idleSeconds) : std::iostream(nullptr), fBuf(idleSeconds) {
    init(&fBuf);
}

Connection::~Connection() = default;

} // namespace lmtpd
