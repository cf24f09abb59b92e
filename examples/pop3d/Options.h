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
    bool plain = true; // over loopback only

    bool Parse(std::string const &list); // "user,apop,cram-md5,plain"; false for an unknown or an empty list
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

    // False, and one line in `problem`, where the arguments make no sense.
    bool Parse(int count, char **arguments, std::string &problem);
};

// The value of --language, for which the arguments are read before all else: what is wrong with the others is told in
// it. Null where there is none.
char const *FindLanguage(int count, char **arguments);

} // namespace pop3d

#endif
