#ifndef POP3D_SESSION_H
#define POP3D_SESSION_H

// Session: one client from greeting to goodbye (RFC 1939, RFC 2449, RFC 5034, RFC 2195). One thread.

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

class Spool;

class Session {
public:
    Session(SocketStream &connection, Visitor &visitor, Users const &users, Options const &options, Counters &counters,
            IdleTimer &idleTimer);
    ~Session();
    Session(Session const &) = delete;
    Session &operator=(Session const &) = delete;

    void Run(); // returns when the client has quit or is gone

private:
    struct Command;
    static Command const fsCommands[];
    static constexpr std::size_t fsLineLimit = 1024; // bytes of a command without its line end
    static constexpr int fsMaxRefusals = 5;          // logins that are refused before the session ends

    enum class State { authorization, transaction, done };
    enum class Read { line, tooLong, zeroByte, end };

    // One command line with its argument. It may hold a password, so its memory is zeroed at the end. The string has
    // room for the longest line from the beginning: if it had to move to larger memory, the old one would not be
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
    void OkLine(std::string const &data); // an answer that is data, not text

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
    bool ReadResponse(Line &line); // the client's line after a challenge; false when it gave up or is gone
    void Login(std::string const &name, bool isProven);
    void RefuseLogin();
    void Unlock();   // and forget the mailbox
    bool IsWanted(); // asked at each block of a message that is read
    bool FindSizes();
    Mailbox::Message *FindMessage(char const *text, std::uint32_t &number); // null after an error reply
    Mailbox::Message *FindMessage(char const *text);
    using Describe = std::string (*)(Mailbox::Message const &);
    static std::string DescribeSize(Mailbox::Message const &message);
    static std::string DescribeUid(Mailbox::Message const &message);
    void SendList(char const *argument, Describe describe);
    void SendMessage(Mailbox::Message const &message, std::uint32_t const *bodyLines);
    bool SendAll(Spool &spool);                            // false if the client has not got all of it
    bool SendLines(Spool &spool, std::uint32_t bodyLines); // the header and so many lines

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
    std::string fName; // of USER, until PASS
    std::unique_ptr<Mailbox> fMailbox;
    file::Handle fLock = file::fsNone; // of the mailbox
    int fRefusals = 0;
    unsigned int fBlocks = 0; // read of messages
};

} // namespace pop3d

#endif
