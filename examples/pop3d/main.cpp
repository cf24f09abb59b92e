// pop3d: a POP3 server on tuzutil.

#include "Options.h"
#include "Server.h"
#include "System.h"
#include "Tracing.h"
#include "Users.h"

#include <cstdio>
#include <fstream>
#include <iostream>

namespace {

int Fail(std::string const &problem) {
    std::cerr << "pop3d: " << problem << '\n';
    return 2;
}

// Under a temporary name first: who finds the file finds the whole number in it.
bool WritePortFile(std::string const &path, std::uint16_t port) {
    std::string const unfinished = path + ".tmp";
    std::ofstream out(unfinished, std::ios_base::binary);
    out << port << '\n';
    out.close();
    return out.good() && std::rename(unfinished.c_str(), path.c_str()) == 0;
}

} // namespace

int main(int count, char **arguments) {
    pop3d::Options options;
    pop3d::Users users;
    std::string problem;
    if (!options.Parse(count, arguments, problem))
        return Fail(problem);
    if (options.isHelpWanted) {
        std::cout << pop3d::fsUsage;
        return 0;
    }
    TTrace const trace = options.isTraceWanted ? pop3d::OpenTraceToStandardError() : TTrace();
    if (!users.Load(options.users, problem))
        return Fail(problem);
    if (!pop3d::net::StartUp())
        return Fail("the network cannot be used");
    pop3d::net::Handle const listener = pop3d::net::Listen(options.address.c_str(), options.port, problem);
    if (listener == pop3d::net::fsNone)
        return Fail(problem);
    pop3d::WatchForStop();
    std::uint16_t const port = pop3d::net::QueryPort(listener);
    if (!options.portFile.empty() && !WritePortFile(options.portFile, port))
        return Fail("cannot write the port file \"" + options.portFile + "\"");
    std::cout << "pop3d: listening on " << options.address << " port " << port << std::endl;
    pop3d::Server(listener, users, options).Run();
    std::cout << "pop3d: stopped" << std::endl;
    return 0;
}
