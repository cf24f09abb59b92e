#ifndef POP3D_SESSION_H
#define POP3D_SESSION_H

// Session: the dialogue with one client, from the greeting to the end (RFC 1939, RFC 2449, RFC 5034, RFC 2195). Only
// one thread may use a session.

#include "Counters.h"
#include "Files.h"
#include "Gate.h"
#include "IdleTimer.h"
#include "Mailbox.h"
#include "Options.h"
#include "SocketStream.h"
#include "Texts.h"
#include "Users.h"

#include "tuzutil/LINESTRM.h"

#include <memory>
#include <string>

namespace pop3d {

class Session {
public:
    Session(SocketStream &connection, Visitor &visitor, Users const &users, Options const &options, Counters &counters,
            IdleTimer &idleTimer);
    ~Session();
    Session(Session const &) = delete;
    Session &operator=(Session const &) = delete;

    void Run(); // returns when the session is over or the client is gone

private:
    struct Command;
    static Command const fsCommands[];
    static constexpr std::size_t fsLineLimit = 1024; // the most bytes of a command without its line end
    static constexpr int fsMaxRefusals = 5;          // after this many refused logins, the session ends

    enum class State { authorization, transaction, done };
    enum class Read { line, tooLong, zeroByte, end };

    // One line of the client. The line may contain a password, so the destructor zeroes its memory. The constructor
    // reserves memory for the longest line. If the string moved to larger memory later, the old memory would not be
    // zeroed.
    struct Line {
        std::string text;

        Line() { text.reserve(fsLineLimit); }
        ~Line();
    };

    bool IsPlainOffered() const { return fLogins.plain && fConnection.IsLoopback(); }
    Read ReadLine(Line &line);
    void Dispatch(char *line);
    void Say(char const *indicator, char const *code, TTextMessage const &message);
    template <typename... Arguments>
    void Ok(Text const &text, Arguments const &...arguments) {
        Say("+OK", text.code, MakeMessage(text, arguments...));
    }
    template <typename... Arguments>
    void Error(Text const &text, Arguments const &...arguments) {
        Say("-ERR", text.code, MakeMessage(text, arguments...));
    }
    void OkLine(std::string const &data); // sends an answer that consists of data and is not translated

    void Capa(char *argument);
    void User(char *argument);
    void Pass(char *argument);
    void Apop(char *argument);
    void Auth(char *argument);
    void Stat(char *argument);
    void List(char *argument);
    void Uidl(char *argument);
    void Retr(char *argument);
    void Top(char *argument);
    void Dele(char *argument);
    void Rset(char *argument);
    void Noop(char *argument);
    void Quit(char *argument);

    void AuthCramMd5();
    void AuthPlain(char const *initial);
    // Reads the client's answer to a challenge. If the client gave up or is gone, or the line is unusable, returns
    // false.
    bool ReadResponse(Line &line);
    void Login(std::string const &name, bool isProven);
    void RefuseLogin();
    void Unlock();   // releases the lock of the mailbox, and drops fMailbox
    bool IsWanted(); // called after each block of a message that is read
    bool FindSizes();
    // If there is no such message, the functions send an error reply and return null.
    Mailbox::Message *FindMessage(char const *text, std::uint32_t &number);
    Mailbox::Message *FindMessage(char const *text);
    using Describe = std::string (*)(Mailbox::Message const &);
    static std::string DescribeSize(Mailbox::Message const &message);
    static std::string DescribeUid(Mailbox::Message const &message);
    void SendList(char const *argument, Describe describe);
    void SendMessage(Mailbox::Message const &message, std::uint32_t const *bodyLines);
    // SendAll() sends the whole message. SendLines() sends the header and the first `bodyLines` lines of the body. If
    // not all of this was sent, the functions return false.
    bool SendAll(MessageSource &source);
    bool SendLines(MessageSource &source, std::uint32_t bodyLines);

    SocketStream &fConnection;
    TLineStream fLines;
    Visitor &fVisitor;
    Users const &fUsers;
    Options const &fOptions;
    Logins const &fLogins;
    Counters &fCounters;
    IdleTimer &fIdleTimer;
    State fState = State::authorization;
    std::string fTimestamp;
    std::string fName; // the name that USER gave; PASS clears it
    std::unique_ptr<Mailbox> fMailbox;
    file::Handle fLock = file::fsNone; // the lock of the mailbox
    int fRefusals = 0;
    unsigned int fBlocks = 0; // number of blocks that were read from messages
};

} // namespace pop3d

#endif
