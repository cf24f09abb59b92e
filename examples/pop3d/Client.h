#ifndef POP3D_CLIENT_H
#define POP3D_CLIENT_H

// Client: a connection and its session, which is the body of a thread. The server and the thread hold it together.

#include "Counters.h"
#include "Gate.h"
#include "IdleTimer.h"
#include "Options.h"
#include "System.h"
#include "Users.h"

#include "tuzutil/THREAD.h"

#include <memory>
#include <utility>

namespace pop3d {

class Client : public TThread {
public:
    // Takes the connection of a visitor, and closes it when both the server and the thread are done with it.
    Client(net::Handle handle, std::unique_ptr<Visitor> visitor, Users const &users, Options const &options,
           Counters &counters);
    Client(Client const &) = delete;
    Client &operator=(Client const &) = delete;
    ~Client() override;

    int Run() override;

    net::Handle TakeHandle() { return std::exchange(fHandle, net::fsNone); } // from a client that does not run
    void HangUp() { net::Shutdown(fHandle); }
    void HangUpIfIdle(); // looks whether the client has kept us waiting too long, for a command or its login

private:
    net::Handle fHandle;
    std::unique_ptr<Visitor> fVisitor;
    Users const &fUsers;
    Options const &fOptions;
    Counters &fCounters;
    IdleTimer fIdleTimer;
    bool fIsHungUp = false; // for idleness; the server's own
};

} // namespace pop3d

#endif
