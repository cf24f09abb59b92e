#include "Client.h"

#include "Session.h"
#include "Tracing.h"

#include <exception>
#include <utility>

namespace pop3d {

Client::Client(net::Handle handle, std::unique_ptr<Visitor> visitor, Users const &users, Options const &options,
               Counters &counters)
    : fHandle(handle), fVisitor(std::move(visitor)), fUsers(users), fOptions(options), fCounters(counters),
      fIdleTimer(options.idleSeconds) {}

// If the thread releases the last reference, this destructor may run after the server was destroyed.
Client::~Client() {
    if (fHandle != net::fsNone)
        net::Close(fHandle);
}

int Client::Run() {
    ++fCounters.sessions;
    ++fCounters.allSessions;
    try {
        SocketStream connection(fHandle, {fOptions.idleSeconds, fOptions.bytesPerSecond});
        Session(connection, *fVisitor, fUsers, fOptions, fCounters, fIdleTimer).Run();
    } catch (std::exception const &problem) {
        TTracePoint::Write(TTrace::error, TraceCategory::session, "%s", problem.what());
    }
    fIdleTimer.Stop();
    HangUp();
    fVisitor->Leave();
    --fCounters.sessions;
    return 0;
}

void Client::HangUpIfIdle() {
    bool const isLate = fVisitor->IsLate(fOptions.loginSeconds);
    if (!IsRunning() || fIsHungUp || !(isLate || fIdleTimer.IsOver()))
        return;
    fIsHungUp = true;
    ++fCounters.idleSessions;
    TTracePoint::Write(TTrace::information, TraceCategory::server, "no %s for %d seconds", isLate ? "login" : "command",
                       isLate ? fOptions.loginSeconds : fOptions.idleSeconds);
    HangUp();
}

} // namespace pop3d
