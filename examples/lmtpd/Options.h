#ifndef LMTPD_OPTIONS_H
#define LMTPD_OPTIONS_H

#include <cstdint>
#include <string>

namespace lmtpd {

struct Options {
    std::string mailboxes; // the folder of the mailboxes
    int idleSeconds = 300;
    std::uint64_t messageBytes = 64 << 20;
    bool isHelpWanted = false;

    // If the arguments are wrong, returns false and stores the reason, in one line, in `problem`.
    bool Parse(int count, char **arguments, std::string &problem);
    static char const *Usage();
};

} // namespace lmtpd

#endif
