#include "Options.h"

#include <charconv>
#include <cstring>

namespace lmtpd {

namespace {

template <typename Number>
bool ParseNumber(char const *text, Number &number, Number low, Number high) {
    char const *const end = text + std::strlen(text);
    auto const result = std::from_chars(text, end, number);
    return result.ec == std::errc() && result.ptr == end && number >= low && number <= high;
}

} // namespace

char const *Options::Usage() {
    return "usage: lmtpd --mailboxes FOLDER [options]\n"
           "Delivers mail by LMTP over the standard input and output. A program such as inetd, or a mail\n"
           "server, starts it for each connection. A message gets a Return-Path line, and is not changed\n"
           "otherwise.\n"
           "  --mailboxes FOLDER   the mailbox of Anna@example.org is the Maildir \"anna\" in this folder;\n"
           "                       the name after the \"@\" does not count\n"
           "  --idle-seconds N     ends a session whose client sends nothing for this time (300)\n"
           "  --message-bytes N    refuses messages beyond this size (67108864)\n"
           "  --help               shows this\n";
}

bool Options::Parse(int count, char **arguments, std::string &problem) {
    for (int i = 1; i < count; ++i) {
        std::string const name = arguments[i];
        if (name == "--help") {
            isHelpWanted = true;
            return true;
        }
        bool const isKnown = name == "--mailboxes" || name == "--idle-seconds" || name == "--message-bytes";
        if (!isKnown || ++i == count) {
            problem = isKnown ? name + " needs a value" : "unknown option \"" + name + "\" (--help lists them)";
            return false;
        }
        char const *const value = arguments[i];
        bool isRight = *value != 0;
        if (name == "--mailboxes")
            mailboxes = value;
        else if (name == "--idle-seconds")
            isRight = ParseNumber(value, idleSeconds, 1, 86400);
        else
            isRight = ParseNumber<std::uint64_t>(value, messageBytes, 1, 1ull << 50);
        if (!isRight) {
            problem = name + " cannot be \"" + value + "\"";
            return false;
        }
    }
    if (mailboxes.empty())
        problem = "--mailboxes is missing (--help tells more)";
    return !mailboxes.empty();
}

} // namespace lmtpd
