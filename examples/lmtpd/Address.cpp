#include "Address.h"

#include <algorithm>

namespace lmtpd {

namespace {

constexpr std::size_t fsLongestPath = 256; // with the angle brackets

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsPrintable(char c) {
    return c >= ' ' && c <= '~';
}

// Returns the position of the ">" that ends a path. A ">" in a quoted text does not end it.
std::size_t EndOfPath(std::string_view path) {
    bool isQuoted = false;
    for (std::size_t i = 1; i < path.size(); ++i) {
        if (path[i] == '"')
            isQuoted = !isQuoted;
        else if (path[i] == '\\' && isQuoted)
            ++i;
        else if (path[i] == '>' && !isQuoted)
            return i;
    }
    return std::string_view::npos;
}

} // namespace

bool IsSame(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string_view TakeWord(std::string_view &rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    std::string_view const word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(word.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    return word;
}

bool TakePath(std::string_view &rest, std::string_view keyword, std::string &address) {
    if (!IsSame(rest.substr(0, keyword.size()), keyword))
        return false;
    std::string_view path = rest.substr(keyword.size());
    path.remove_prefix(std::min(path.find_first_not_of(' '), path.size())); // some programs send a blank here
    if (path.empty() || path.front() != '<')
        return false;
    std::size_t const end = EndOfPath(path);
    if (end == std::string_view::npos || end >= fsLongestPath)
        return false;
    std::string_view const inside = path.substr(1, end - 1);
    path.remove_prefix(end + 1);
    if (!std::all_of(inside.begin(), inside.end(), IsPrintable) || (!path.empty() && path.front() != ' '))
        return false;
    // A route such as "@one.example,@two.example:" is obsolete, and is ignored as RFC 5321 recommends.
    std::size_t const route = !inside.empty() && inside.front() == '@' ? inside.find(':') : std::string_view::npos;
    address = inside.substr(route == std::string_view::npos ? 0 : route + 1);
    rest = path;
    return true;
}

std::string MailboxName(std::string const &address) {
    std::string name = address.substr(0, address.rfind('@'));
    std::transform(name.begin(), name.end(), name.begin(), Lower);
    bool const isPlain = name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-_.") == std::string::npos;
    return isPlain && !name.empty() && name.front() != '.' && name.back() != '.' ? name : "";
}

} // namespace lmtpd
