// pop3d: a POP3 server on tuzutil.

#include "Counters.h"
#include "Options.h"
#include "Server.h"
#include "System.h"
#include "Texts.h"
#include "Tracing.h"
#include "Users.h"

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/MSGSTRPM.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/UNICODE.h"

#include <cstdio>
#include <fstream>
#include <iostream>

namespace {

int Fail(std::string const &problem) {
    std::cerr << "pop3d: " << problem << '\n';
    return 2;
}

void Report(TTextMessage const &message) {
    std::cout << "pop3d: " << message.QueryMessage() << std::endl;
}

// Writes the file under a temporary name first. Therefore a program that finds the port file finds all digits of the
// port in it.
bool WritePortFile(std::string const &path, std::uint16_t port) {
    std::string const unfinished = path + ".tmp";
    std::ofstream out(unfinished, std::ios_base::binary);
    out << port << '\n';
    out.close();
    return out.good() && std::rename(unfinished.c_str(), path.c_str()) == 0;
}

bool OpenTrace(TTrace &trace, std::string &problem) {
    try {
        trace = TTrace("env");
        return true;
    } catch (TException const &failure) {
        problem = std::string("NUV_TRACE: ") + failure.text(0);
        return false;
    }
}

} // namespace

int main(int count, char **arguments) {
    TUnicode::SetUtf8Mode(1); // texts for people are in UTF-8
    TSearchNLSPath::SetLang(pop3d::FindLanguage(count, arguments));
    TTextMessageStorePM const texts(pop3d::Store(), "pop3d");
    pop3d::Options options;
    pop3d::Users users;
    std::string problem;
    if (!options.Parse(count, arguments, problem))
        return Fail(problem);
    if (options.isHelpWanted) {
        for (pop3d::Text const &line : pop3d::text::usage)
            std::cout << pop3d::Tell(line) << '\n';
        return 0;
    }
    if (options.isStatusWanted)
        return pop3d::ShowStatus(options.address, options.port, problem) ? 0 : Fail(problem);
    TTrace trace; // as long as this object exists, trace entries go where NUV_TRACE says
    if (!OpenTrace(trace, problem))
        return Fail(problem);
    if (!users.Load(options.users, problem))
        return Fail(problem);
    if (!pop3d::net::StartUp())
        return Fail(pop3d::Tell(pop3d::text::noNetwork));
    pop3d::net::Handle const listener = pop3d::net::Listen(options.address.c_str(), options.port, problem);
    if (listener == pop3d::net::fsNone)
        return Fail(problem);
    pop3d::WatchForStop();
    std::uint16_t const port = pop3d::net::QueryPort(listener);
    if (port == 0)
        return Fail(pop3d::Tell(pop3d::text::noNetwork));
    // The counters come before the port file, because a program that has read this file may ask for the status.
    pop3d::CounterBlock counters(options.address, port);
    if (!options.portFile.empty() && !WritePortFile(options.portFile, port))
        return Fail(pop3d::Tell(pop3d::text::portFileFailed, pop3d::Given(options.portFile)));
    Report(pop3d::MakeMessage(pop3d::text::listening, options.address.c_str(), port));
    pop3d::Server(listener, users, options, *counters).Run();
    Report(pop3d::MakeMessage(pop3d::text::stopped));
    return 0;
}
