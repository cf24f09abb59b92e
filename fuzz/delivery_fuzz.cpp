// Runs whole sessions of the example that delivers mail. The first byte says how many bytes the session receives at
// once, the others are what the client sends. A reference machine reads the same bytes, and knows the code of each
// reply and which messages are delivered.

#include "Session.h"

#include "bounds.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::uint64_t fsLargest = 500; // bytes of a message

class TWire : public std::streambuf {
public:
    TWire(std::string_view input, std::size_t atOnce) : fRest(input), fAtOnce(atOnce) {}

    std::string_view Rest() const noexcept { return fRest; } // what was not received
    // The codes of the replies. Only these are kept: a few bytes of a client may have a hundred bytes of replies.
    std::vector<short> const &Codes() const noexcept {
        Require(fLine.empty());
        return fCodes;
    }

protected:
    int_type underflow() override {
        if (gptr() == egptr()) {
            std::size_t const count = std::min({fRest.size(), fAtOnce, fIn.size()});
            std::memcpy(fIn.data(), fRest.data(), count);
            setg(fIn.data(), fIn.data(), fIn.data() + count);
            fRest.remove_prefix(count);
            if (count == 0)
                return traits_type::eof();
        }
        return traits_type::to_int_type(*gptr());
    }
    int_type overflow(int_type c) override {
        Take(traits_type::to_char_type(c));
        return c;
    }
    std::streamsize xsputn(char const *from, std::streamsize count) override {
        std::for_each(from, from + count, [this](char c) { Take(c); });
        return count;
    }

private:
    void Take(char c) {
        fLine += c;
        if (!fLine.ends_with("\r\n"))
            return;
        std::string_view const line = std::string_view(fLine).substr(0, fLine.size() - 2);
        Require(line.size() >= 4 && line.size() <= 510 && line.find_first_of("\r\n") == line.npos);
        Require(line[0] >= '2' && line[0] <= '5' && line[1] >= '0' && line[1] <= '5' && line[2] >= '0' &&
                line[2] <= '9' && (line[3] == ' ' || line[3] == '-'));
        if (line[3] == ' ')
            fCodes.push_back(static_cast<short>((line[0] - '0') * 100 + (line[1] - '0') * 10 + line[2] - '0'));
        fLine.clear();
    }

    std::string_view fRest;
    std::size_t fAtOnce;
    std::array<char, 256> fIn;
    std::string fLine; // of a reply, as far as it has come
    std::vector<short> fCodes;
};

using TDelivered = std::vector<std::pair<std::string, std::string>>; // mailboxes and files

// There are the mailboxes "anna", "ben" and "full". The last one takes no messages. Nobody knows whether there is a
// mailbox "sick".
class TMemory : public lmtpd::Mailboxes {
public:
    lmtpd::Presence Find(std::string const &name) override {
        using lmtpd::Presence;
        bool const isThere = name == "anna" || name == "ben" || name == "full";
        return isThere ? Presence::there : name == "sick" ? Presence::unknown : Presence::missing;
    }
    bool Deliver(std::string const &name, std::string const &head, TTempStream &message) override {
        Require(Find(name) == lmtpd::Presence::there);
        message.clear();
        message.seekg(0);
        std::ostringstream content;
        message.rdbuf()->WriteTo(content);
        if (name != "full")
            delivered.emplace_back(name, head + content.str());
        return name != "full";
    }

    TDelivered delivered;
};

// Removes the blanks in front of the text, and the word after them. Returns the word.
std::string_view Word(std::string_view &text) {
    while (text.starts_with(' '))
        text.remove_prefix(1);
    std::size_t size = 0;
    while (size < text.size() && text[size] != ' ')
        ++size;
    std::string_view const word = text.substr(0, size);
    text.remove_prefix(size);
    return word;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char &c : lower)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c | 0x20 : c);
    return lower;
}

// Removes the keyword and the path after it, and stores the address without a route. Returns false if there is no path.
bool Path(std::string_view &text, std::string_view keyword, std::string &address) {
    if (Lower(text).compare(0, keyword.size(), keyword) != 0)
        return false;
    text.remove_prefix(keyword.size());
    while (text.starts_with(' '))
        text.remove_prefix(1);
    if (!text.starts_with('<'))
        return false;
    bool isQuoted = false;
    bool isEscaped = false;
    std::size_t size = 1; // of the path
    for (; size < text.size() && (text[size] != '>' || isQuoted); ++size) {
        bool const isPrintable = text[size] >= 0x20 && text[size] <= 0x7E;
        if (!isPrintable)
            return false;
        isQuoted ^= text[size] == '"' && !isEscaped;
        isEscaped = text[size] == '\\' && isQuoted && !isEscaped;
    }
    if (size == text.size() || size > 255) // with the brackets, a path has up to 256 bytes
        return false;
    address = text.substr(1, size - 1);
    text.remove_prefix(size + 1);
    std::size_t const route = address.starts_with('@') ? address.find(':') : address.npos;
    address.erase(0, route == address.npos ? 0 : route + 1);
    return text.empty() || text.front() == ' ';
}

// The reference machine. It shares no code with the session, and foretells the code of each reply.
class TMachine {
public:
    TMachine(std::string_view input, std::vector<short> const &codes) : fInput(input), fCodes(codes) {}

    TDelivered Run() {
        Require(Reply() == 220);
        int errors = 0;
        for (std::size_t end; errors < 20 && (end = fInput.find('\n')) != std::string_view::npos;) {
            std::string_view const line = fInput.substr(0, end);
            fInput.remove_prefix(end + 1);
            int const code = Obey(line);
            Require(Reply() == code);
            // Only wrong commands count. If a recipient or a message is refused, this is no error of the client.
            errors += code == 500 || code == 501 || code == 503 || code == 555;
            if (code == 221 || (code == 354 && !Body()))
                return CheckEnd();
        }
        if (errors == 20)
            Require(Reply() == 421);
        return CheckEnd();
    }

private:
    // Takes one reply, and returns its code.
    int Reply() {
        Require(fNext < fCodes.size());
        return fCodes[fNext++];
    }

    // Returns the code of the reply to a line. Only a line that ends with CR LF, has no other CR and is not too long is
    // a command. The line is given without LF.
    int Obey(std::string_view line) {
        if (!line.ends_with('\r') || line.find('\r') != line.size() - 1 || line.size() > 1025)
            return 500;
        line.remove_suffix(1);
        std::string const verb = Lower(Word(line));
        while (line.starts_with(' '))
            line.remove_prefix(1);
        if (verb == "quit")
            return 221;
        if (verb == "noop" || verb == "vrfy")
            return verb == "noop" ? 250 : 252;
        if (verb == "rset" || (verb == "lhlo" && !line.empty())) {
            fIsGreeted = fIsGreeted || verb == "lhlo";
            fHasSender = false;
            fRecipients.clear();
            return 250;
        }
        if (verb == "lhlo")
            return 501;
        if (verb != "mail" && verb != "rcpt" && verb != "data")
            return 500;
        if (!fIsGreeted)
            return 503;
        return verb == "mail" ? Mail(line) : verb == "rcpt" ? Rcpt(line) : Data(line);
    }

    int Mail(std::string_view rest) {
        std::string sender;
        if (fHasSender)
            return 503;
        if (!Path(rest, "from:", sender))
            return 501;
        for (std::string word = Lower(Word(rest)); !word.empty(); word = Lower(Word(rest))) {
            if (word == "body=7bit" || word == "body=8bitmime")
                continue;
            if (!word.starts_with("size="))
                return 555;
            if (word.size() == 5 || word.find_first_not_of("0123456789", 5) != word.npos)
                return 501;
            word.erase(0, std::min(word.find_first_not_of('0', 5), word.size()));
            if (word.size() > 3 || (word.size() == 3 && word > "500"))
                return 552;
        }
        fHasSender = true;
        fSender = sender;
        return 250;
    }

    int Rcpt(std::string_view rest) {
        std::string recipient;
        if (!fHasSender)
            return 503;
        if (!Path(rest, "to:", recipient))
            return 501;
        if (!Word(rest).empty())
            return 555;
        if (fRecipients.size() == 100)
            return 452;
        std::string const name = Lower(recipient.substr(0, recipient.rfind('@')));
        if (name == "sick")
            return 451;
        if (name != "anna" && name != "ben" && name != "full")
            return 550;
        fRecipients.push_back(name);
        return 250;
    }

    int Data(std::string_view rest) const { return !rest.empty() ? 501 : fRecipients.empty() ? 503 : 354; }

    // Takes a message, and one reply for each recipient. Returns false if the message has no end.
    bool Body() {
        std::string body;
        for (;;) {
            std::size_t const end = fInput.find("\r\n");
            if (end == std::string_view::npos)
                return false;
            std::string_view line = fInput.substr(0, end);
            fInput.remove_prefix(end + 2);
            if (line == ".")
                break;
            line.remove_prefix(line.starts_with('.') ? 1 : 0);
            body.append(line) += "\r\n";
        }
        bool isClean = true;
        for (std::size_t i = 0; i < body.size(); ++i) {
            isClean = isClean && (body[i] != '\n' || (i > 0 && body[i - 1] == '\r'));
            isClean = isClean && (body[i] != '\r' || body[i + 1] == '\n');
        }
        std::map<std::string, int> codes;
        for (std::string const &name : fRecipients) {
            int const expected = !isClean ? 554 : body.size() > fsLargest ? 552 : name == "full" ? 451 : 250;
            Require(Reply() == expected);
            if (expected == 250 && codes[name]++ == 0)
                fDelivered.emplace_back(name, "Return-Path: <" + fSender + ">\r\n" + body);
        }
        fHasSender = false;
        fRecipients.clear();
        return true;
    }

    TDelivered CheckEnd() {
        Require(fNext == fCodes.size());
        return fDelivered;
    }

    std::string_view fInput;
    std::vector<short> const &fCodes;
    std::size_t fNext = 0; // the first code that was not taken
    bool fIsGreeted = false;
    bool fHasSender = false;
    std::string fSender;
    std::vector<std::string> fRecipients;
    TDelivered fDelivered;
};

} // namespace

// The buffers of a session; a message has at most 500 bytes in memory.
TBounds const fsBounds{64 << 10, 8, 512 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string_view const input(reinterpret_cast<char const *>(data) + 1, size - 1);
    TWire wire(input, data[0] + std::size_t{1});
    TMemory mailboxes;
    std::iostream connection(&wire);
    lmtpd::Session(connection, mailboxes, fsLargest).Run();
    Require(TMachine(input, wire.Codes()).Run() == mailboxes.delivered);
    return 0;
}
