#ifndef POP3D_REFUSALS_H
#define POP3D_REFUSALS_H

// Refusals: the connections of clients that the server refuses with a one-line reply. If a connection is closed while
// bytes from its client are unread, the system resets the connection, and the client loses the reply. Therefore
// Refusals keeps the connection open for a moment, and drops what the client still sends. Only one thread may use a
// Refusals object.

#include "System.h"

#include <chrono>
#include <deque>
#include <string>

namespace pop3d {

class Refusals {
public:
    Refusals() = default;
    Refusals(Refusals const &) = delete;
    Refusals &operator=(Refusals const &) = delete;
    ~Refusals();

    // Sends the reply `word`, and takes the connection over.
    void Add(net::Handle handle, std::string const &word);
    // Closes each connection that has been kept long enough, or whose client is gone. The server calls Tend()
    // regularly.
    void Tend();

private:
    using Clock = std::chrono::steady_clock;

    // If there are more connections than this, Add() closes the oldest one immediately.
    static constexpr std::size_t fsMaximum = 64;

    struct Entry {
        net::Handle handle;
        Clock::time_point since;
    };

    std::deque<Entry> fEntries;
};

} // namespace pop3d

#endif
