#include "Server.h"

#include "Session.h"
#include "Tracing.h"

#include "tuzutil/EXCEPTN.h"

#include <exception>

namespace pop3d {

Server::Server(net::Handle listener, Users &users, Options const &options)
    : fListener(listener), fUsers(users), fOptions(options) {}

Server::~Server() {
    net::Close(fListener);
}

void Server::Run() {
    while (!IsStopWanted()) {
        net::Handle const handle = net::Accept(fListener, 200);
        Reap(false);
        if (handle == net::fsNone)
            continue;
        if (fClients.size() >= fsMaximum) {
            TTracePoint::Write(TTrace::warning, TraceCategory::server, "Server.cpp", "client refused: %u sessions",
                               static_cast<unsigned int>(fClients.size()));
            Text const &refusal = text::tooManySessions;
            SocketStream(handle) << "-ERR " << refusal.code << Utf8(MakeMessage(refusal)) << "\r\n";
            net::Close(handle);
            continue;
        }
        net::SetTimeout(handle, fOptions.idleSeconds);
        Client &client = fClients.emplace_back();
        client.handle = handle;
        client.thread = std::thread([this, &client] { Serve(client); });
    }
    Reap(true);
}

void Server::Serve(Client &client) {
    try {
        SocketStream connection(client.handle);
        Session(connection, fUsers, fOptions.logins).Run();
    } catch (TException &problem) {
        TraceException(TraceCategory::session, "Server.cpp", problem);
    } catch (std::exception const &problem) {
        TTracePoint::Write(TTrace::error, TraceCategory::session, "Server.cpp", "%s", problem.what());
    }
    net::Shutdown(client.handle);
    client.isOver = true;
}

// Waits for sessions that are over, or, at the end, makes all of them be over.
void Server::Reap(bool all) {
    for (auto client = fClients.begin(); client != fClients.end();) {
        if (all)
            net::Shutdown(client->handle);
        if (all || client->isOver) {
            client->thread.join();
            net::Close(client->handle);
            client = fClients.erase(client);
        } else {
            ++client;
        }
    }
}

} // namespace pop3d
