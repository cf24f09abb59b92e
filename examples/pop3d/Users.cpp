#include "Users.h"

#include "Mailbox.h"
#include "Texts.h"

#include <algorithm>
#include <fstream>

namespace pop3d {

bool Users::Load(std::string const &path, std::string &problem) {
    std::ifstream file(path, std::ios_base::binary | std::ios_base::ate);
    if (!file) {
        problem = Tell(text::usersUnreadable, path.c_str());
        return false;
    }
    auto const size = static_cast<unsigned int>(std::min<std::streamoff>(file.tellg(), 1 << 20));
    // The secrets stand in this one buffer only, and in the strings cut out of it.
    TStringAndWipe text(TString(nullptr, size, '\n'));
    char *const data = text;
    file.seekg(0);
    file.read(data, static_cast<std::streamsize>(size));
    for (unsigned int from = 1; from <= size;) {
        unsigned int end = text.indexOf('\n', from);
        if (end == 0)
            end = size + 1;
        unsigned int length = end - from;
        if (length > 0 && data[end - 2] == '\r')
            --length;
        if (!AddLine(data + from - 1, length, problem)) {
            problem = Tell(text::usersWrong, path.c_str(), problem.c_str());
            return false;
        }
        from = end + 1;
    }
    if (fUsers.empty())
        problem = Tell(text::usersWrong, path.c_str(), Tell(text::noUser).c_str());
    return !fUsers.empty();
}

bool Users::AddLine(char const *line, std::size_t length, std::string &problem) {
    char const *const end = line + length;
    if (line == end || *line == '#')
        return true;
    char const *const first = std::find(line, end, ':');
    char const *const second = std::find(first == end ? end : first + 1, end, ':');
    if (first == line || second == end || second + 1 == end) {
        problem = Tell(text::malformedUser);
        return false;
    }
    std::string const name(line, first);
    User user;
    user.secret = TStringAndWipe(TString(first + 1, static_cast<unsigned int>(second - first - 1), ' '));
    user.mailbox.assign(second + 1, end);
    if (!Mailbox::Exists(user.mailbox)) {
        problem = Tell(text::userWithoutMailbox, name.c_str(), user.mailbox.c_str());
        return false;
    }
    if (!fUsers.emplace(name, user).second) {
        problem = Tell(text::userTwice, name.c_str());
        return false;
    }
    return true;
}

User const *Users::Find(std::string const &name) const {
    auto const found = fUsers.find(name);
    return found == fUsers.end() ? nullptr : &found->second;
}

bool Users::Lock(std::string const &mailbox) {
    std::lock_guard<std::mutex> const lock(fMutex);
    return fLocked.insert(mailbox).second;
}

void Users::Unlock(std::string const &mailbox) {
    std::lock_guard<std::mutex> const lock(fMutex);
    fLocked.erase(mailbox);
}

} // namespace pop3d
