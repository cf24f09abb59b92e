#ifndef POP3D_CLIENT_H
#define POP3D_CLIENT_H

// Client: the connection of a client, and the thread in which the client's session runs. The server holds a
// reference to the Client, and so does the thread while it runs.

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
    // Takes the connection over. The destructor closes it after both the server and the thread have released their
    // references.
    Client(net::Handle handle, std::unique_ptr<Visitor> visitor, Users const &users, Options const &options,
           Counters &counters);
    Client(Client const &) = delete;
    Client &operator=(Client const &) = delete;
    ~Client() override;

    int Run() override;

    // Gives the connection to the caller. REQUIRES: the thread does not run.
    net::Handle TakeHandle() { return std::exchange(fHandle, net::fsNone); }
    void HangUp() { net::Shutdown(fHandle); }
    // Ends the connection if the client has not sent a command, or has not logged in, within the allowed time.
    void HangUpIfIdle();

private:
    net::Handle fHandle;
    std::unique_ptr<Visitor> fVisitor;
    Users const &fUsers;
    Options const &fOptions;
    Counters &fCounters;
    IdleTimer fIdleTimer;
    bool fIsHungUp = false; // set by HangUpIfIdle(); only the server's thread uses this flag
};

} // namespace pop3d

#endif
