// Runs whole sessions of the example that delivers mail. The first byte says how many bytes the session receives at
// once, the others are what the client sends. A reference machine reads the same bytes together with the replies, and
// knows how many replies each command has, and which messages are delivered.

#include "Address.h"
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

using TDelivered = std::vector<std::pair<std::string, std::string>>; // mailboxes and messages

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
        Require(head.starts_with("Return-Path: <") && head.find("\r\n") == head.size() - 2);
        if (name != "full")
            delivered.emplace_back(name, content.str());
        return name != "full";
    }

    TDelivered delivered;
};

// The reference machine.
class TMachine {
public:
    TMachine(std::string_view input, std::vector<short> const &codes) : fInput(input), fCodes(codes) {}

    TDelivered Run() {
        Require(Reply() == 220);
        int errors = 0;
        std::vector<std::string> recipients;
        for (std::size_t end; errors < 20 && (end = fInput.find('\n')) != std::string_view::npos;) {
            std::string_view const line = fInput.substr(0, end);
            fInput.remove_prefix(end + 1);
            std::string_view rest = line.substr(0, line.size() - (line.ends_with('\r') ? 1 : 0));
            int const code = Reply();
            // Only wrong commands count. If a recipient or a message is refused, this is no error of the client.
            errors += code == 500 || code == 501 || code == 503 || code == 555;
            // Only a line that ends with CR LF, has no other CR and is not too long may be obeyed.
            Require(code >= 400 || (line.find('\r') == line.size() - 1 && line.size() <= 1025));
            std::string_view const verb = lmtpd::TakeWord(rest);
            std::string recipient;
            if (code == 221)
                return CheckEnd();
            if (code == 354) {
                Require(lmtpd::IsSame(verb, "DATA") && !recipients.empty());
                if (!Body(recipients))
                    return CheckEnd();
            }
            if ((code == 250 || code == 451 || code == 550) && lmtpd::IsSame(verb, "RCPT")) {
                Require(lmtpd::TakePath(rest, "TO:", recipient));
                std::string const name = lmtpd::MailboxName(recipient);
                Require((code == 451) == (name == "sick"));
                if (code == 250)
                    recipients.push_back(name);
            }
            bool const forgets = lmtpd::IsSame(verb, "RSET") || lmtpd::IsSame(verb, "LHLO");
            if (code == 354 || (code == 250 && forgets))
                recipients.clear();
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

    // Takes a message, and one reply for each recipient. Returns false if the message has no end.
    bool Body(std::vector<std::string> const &recipients) {
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
        for (std::string const &name : recipients) {
            int const expected = !isClean ? 554 : body.size() > fsLargest ? 552 : name == "full" ? 451 : 250;
            Require(Reply() == expected);
            if (expected == 250 && codes[name]++ == 0)
                fDelivered.emplace_back(name, body);
        }
        return true;
    }

    TDelivered CheckEnd() {
        Require(fNext == fCodes.size());
        return fDelivered;
    }

    std::string_view fInput;
    std::vector<short> const &fCodes;
    std::size_t fNext = 0; // the first code that was not taken
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
