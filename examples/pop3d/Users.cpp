#include "Users.h"

#include "Mailbox.h"
#include "System.h"
#include "Texts.h"

#include <algorithm>
#include <fstream>

namespace pop3d {

bool Users::Load(std::string const &path, std::string &problem) {
    // The file stream has no buffer, because nobody would wipe the secrets in the buffer. `text` wipes its memory.
    std::ifstream file;
    file.rdbuf()->pubsetbuf(nullptr, 0);
    file.open(path, std::ios_base::binary | std::ios_base::ate);
    std::streamoff const length = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (length > static_cast<std::streamoff>(fsMaximum)) {
        problem = Tell(text::usersWrong, Given(path), Tell(text::usersTooLarge, fsMaximum).c_str());
        return false;
    }
    auto const size = static_cast<unsigned int>(std::max<std::streamoff>(length, 0));
    TStringAndWipe text(TString(nullptr, size, '\n'));
    char *const data = text;
    file.seekg(0);
    if (length < 0 || (size > 0 && !file.read(data, static_cast<std::streamsize>(size)))) {
        problem = Tell(text::usersUnreadable, Given(path));
        return false;
    }
    unsigned int number = 0;
    for (char const *from = data; from != data + size;) {
        char const *const end = std::find<char const *>(from, data + size, '\n');
        char const *const last = end != from && end[-1] == '\r' ? end - 1 : end;
        if (!AddLine(++number, from, static_cast<std::size_t>(last - from), problem)) {
            problem = Tell(text::usersWrong, Given(path), problem.c_str());
            return false;
        }
        from = end == data + size ? end : end + 1;
    }
    if (fUsers.empty())
        problem = Tell(text::usersWrong, Given(path), Tell(text::noUser).c_str());
    return !fUsers.empty();
}

bool Users::AddLine(unsigned int number, char const *line, std::size_t length, std::string &problem) {
    char const *const end = line + length;
    if (line == end || *line == '#')
        return true;
    char const *const first = std::find(line, end, ':');
    char const *const second = std::find(first == end ? end : first + 1, end, ':');
    if (first == line || second == end || second + 1 == end || std::find(line, end, '\0') != end) {
        problem = Tell(text::malformedUser, number);
        return false;
    }
    std::string const name(line, first);
    std::string const mailbox(second + 1, end);
    if (second == first + 1)
        problem = Tell(text::emptySecret, number, name.c_str());
    else if (!Mailbox::Exists(mailbox))
        problem = Tell(text::userWithoutMailbox, number, name.c_str(), Given(mailbox));
    else if (fUsers.count(name) != 0)
        problem = Tell(text::userTwice, number, name.c_str());
    if (!problem.empty())
        return false;
    User &user = fUsers[name];
    user.secret = TStringAndWipe(TString(first + 1, static_cast<unsigned int>(second - first - 1), ' '));
    user.mailbox = mailbox;
    return true;
}

User const *Users::Find(std::string const &name) const {
    auto const found = fUsers.find(name);
    return found == fUsers.end() ? nullptr : &found->second;
}

} // namespace pop3d
