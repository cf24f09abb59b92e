#ifndef POP3D_SERVER_H
#define POP3D_SERVER_H

// Server: accepts clients until a stop is wanted. Each client has a session, which runs in a thread of its own.

#include "Counters.h"
#include "Gate.h"
#include "Options.h"
#include "Refusals.h"
#include "System.h"
#include "Users.h"

#include "tuzutil/TREFCNT.h"

#include <list>

namespace pop3d {

class Client;

class Server {
public:
    Server(net::Handle listener, Users const &users, Options const &options, Counters &counters);
    ~Server();

    void Run(); // returns when a stop is wanted and every session has ended

private:
    void Admit(net::Handle handle);
    void Refuse(net::Handle handle);
    void Reap();
    void EndAll();

    net::Handle fListener;
    Users const &fUsers;
    Options const &fOptions;
    Counters &fCounters;
    Gate fGate;
    Refusals fRefusals;
    std::list<TReference<Client>> fClients;
};

} // namespace pop3d

#endif
