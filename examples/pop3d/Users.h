#ifndef POP3D_USERS_H
#define POP3D_USERS_H

// Users: who may fetch what: one line "name:secret:mailbox" a user. Read once at start-up, constant afterwards.
//
// The lock of a mailbox is held by one session at a time, in this process.

#include "tuzutil/TSTRING.h"

#include <map>
#include <mutex>
#include <set>
#include <string>

namespace pop3d {

struct User {
    TStringAndWipe secret;
    std::string mailbox;
};

class Users {
public:
    // False, and one line in `problem`, where the file cannot be used or a mailbox is missing.
    bool Load(std::string const &path, std::string &problem);

    User const *Find(std::string const &name) const;

    bool Lock(std::string const &mailbox);
    void Unlock(std::string const &mailbox);

private:
    bool AddLine(char const *line, std::size_t length, std::string &problem);

    std::map<std::string, User> fUsers;
    std::mutex fMutex;
    std::set<std::string> fLocked;
};

} // namespace pop3d

#endif
