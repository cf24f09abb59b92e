#include "Gate.h"

#include <algorithm>
#include <iterator>

namespace pop3d {

namespace {

constexpr auto fsMemory = std::chrono::minutes(5); // how long the refusals of an address are remembered
constexpr int fsDoublings = 4;

} // namespace

std::unique_ptr<Visitor> Gate::Admit(std::uint32_t address) {
    std::lock_guard<std::mutex> const lock(fMutex);
    Forget();
    auto const known = fAddresses.find(address);
    if (fSessions >= fOptions.sessions || fStrangers >= fOptions.unauthenticated ||
        (known != fAddresses.end() && known->second.sessions >= fOptions.perAddress))
        return nullptr;
    Address &counted = fAddresses[address];
    auto visitor = std::make_unique<Visitor>(*this, address);
    ++counted.sessions;
    ++fSessions;
    ++fStrangers;
    return visitor;
}

void Gate::Leave(std::uint32_t address, bool isLoggedIn) {
    std::lock_guard<std::mutex> const lock(fMutex);
    auto const known = fAddresses.find(address);
    if (--known->second.sessions == 0 && known->second.refusals == 0)
        fAddresses.erase(known);
    --fSessions;
    if (!isLoggedIn)
        --fStrangers;
}

void Gate::LogIn() {
    std::lock_guard<std::mutex> const lock(fMutex);
    --fStrangers;
}

std::chrono::milliseconds Gate::Refuse(std::uint32_t address) {
    std::lock_guard<std::mutex> const lock(fMutex);
    Address &guesser = fAddresses[address];
    auto const now = Clock::now();
    if (now - guesser.last > fsMemory)
        guesser.refusals = 0;
    guesser.last = now;
    int const doublings = std::min(guesser.refusals++, fsDoublings);
    return std::chrono::milliseconds(fOptions.failureMilliseconds) * (1 << doublings);
}

// Forgets each address that has no session and had no refusal within fsMemory. Does so at most once a second.
void Gate::Forget() {
    auto const now = Clock::now();
    if (now - fForgotten < std::chrono::seconds(1))
        return;
    fForgotten = now;
    for (auto known = fAddresses.begin(); known != fAddresses.end();) {
        bool const isOver = known->second.sessions == 0 && now - known->second.last > fsMemory;
        known = isOver ? fAddresses.erase(known) : std::next(known);
    }
}

} // namespace pop3d
