#ifndef POP3D_USERS_H
#define POP3D_USERS_H

// Users: who may fetch what: one line "name:secret:mailbox" a user. Read once at start-up, constant afterwards.

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
    static constexpr unsigned int fsMaximum = 16 << 20; // bytes of the file

    // False, and one line in `problem`, where the file cannot be used or a mailbox is missing.
    bool Load(std::string const &path, std::string &problem);

    User const *Find(std::string const &name) const;

private:
    bool AddLine(unsigned int number, char const *line, std::size_t length, std::string &problem);

    std::map<std::string, User> fUsers;
};

} // namespace pop3d

#endif
