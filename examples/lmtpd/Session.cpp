#include "Session.h"

#include "Address.h"

#include "tuzutil/DOTBYTE.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

namespace lmtpd {

namespace {

constexpr unsigned long fsLineBuffer = 2048;

// Moves the message to a temporary file when it becomes large.
class AtMost : public TTempStreamTest {
public:
    explicit AtMost(unsigned long size) : fSize(size) {}

    int Test(TTempStreamBuf *buf) override {
        unsigned long size = 0;
        for (TMemStreamBuffer const *block = buf->QueryFirstBuffer(); block; block = block->QueryNext())
            size += block->QueryUsed();
        return size >= fSize;
    }

private:
    unsigned long fSize;
};

} // namespace

Mailboxes::~Mailboxes() = default;

struct Session::Command {
    char const *verb;
    bool needsGreeting;
    void (Session::*run)(std::string_view argument);
};

Session::Command const Session::fsCommands[] = {{"LHLO", false, &Session::Lhlo}, {"MAIL", true, &Session::Mail},
                                                {"RCPT", true, &Session::Rcpt},  {"DATA", true, &Session::Data},
                                                {"RSET", false, &Session::Rset}, {"NOOP", false, &Session::Noop},
                                                {"VRFY", false, &Session::Vrfy}, {"QUIT", false, &Session::Quit}};

Session::Session(std::iostream &connection, Mailboxes &mailboxes, std::uint64_t messageBytes)
    : fConnection(connection), fLines(fsLineBuffer, &connection), fMailboxes(mailboxes), fMessageBytes(messageBytes) {}

void Session::Run() {
    Answer("220 localhost LMTP ready");
    std::string line;
    while (!fIsDone) {
        fLines.flush();
        switch (fLines.ReadLine(line, fsLineLimit)) {
        case TLineRead::end: // the rest of the line is lost, so it is no command
            return;
        case TLineRead::tooLong: Refuse("500 5.5.2 the line is too long"); break;
        case TLineRead::bareLineFeed:
        case TLineRead::bareCarriageReturn: Refuse("500 5.5.2 a line must end with CR LF"); break;
        case TLineRead::line: Dispatch(line); break;
        }
        if (fErrors >= fsMaxErrors) {
            Answer("421 4.7.0 too many errors");
            fIsDone = true;
        }
    }
    fLines.flush();
}

void Session::Answer(std::string_view reply) {
    fLines << reply << "\r\n";
}

void Session::Refuse(Reply reply) {
    ++fErrors;
    Answer(reply);
}

void Session::Dispatch(std::string_view line) {
    std::string_view rest = line;
    std::string_view const verb = TakeWord(rest);
    for (Command const &command : fsCommands) {
        if (!IsSame(verb, command.verb))
            continue;
        if (command.needsGreeting && !fIsGreeted)
            return Refuse("503 5.5.1 send LHLO first");
        return (this->*command.run)(rest);
    }
    Refuse("500 5.5.1 unknown command");
}

void Session::Lhlo(std::string_view argument) {
    if (argument.empty())
        return Refuse("501 5.5.4 LHLO needs a name");
    Reset();
    fIsGreeted = true;
    fLines << "250-localhost\r\n250-PIPELINING\r\n250-8BITMIME\r\n250-ENHANCEDSTATUSCODES\r\n250 SIZE " << fMessageBytes
           << "\r\n";
}

void Session::Mail(std::string_view argument) {
    std::string sender;
    if (fHasSender)
        return Refuse("503 5.5.1 there is a sender already");
    if (!TakePath(argument, "FROM:", sender))
        return Refuse("501 5.5.4 the form is MAIL FROM:<address>");
    while (!argument.empty()) {
        std::string_view const word = TakeWord(argument);
        if (word.empty())
            break;
        if (IsSame(word.substr(0, 5), "SIZE=")) {
            std::uint64_t size = 0;
            auto const parsed = std::from_chars(word.data() + 5, word.data() + word.size(), size);
            bool const isNumber = parsed.ptr == word.data() + word.size() && parsed.ec != std::errc::invalid_argument;
            if (!isNumber)
                return Refuse("501 5.5.4 SIZE needs a number");
            if (parsed.ec != std::errc() || size > fMessageBytes)
                return Answer("552 5.3.4 the message is too large");
        } else if (!IsSame(word, "BODY=7BIT") && !IsSame(word, "BODY=8BITMIME")) {
            return Refuse("555 5.5.4 unknown parameter");
        }
    }
    fSender = sender;
    fHasSender = true;
    Answer("250 2.1.0 the sender is accepted");
}

void Session::Rcpt(std::string_view argument) {
    std::string recipient;
    if (!fHasSender)
        return Refuse("503 5.5.1 send MAIL first");
    if (!TakePath(argument, "TO:", recipient))
        return Refuse("501 5.5.4 the form is RCPT TO:<address>");
    if (!TakeWord(argument).empty())
        return Refuse("555 5.5.4 unknown parameter");
    if (fRecipients.size() == fsMaxRecipients)
        return Answer("452 4.5.3 too many recipients");
    std::string const name = MailboxName(recipient);
    Presence const presence = name.empty() ? Presence::missing : fMailboxes.Find(name);
    if (presence == Presence::missing)
        return Answer("550 5.1.1 there is no such mailbox");
    if (presence == Presence::unknown)
        return Answer("451 4.3.0 the mailbox cannot be opened now");
    fRecipients.push_back(name);
    Answer("250 2.1.5 the recipient is accepted");
}

void Session::Data(std::string_view argument) {
    if (!argument.empty())
        return Refuse("501 5.5.4 DATA has no argument");
    if (fRecipients.empty())
        return Refuse("503 5.5.1 there is no recipient");
    Answer("354 end the message with a line that is a dot");
    // The message is read directly from the connection, so the bytes in the buffer of the line stream leave first.
    fLines.flush();
    TTempStream message("message", new AtMost(fsInMemory));
    Reply const refusal = Receive(message);
    if (fIsDone)
        return;
    if (refusal) {
        for (std::size_t i = 0; i < fRecipients.size(); ++i)
            Answer(refusal);
    } else {
        Deliver(message);
    }
    Reset();
}

Session::Reply Session::Receive(TTempStream &message) {
    TiDotByteStream body(fConnection);
    std::array<char, 16384> block;
    std::uint64_t size = 0;
    while (body.read(block.data(), static_cast<std::streamsize>(block.size())), body.gcount() > 0) {
        size += static_cast<std::uint64_t>(body.gcount());
        if (size <= fMessageBytes && message)
            message.write(block.data(), body.gcount());
    }
    if (!body.IsTerminated()) {
        fIsDone = true;
        return nullptr;
    }
    if (body.SawBareLineFeed() || body.SawBareCarriageReturn())
        return "554 5.6.0 the message has a line that does not end with CR LF";
    if (size > fMessageBytes)
        return "552 5.3.4 the message is too large";
    return message.flush() ? nullptr : "452 4.3.1 there is no room for the message";
}

// A mailbox that was named twice gets the message once.
void Session::Deliver(TTempStream &message) {
    std::map<std::string, bool> delivered;
    for (std::string const &name : fRecipients) {
        if (delivered.find(name) == delivered.end())
            delivered[name] = fMailboxes.Deliver(name, "Return-Path: <" + fSender + ">\r\n", message);
        Answer(delivered[name] ? "250 2.1.5 the message is delivered"
                               : "451 4.3.0 the message cannot be delivered now");
    }
}

void Session::Reset() {
    fHasSender = false;
    fSender.clear();
    fRecipients.clear();
}

void Session::Rset(std::string_view) {
    Reset();
    Answer("250 2.0.0 everything is forgotten");
}

void Session::Noop(std::string_view) {
    Answer("250 2.0.0 still here");
}

void Session::Vrfy(std::string_view) {
    Answer("252 2.5.0 send a message to find out");
}

void Session::Quit(std::string_view) {
    Answer("221 2.0.0 goodbye");
    fIsDone = true;
}

} // namespace lmtpd
