#include "Server.h"

#include "Client.h"
#include "Texts.h"
#include "Tracing.h"

#include "tuzutil/EXCEPTN.h"

#include <memory>
#include <new>
#include <utility>

namespace pop3d {

Server::Server(net::Handle listener, Users const &users, Options const &options, Counters &counters)
    : fListener(listener), fUsers(users), fOptions(options), fCounters(counters), fGate(options) {}

Server::~Server() {
    net::Close(fListener);
}

void Server::Run() {
    while (!IsStopWanted()) {
        net::Handle const handle = net::Accept(fListener, 200);
        Reap();
        fRefusals.Tend();
        if (handle != net::fsNone)
            Admit(handle);
    }
    EndAll();
}

// If there is no memory for a session, the client is refused. If there is no memory for the refusal either, the
// client's connection is closed. The server continues in both cases.
void Server::Admit(net::Handle handle) {
    TReference<Client> client;
    try {
        std::unique_ptr<Visitor> visitor = fGate.Admit(net::QueryAddress(handle));
        if (!visitor)
            return Refuse(handle);
        client = TReference<Client>(new Client(handle, std::move(visitor), fUsers, fOptions, fCounters));
        fClients.push_back(client);
        if (client->Start() == 0)
            return;
        fClients.pop_back();
    } catch (TResourceExhausted const &) {
        TTracePoint::Write(TTrace::error, TraceCategory::server, "no memory for a client");
    } catch (std::bad_alloc const &) {
        TTracePoint::Write(TTrace::error, TraceCategory::server, "no memory for a client");
    }
    // There is no thread or no memory for another session.
    Refuse(client ? client->TakeHandle() : handle);
}

void Server::Refuse(net::Handle handle) {
    TTracePoint::Write(TTrace::warning, TraceCategory::server, "client refused: %zu sessions", fClients.size());
    Text const &refusal = text::tooManySessions;
    try {
        fRefusals.Add(handle, std::string("-ERR ") + refusal.code + Tell(refusal) + "\r\n");
    } catch (TResourceExhausted const &) {
        net::Close(handle);
    } catch (std::bad_alloc const &) {
        net::Close(handle);
    }
}

// Drops the clients whose sessions are over. Ends the connections of the clients that are idle or do not log in.
void Server::Reap() {
    for (auto client = fClients.begin(); client != fClients.end();) {
        (*client)->HangUpIfIdle();
        if ((*client)->IsRunning())
            ++client;
        else
            client = fClients.erase(client);
    }
}

void Server::EndAll() {
    for (TReference<Client> const &client : fClients)
        client->HangUp();
    for (TReference<Client> const &client : fClients)
        client->WaitForTermination(-1);
    fClients.clear();
}

} // namespace pop3d
