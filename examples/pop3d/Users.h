#ifndef POP3D_USERS_H
#define POP3D_USERS_H

// Users: the users with their secrets and mailboxes. The users file has a line "name:secret:mailbox" for each user. The
// server reads the file once, when it starts. After that, the users do not change.

#include "tuzutil/TSTRING.h"

#include <map>
#include <string>

namespace pop3d {

struct User {
    TStringAndWipe secret;
    std::string mailbox;
};

class Users {
public:
    static constexpr unsigned int fsMaximum = 16 << 20; // the most bytes that the users file may have

    // Reads the users file. If the file cannot be used, or a mailbox is missing, returns false and stores the reason,
    // in one line, in `problem`.
    bool Load(std::string const &path, std::string &problem);

    User const *Find(std::string const &name) const; // null if there is no such user

private:
    bool AddLine(unsigned int number, char const *line, std::size_t length, std::string &problem);

    std::map<std::string, User> fUsers;
};

} // namespace pop3d

#endif
