#include "Options.h"

#include "System.h"
#include "Texts.h"

#include <charconv>
#include <cstring>
#include <functional>
#include <map>

namespace pop3d {

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

char const *FindLanguage(int count, char **arguments) {
    char const *language = nullptr;
    for (int i = 1; i + 1 < count; ++i) {
        if (std::strcmp(arguments[i], "--language") == 0)
            language = arguments[i + 1];
    }
    return language;
}

bool Options::Parse(int count, char **arguments, std::string &problem) {
    std::map<std::string, std::function<bool(char const *)>> const known = {
        {"--users", [this](char const *value) { return !(users = value).empty(); }},
        {"--listen", [this](char const *value) { return !(address = value).empty(); }},
        {"--port", [this](char const *value) { return ParseNumber<std::uint16_t>(value, port, 0, 65535); }},
        {"--port-file", [this](char const *value) { return !(portFile = value).empty(); }},
        {"--logins", [this](char const *value) { return logins.Parse(value); }},
        {"--language", [](char const *value) { return *value != 0; }}, // FindLanguage() reads it
        {"--idle-seconds", [this](char const *value) { return ParseNumber(value, idleSeconds, 1, 86400); }},
        {"--login-seconds", [this](char const *value) { return ParseNumber(value, loginSeconds, 1, 86400); }},
        {"--failure-milliseconds",
         [this](char const *value) { return ParseNumber(value, failureMilliseconds, 0, 60000); }},
        {"--sessions", [this](char const *value) { return ParseNumber(value, sessions, 1, 100000); }},
        {"--unauthenticated", [this](char const *value) { return ParseNumber(value, unauthenticated, 1, 100000); }},
        {"--per-address", [this](char const *value) { return ParseNumber(value, perAddress, 1, 100000); }},
        {"--bytes-per-second", [this](char const *value) { return ParseNumber(value, bytesPerSecond, 0, 1 << 30); }},
        {"--message-bytes",
         [this](char const *value) { return ParseNumber<std::uint64_t>(value, messageBytes, 1, 1ull << 50); }},
        {"--spool-bytes", [this](char const *value) { return ParseNumber(value, spoolBytes, 0ul, 1ul << 30); }}};
    for (int i = 1; i < count; ++i) {
        std::string const name = arguments[i];
        if (name == "--help") {
            isHelpWanted = true;
            return true;
        }
        if (name == "--status") {
            isStatusWanted = true;
            continue;
        }
        auto const option = known.find(name);
        if (option == known.end()) {
            problem = Tell(text::unknownOption, Given(name));
            return false;
        }
        if (++i == count) {
            problem = Tell(text::valueMissing, Given(name));
            return false;
        }
        if (!option->second(arguments[i])) {
            problem = Tell(text::wrongValue, Given(name), Given(arguments[i]));
            return false;
        }
    }
    if (!users.empty() || isStatusWanted)
        return true;
    problem = Tell(text::usersMissing);
    return false;
}

} // namespace pop3d
