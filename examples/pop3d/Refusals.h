#ifndef POP3D_REFUSALS_H
#define POP3D_REFUSALS_H

// Refusals: clients that are sent away with a word. A connection that is closed while something of the client is unread
// is reset, and the word is lost: so it is kept for a moment, and what comes is dropped. One thread.

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

    // Takes the connection.
    void Add(net::Handle handle, std::string const &word);
    // Closes what has been kept long enough, or whose client is gone. To be called now and then.
    void Tend();

private:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t fsMaximum = 64; // the oldest are closed at once

    struct Entry {
        net::Handle handle;
        Clock::time_point since;
    };

    std::deque<Entry> fEntries;
};

} // namespace pop3d

#endif
