#include "Client.h"

#include "Session.h"
#include "Tracing.h"

#include "tuzutil/EXCEPTN.h"

#include <exception>

namespace pop3d {

Client::Client(net::Handle handle, Users &users, Options const &options, Counters &counters)
    : fHandle(handle), fUsers(users), fOptions(options), fCounters(counters), fIdleTimer(options.idleSeconds) {}

// May run behind the server's own end, when the thread lets go last.
Client::~Client() {
    net::Close(fHandle);
}

int Client::Run() {
    ++fCounters.sessions;
    ++fCounters.allSessions;
    try {
        SocketStream connection(fHandle);
        Session(connection, fUsers, fOptions, fCounters, fIdleTimer).Run();
    } catch (TException &problem) {
        TraceException(TraceCategory::session, "Client.cpp", problem);
    } catch (std::exception const &problem) {
        TTracePoint::Write(TTrace::error, TraceCategory::session, "Client.cpp", "%s", problem.what());
    }
    fIdleTimer.Stop();
    HangUp();
    --fCounters.sessions;
    return 0;
}

void Client::HangUpIfIdle() {
    if (!IsRunning() || fIsHungUp || !fIdleTimer.IsOver())
        return;
    fIsHungUp = true;
    ++fCounters.idleSessions;
    TTracePoint::Write(TTrace::information, TraceCategory::server, "Client.cpp", "no command for %d seconds",
                       fOptions.idleSeconds);
    HangUp();
}

} // namespace pop3d
