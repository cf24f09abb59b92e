#include "Counters.h"

#include "System.h"
#include "Texts.h"
#include "Tracing.h"

#include <iostream>
#include <new>

namespace pop3d {

namespace {

std::string BlockName(std::string const &address, std::uint16_t port) {
    return "tuzutil-pop3d-" + address + '-' + std::to_string(port);
}

} // namespace

CounterBlock::CounterBlock(std::string const &address, std::uint16_t port)
    : fMemory(ipcSharedMemory::OpenOrCreate(BlockName(address, port).c_str(), sizeof(Counters),
                                            [](void *block) { new (block) Counters; })) {
    if (!fMemory) {
        TTracePoint::Write(TTrace::warning, TraceCategory::server, "no shared memory for the counters: %s",
                           fMemory.Error());
        fPrivate = std::make_unique<Counters>();
        fCounters = fPrivate.get();
    } else {
        fCounters = static_cast<Counters *>(fMemory.Pointer());
        if (!fMemory.Owner()) // another process still has the block of an earlier server open
            new (fCounters) Counters;
    }
    fCounters->processId = static_cast<std::uint32_t>(ProcessId());
    fCounters->mark.store(Counters::fsMark, std::memory_order_release);
}

CounterBlock::~CounterBlock() {
    fCounters->mark = 0; // ShowStatus() then finds no server, even if another process has the block open
}

bool ShowStatus(std::string const &address, std::uint16_t port, std::string &problem) {
    ipcSharedMemory const memory(BlockName(address, port).c_str());
    auto const *const counters = static_cast<Counters const *>(memory.Pointer());
    if (!memory || memory.TrueSize() < static_cast<long>(sizeof(Counters)) ||
        counters->mark.load(std::memory_order_acquire) != Counters::fsMark) {
        problem = Tell(text::noStatus, port);
        return false;
    }
    struct {
        Text const &text;
        std::atomic<std::uint32_t> const &number;
    } const lines[] = {{text::statusProcess, counters->processId},
                       {text::statusSessions, counters->sessions},
                       {text::statusAllSessions, counters->allSessions},
                       {text::statusLogins, counters->logins},
                       {text::statusRefusedLogins, counters->refusedLogins},
                       {text::statusMessagesSent, counters->messagesSent},
                       {text::statusMessagesRemoved, counters->messagesRemoved},
                       {text::statusIdleSessions, counters->idleSessions}};
    for (auto const &line : lines)
        std::cout << Tell(line.text, line.number.load(std::memory_order_relaxed)) << '\n';
    return true;
}

} // namespace pop3d
