#ifndef POP3D_GATE_H
#define POP3D_GATE_H

// Gate: how many clients may come in, in all, of one address and without having logged in; and how long those wait who
// guess passwords. Any thread may call.

#include "Options.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace pop3d {

class Visitor;

class Gate {
public:
    using Clock = std::chrono::steady_clock;

    explicit Gate(Options const &options) : fOptions(options) {}

    // The client's visit, for as long as it stays; null beyond a limit.
    std::unique_ptr<Visitor> Admit(std::uint32_t address);

private:
    friend class Visitor;

    // Counts a login that is refused, and says how long its answer has to wait: each refusal of an address twice as
    // long as the one before, up to 16 times the first, until the address has been quiet for some minutes.
    std::chrono::milliseconds Refuse(std::uint32_t address);
    void Leave(std::uint32_t address, bool isLoggedIn);
    void LogIn();

    struct Address {
        int sessions = 0;
        int refusals = 0;
        Clock::time_point last; // refusal
    };

    void Forget();

    Options const &fOptions;
    std::mutex fMutex;
    int fSessions = 0;
    int fStrangers = 0; // sessions before their login
    std::map<std::uint32_t, Address> fAddresses;
    Clock::time_point fForgotten;
};

// A client that was admitted.
class Visitor {
public:
    Visitor(Gate &gate, std::uint32_t address) : fGate(gate), fAddress(address) {}
    Visitor(Visitor const &) = delete;
    Visitor &operator=(Visitor const &) = delete;
    ~Visitor() { Leave(); }

    // Only the first call counts: who may outlive the gate leaves before.
    void Leave() {
        if (!fHasLeft.exchange(true))
            fGate.Leave(fAddress, fIsLoggedIn);
    }

    void LogIn() {
        fIsLoggedIn = true;
        fGate.LogIn();
    }
    std::chrono::milliseconds Refuse() { return fGate.Refuse(fAddress); }
    // Whether the client has had time enough to log in, and has not.
    bool IsLate(int seconds) const {
        return !fIsLoggedIn && Gate::Clock::now() - fArrival > std::chrono::seconds(seconds);
    }

private:
    Gate &fGate;
    std::uint32_t fAddress;
    Gate::Clock::time_point fArrival = Gate::Clock::now();
    std::atomic<bool> fIsLoggedIn{false};
    std::atomic<bool> fHasLeft{false};
};

} // namespace pop3d

#endif
