#include "Options.h"

#include <charconv>
#include <cstring>
#include <functional>
#include <map>

namespace pop3d {

char const fsUsage[] =
    "usage: pop3d --users FILE [options]\n"
    "  --users FILE         one line \"name:secret:mailbox\" a user; a mailbox is a Maildir or a folder of messages\n"
    "  --listen ADDRESS     IPv4 address to listen on (127.0.0.1)\n"
    "  --port NUMBER        port to listen on (110); 0 takes a free one\n"
    "  --port-file FILE     writes the port to this file once the server listens\n"
    "  --logins LIST        ways to log in, of user,apop,cram-md5,plain (all; plain over loopback only)\n"
    "  --idle-seconds N     ends a session after this time without a command (600)\n"
    "  --trace              writes trace entries to standard error\n"
    "  --help               shows this\n";

namespace {

template <typename Number>
bool ParseNumber(char const *text, Number &number, Number low, Number high) {
    char const *const end = text + std::strlen(text);
    auto const result = std::from_chars(text, end, number);
    return result.ec == std::errc() && result.ptr == end && number >= low && number <= high;
}

} // namespace

bool Logins::Parse(std::string const &list) {
    *this = Logins{false, false, false, false};
    std::map<std::string, bool Logins::*> const known = {
        {"user", &Logins::user}, {"apop", &Logins::apop}, {"cram-md5", &Logins::cramMd5}, {"plain", &Logins::plain}};
    std::size_t from = 0;
    for (;;) {
        std::size_t const comma = list.find(',', from);
        auto const login = known.find(list.substr(from, comma - from));
        if (login == known.end())
            return false;
        this->*login->second = true;
        if (comma == std::string::npos)
            return true;
        from = comma + 1;
    }
}

bool Options::Parse(int count, char **arguments, std::string &problem) {
    std::map<std::string, std::function<bool(char const *)>> const known = {
        {"--users", [this](char const *value) { return !(users = value).empty(); }},
        {"--listen", [this](char const *value) { return !(address = value).empty(); }},
        {"--port", [this](char const *value) { return ParseNumber<std::uint16_t>(value, port, 0, 65535); }},
        {"--port-file", [this](char const *value) { return !(portFile = value).empty(); }},
        {"--logins", [this](char const *value) { return logins.Parse(value); }},
        {"--idle-seconds", [this](char const *value) { return ParseNumber(value, idleSeconds, 1, 86400); }}};
    for (int i = 1; i < count; ++i) {
        std::string const name = arguments[i];
        if (name == "--help") {
            isHelpWanted = true;
            return true;
        }
        if (name == "--trace") {
            isTraceWanted = true;
            continue;
        }
        auto const option = known.find(name);
        if (option == known.end()) {
            problem = "unknown option \"" + name + "\" (--help lists them)";
            return false;
        }
        if (++i == count) {
            problem = name + " needs a value";
            return false;
        }
        if (!option->second(arguments[i])) {
            problem = name + " cannot be \"" + arguments[i] + "\"";
            return false;
        }
    }
    if (users.empty())
        problem = "--users is missing (--help tells more)";
    return !users.empty();
}

} // namespace pop3d
