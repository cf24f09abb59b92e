#ifndef POP3D_COUNTERS_H
#define POP3D_COUNTERS_H

// What a server counts, in a block of shared memory that pop3d --status reads from another process.

#include "tuzutil/SHAREMEM.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace pop3d {

// The layout is an agreement between processes of one user on one machine.
struct Counters {
    static constexpr std::uint32_t fsMark = 0x504F5031; // "POP1": everything else is there

    std::atomic<std::uint32_t> mark{0};
    std::atomic<std::uint32_t> processId{0};
    std::atomic<std::uint32_t> sessions{0}; // now
    std::atomic<std::uint32_t> allSessions{0};
    std::atomic<std::uint32_t> logins{0};
    std::atomic<std::uint32_t> refusedLogins{0};
    std::atomic<std::uint32_t> messagesSent{0};
    std::atomic<std::uint32_t> messagesRemoved{0};
    std::atomic<std::uint32_t> idleSessions{0}; // ended for idleness

    static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
};

// The counters of the server on an address and port. Without shared memory they are counted all the same, for nobody.
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

// Prints the counters of the server on an address and port. False, and the reason in one line in `problem`, where there
// is none.
bool ShowStatus(std::string const &address, std::uint16_t port, std::string &problem);

} // namespace pop3d

#endif
