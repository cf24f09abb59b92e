#ifndef POP3D_OPTIONS_H
#define POP3D_OPTIONS_H

#include <cstdint>
#include <string>

namespace pop3d {

// The ways to log in that the server offers.
struct Logins {
    bool user = true;
    bool apop = true;
    bool cramMd5 = true;
    bool plain = true; // offered only over loopback

    // Reads a list such as "user,apop,cram-md5,plain". Returns false if a name in the list is unknown or empty.
    bool Parse(std::string const &list);
};

struct Options {
    std::string address = "127.0.0.1";
    std::uint16_t port = 110;
    std::string portFile;
    std::string users;
    Logins logins;
    int idleSeconds = 600;
    int loginSeconds = 60;
    int failureMilliseconds = 1000;
    int sessions = 1000;
    int unauthenticated = 100;
    int perAddress = 64;
    int bytesPerSecond = 1000;
    std::uint64_t messageBytes = 1 << 30;
    unsigned long spoolBytes = 65536;
    bool isStatusWanted = false;
    bool isHelpWanted = false;

    // If the arguments are wrong, returns false and stores the reason, in one line, in `problem`.
    bool Parse(int count, char **arguments, std::string &problem);
};

// Returns the value of --language, or null if this option is not given. Call this function before Options::Parse(),
// because Parse() reports wrong arguments in this language.
char const *FindLanguage(int count, char **arguments);

} // namespace pop3d

#endif
