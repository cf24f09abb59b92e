#ifndef POP3D_GATE_H
#define POP3D_GATE_H

// Gate: limits the number of all clients, of the clients from one address, and of the clients that have not logged in.
// It also says by how much time the answer to a refused login is delayed. The delay slows down the guessing of
// passwords. Any thread may call these functions.

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

    // Returns an object for a client. The gate counts the client until Leave() is called or the object is destroyed. If
    // a limit is reached, returns null.
    std::unique_ptr<Visitor> Admit(std::uint32_t address);

private:
    friend class Visitor;

    // Counts a refused login, and returns the delay of its answer. Each refusal doubles the delay for the address, up
    // to 16 times the first delay. If the address had no refusal for 5 minutes, the delay is the first one again.
    std::chrono::milliseconds Refuse(std::uint32_t address);
    void Leave(std::uint32_t address, bool isLoggedIn);
    void LogIn();

    struct Address {
        int sessions = 0;
        int refusals = 0;
        Clock::time_point last; // time of the last refusal
    };

    void Forget();

    Options const &fOptions;
    std::mutex fMutex;
    int fSessions = 0;
    int fStrangers = 0; // clients that have not logged in
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

    // Only the first call has an effect. If a visitor may outlive the gate, Leave() must be called before the gate is
    // destroyed.
    void Leave() {
        if (!fHasLeft.exchange(true))
            fGate.Leave(fAddress, fIsLoggedIn);
    }

    void LogIn() {
        fIsLoggedIn = true;
        fGate.LogIn();
    }
    std::chrono::milliseconds Refuse() { return fGate.Refuse(fAddress); }
    // Returns whether the client has not logged in, although it arrived more than `seconds` ago.
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
