#ifndef POP3D_COUNTERS_H
#define POP3D_COUNTERS_H

// The counters of a server. They are in a block of shared memory. Another process, pop3d --status, reads the block.

#include "tuzutil/SHAREMEM.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace pop3d {

// All processes that open the block must use the same layout.
struct Counters {
    // The value of `mark` ("POP1"). The server stores it after it has set up the other members.
    static constexpr std::uint32_t fsMark = 0x504F5031;

    std::atomic<std::uint32_t> mark{0};
    std::atomic<std::uint32_t> processId{0};
    std::atomic<std::uint32_t> sessions{0}; // sessions that run now
    std::atomic<std::uint32_t> allSessions{0};
    std::atomic<std::uint32_t> logins{0};
    std::atomic<std::uint32_t> refusedLogins{0};
    std::atomic<std::uint32_t> messagesSent{0};
    std::atomic<std::uint32_t> messagesRemoved{0};
    std::atomic<std::uint32_t> idleSessions{0}; // sessions that were ended because no command or no login came in time

    static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
};

// The counters of the server on an address and port. If there is no shared memory, the server counts in memory of its
// own, which no other process can read.
class CounterBlock {
public:
    CounterBlock(std::string const &address, std::uint16_t port);
    CounterBlock(CounterBlock const &) = delete;
    CounterBlock &operator=(CounterBlock const &) = delete;
    ~CounterBlock();

    Counters &operator*() { return *fCounters; }

private:
    ipcSharedMemory fMemory;
    std::unique_ptr<Counters> fPrivate;
    Counters *fCounters;
};

// Prints the counters of the server on an address and port. If there is no such server, returns false and stores the
// reason, in one line, in `problem`.
bool ShowStatus(std::string const &address, std::uint16_t port, std::string &problem);

} // namespace pop3d

#endif
