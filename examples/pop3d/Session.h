#ifndef POP3D_SESSION_H
#define POP3D_SESSION_H

// Session: one client from greeting to goodbye (RFC 1939, RFC 2449, RFC 5034, RFC 2195). One thread.

#include "Counters.h"
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
    Session(SocketStream &connection, Users &users, Options const &options, Counters &counters, IdleTimer &idleTimer);
    ~Session();
    Session(Session const &) = delete;
    Session &operator=(Session const &) = delete;

    void Run(); // returns when the client has quit or is gone

private:
    struct Command;
    static Command const fsCommands[];
    static constexpr std::size_t fsLineLimit = 1024; // bytes of a command without its line end

    enum class State { authorization, transaction, done };
    enum class Read { line, tooLong, end };

    // One command line with its argument; zeroed when it is done with, for it may hold a password.
    struct Line {
        char text[fsLineLimit + 2];

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
    Mailbox::Message *FindMessage(char const *number); // null after an error reply
    void SendList(char const *argument, std::string (Session::*describe)(std::size_t, Mailbox::Message &));
    std::string DescribeSize(std::size_t number, Mailbox::Message &message);
    std::string DescribeUid(std::size_t number, Mailbox::Message &message);
    void SendMessage(Mailbox::Message const &message, unsigned long const *bodyLines);
    bool SendAll(Spool &spool);                            // false where the client has not got all of it
    bool SendLines(Spool &spool, unsigned long bodyLines); // the header and so many lines

    SocketStream &fConnection;
    TLineStream fLines;
    Users &fUsers;
    Options const &fOptions;
    Logins const &fLogins;
    Counters &fCounters;
    IdleTimer &fIdleTimer;
    State fState = State::authorization;
    std::string fTimestamp;
    std::string fName; // of USER, until PASS
    std::unique_ptr<Mailbox> fMailbox;
    std::string fLockedMailbox;
};

} // namespace pop3d

#endif
