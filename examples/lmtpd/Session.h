#ifndef LMTPD_SESSION_H
#define LMTPD_SESSION_H

// Session: the dialogue with one client, from the greeting to the end (RFC 2033, RFC 1870, RFC 2034, RFC 6152). Only
// one thread may use a session.
//
// After a message, the client gets one answer for each recipient. "250" means that the message is in the mailbox of
// this recipient and stays there. If the connection ends before the message does, no recipient gets the message.
//
// Some programs take a bare LF or CR for the end of a line. A stranger could use this to hide commands in a message.
// Therefore a message with a bare LF or CR is refused, and so is a command that does not end with CR LF.

#include "Presence.h"

#include "tuzutil/LINESTRM.h"
#include "tuzutil/TMPSTRM.h"

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace lmtpd {

// Where a session finds mailboxes, and stores messages.
class Mailboxes {
public:
    virtual ~Mailboxes();

    // `name` is the result of MailboxName(), and is not empty.
    virtual Presence Find(std::string const &name) = 0;
    // Stores a message that consists of `head` and the content of `message`. Returns true only if the message is
    // stored.
    virtual bool Deliver(std::string const &name, std::string const &head, TTempStream &message) = 0;
};

class Session {
public:
    Session(std::iostream &connection, Mailboxes &mailboxes, std::uint64_t messageBytes);
    Session(Session const &) = delete;
    Session &operator=(Session const &) = delete;

    void Run(); // returns when the session is over or the client is gone

private:
    struct Command;
    static Command const fsCommands[];
    static constexpr std::size_t fsLineLimit = 1024;    // the most bytes of a command without its line end
    static constexpr std::size_t fsMaxRecipients = 100; // of one message
    static constexpr int fsMaxErrors = 20;              // the session ends after so many wrong commands
    static constexpr unsigned long fsInMemory = 65536;  // larger messages are kept in a temporary file

    // A text that a client gets for a message: a reply code, an enhanced status code and words for people.
    using Reply = char const *;

    void Answer(std::string_view reply); // sends one line
    void Refuse(Reply reply);            // does the same, and counts a wrong command
    void Dispatch(std::string_view line);
    void Lhlo(std::string_view argument);
    void Mail(std::string_view argument);
    void Rcpt(std::string_view argument);
    void Data(std::string_view argument);
    void Rset(std::string_view argument);
    void Noop(std::string_view argument);
    void Vrfy(std::string_view argument);
    void Quit(std::string_view argument);

    void Reset();
    // Reads a message to its end. If the message can be delivered, returns null, otherwise the answer for every
    // recipient. Ends the session if the client is gone.
    Reply Receive(TTempStream &message);
    void Deliver(TTempStream &message);

    std::iostream &fConnection;
    TLineStream fLines;
    Mailboxes &fMailboxes;
    std::uint64_t fMessageBytes;
    bool fIsGreeted = false;
    bool fIsDone = false;
    bool fHasSender = false;
    int fErrors = 0;
    std::string fSender;
    std::vector<std::string> fRecipients; // the names of their mailboxes
};

} // namespace lmtpd

#endif
