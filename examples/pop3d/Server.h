#ifndef POP3D_SERVER_H
#define POP3D_SERVER_H

// Server: accepts clients and gives each a session in a thread of its own, until a stop is wanted.

#include "Options.h"
#include "System.h"
#include "Users.h"

#include <atomic>
#include <list>
#include <thread>

namespace pop3d {

class Server {
public:
    Server(net::Handle listener, Users &users, Options const &options);
    ~Server();

    void Run(); // returns when a stop is wanted and every session has ended

private:
    static constexpr std::size_t fsMaximum = 1000; // sessions at once

    struct Client {
        net::Handle handle; // closed when the thread has ended: until then it can be shut down from outside
        std::thread thread;
        std::atomic<bool> isOver{false};
    };

    void Serve(Client &client);
    void Reap(bool all);

    net::Handle fListener;
    Users &fUsers;
    Options const &fOptions;
    std::list<Client> fClients;
};

} // namespace pop3d

#endif
