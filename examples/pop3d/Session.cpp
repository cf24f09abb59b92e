#include "Session.h"

#include "MessageSource.h"
#include "Sasl.h"
#include "Spool.h"
#include "System.h"
#include "Tracing.h"

#include "tuzutil/BASE64.h"
#include "tuzutil/CRAMMD5.h"
#include "tuzutil/DOTBYTE.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

namespace pop3d {

namespace {

constexpr unsigned long fsLineBuffer = 2048;

// Overwrites a secret in a way that the optimizer keeps: the last reader is volatile.
void WipeBytes(char *text, std::size_t count) {
    for (char volatile *at = text; count > 0; --count)
        *at++ = 0;
}

char *NextWord(char *&rest) {
    while (*rest == ' ')
        ++rest;
    char *const word = rest;
    while (*rest && *rest != ' ')
        ++rest;
    if (*rest)
        *rest++ = 0;
    return word;
}

bool ParseNumber(char const *text, unsigned long &number) {
    char const *const end = text + std::strlen(text);
    auto const result = std::from_chars(text, end, number);
    return result.ec == std::errc() && result.ptr == end && text != end;
}

// The text itself, not the handle: strings are not shared between threads.
TStringAndWipe CopyOf(TString const &secret) {
    return TStringAndWipe(TString(static_cast<char *>(secret), secret.length(), ' '));
}

} // namespace

struct Session::Command {
    char const *verb;
    State state; // where it is allowed; done: everywhere
    void (Session::*run)(char *argument);
};

Session::Command const Session::fsCommands[] = {
    {"CAPA", State::done, &Session::Capa},          {"QUIT", State::done, &Session::Quit},
    {"USER", State::authorization, &Session::User}, {"PASS", State::authorization, &Session::Pass},
    {"APOP", State::authorization, &Session::Apop}, {"AUTH", State::authorization, &Session::Auth},
    {"STAT", State::transaction, &Session::Stat},   {"LIST", State::transaction, &Session::List},
    {"UIDL", State::transaction, &Session::Uidl},   {"RETR", State::transaction, &Session::Retr},
    {"TOP", State::transaction, &Session::Top},     {"DELE", State::transaction, &Session::Dele},
    {"RSET", State::transaction, &Session::Rset},   {"NOOP", State::transaction, &Session::Noop}};

Session::Line::~Line() {
    WipeBytes(text, sizeof text);
}

Session::Session(SocketStream &connection, Users &users, Options const &options, Counters &counters,
                 IdleTimer &idleTimer)
    : fConnection(connection), fLines(fsLineBuffer, &connection), fUsers(users), fOptions(options),
      fLogins(options.logins), fCounters(counters), fIdleTimer(idleTimer), fTimestamp(NewTimestamp()) {}

Session::~Session() {
    if (!fLockedMailbox.empty())
        fUsers.Unlock(fLockedMailbox);
}

void Session::Run() {
    TTracePoint::Write(TTrace::functionEntry, TraceCategory::session, "Session.cpp", "session begins");
    TTraceExit exit(TraceCategory::session);
    exit.SetFormatMsg("session ends");
    exit.SetDebugging("Session.cpp", __LINE__);
    // The timestamp is what says that APOP is offered.
    if (fLogins.apop)
        Ok(text::readyWithTimestamp, fTimestamp.c_str());
    else
        Ok(text::ready);
    while (fState != State::done) {
        Line line;
        Read const read = ReadLine(line);
        if (read == Read::end)
            return;
        if (read == Read::tooLong)
            Error(text::lineTooLong);
        else
            Dispatch(line.text);
    }
}

// A line that is too long is read to its end and forgotten: the session goes on behind it.
Session::Read Session::ReadLine(Line &line) {
    fLines.flush();
    fIdleTimer.Start();
    fLines.getline(line.text, sizeof line.text);
    std::streamsize const count = fLines.gcount();
    fIdleTimer.Stop();
    // The server hangs up: what came at the last moment is not begun any more.
    if (fIdleTimer.IsOver())
        return Read::end;
    if (!fLines) {
        if (count != static_cast<std::streamsize>(sizeof line.text) - 1 || fLines.eof())
            return Read::end;
        fLines.clear();
        fIdleTimer.Start();
        fLines.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        fIdleTimer.Stop();
        return fLines.good() ? Read::tooLong : Read::end;
    }
    // A line that the connection's end cut off is no command.
    if (fLines.eof())
        return Read::end;
    if (count >= 2 && line.text[count - 2] == '\r')
        line.text[count - 2] = 0;
    return Read::line;
}

void Session::Dispatch(char *line) {
    TStringIcmp const verb(NextWord(line));
    for (Command const &command : fsCommands) {
        if (!verb.isEqual(command.verb))
            continue;
        // The verb alone: what stands behind it may be a secret.
        TTracePoint::Write(TTrace::information, TraceCategory::session, "Session.cpp", "C: %s", command.verb);
        if (command.state != State::done && command.state != fState)
            Error(fState == State::authorization ? text::logInFirst : text::alreadyLoggedIn);
        else
            (this->*command.run)(line);
        return;
    }
    Error(text::unknownCommand);
}

void Session::Say(char const *indicator, char const *code, TTextMessage const &message) {
    TTracePoint::Write(TTrace::information, TraceCategory::session, "Session.cpp", "S: %s %s%s", indicator, code,
                       message.QueryMessage());
    fLines << indicator << ' ' << code << Utf8(message) << "\r\n";
}

void Session::OkLine(std::string const &data) {
    fLines << "+OK " << data << "\r\n";
}

void Session::Capa(char *) {
    Ok(text::capabilities);
    fLines << "TOP\r\nUIDL\r\nPIPELINING\r\nRESP-CODES\r\n";
    if (fLogins.user)
        fLines << "USER\r\n";
    if (fLogins.cramMd5 || IsPlainOffered())
        fLines << "SASL" << (fLogins.cramMd5 ? " CRAM-MD5" : "") << (IsPlainOffered() ? " PLAIN" : "") << "\r\n";
    fLines << "IMPLEMENTATION tuzutil-pop3d\r\n.\r\n";
}

void Session::User(char *argument) {
    if (!fLogins.user)
        return Error(text::loginNotOffered);
    fName = NextWord(argument);
    if (fName.empty())
        Error(text::nameMissing);
    else
        Ok(text::nowThePassword); // whether the user exists is not told
}

void Session::Pass(char *argument) {
    if (fName.empty())
        return Error(text::userFirst);
    std::string const name = std::exchange(fName, std::string());
    TStringAndWipe const given(argument); // with its blanks
    pop3d::User const *const user = fUsers.Find(name);
    Login(name, user && IsSameSecret(given, user->secret));
}

void Session::Apop(char *argument) {
    if (!fLogins.apop)
        return Error(text::loginNotOffered);
    std::string const name = NextWord(argument);
    TString digest(NextWord(argument));
    pop3d::User const *const user = fUsers.Find(name);
    Login(name, user && IsSameSecret(digest.lowerCase(), ApopDigest(fTimestamp, user->secret)));
}

void Session::Auth(char *argument) {
    TStringIcmp const mechanism(NextWord(argument));
    if (mechanism.isEqual("CRAM-MD5") && fLogins.cramMd5)
        AuthCramMd5();
    else if (mechanism.isEqual("PLAIN") && IsPlainOffered())
        AuthPlain(NextWord(argument));
    else
        Error(text::mechanismNotOffered);
}

bool Session::ReadResponse(Line &line) {
    Read const read = ReadLine(line);
    if (read == Read::line && std::strcmp(line.text, "*") != 0)
        return true;
    if (read == Read::end)
        fState = State::done;
    else
        Error(text::loginGivenUp);
    return false;
}

void Session::AuthCramMd5() {
    std::string const challenge = NewTimestamp();
    fLines << "+ " << EncodeLine(TString(challenge.c_str())) << "\r\n";
    Line line;
    if (!ReadResponse(line))
        return;
    // "user digest"; the name may hold blanks, the digest does not.
    TString const response = TBase64::Decode(TString(line.text));
    unsigned int const blank = response.lastIndexOf(' ');
    if (blank < 2)
        return Error(text::malformedResponse);
    TString const name = response.subString(1, blank - 1);
    pop3d::User const *const user = fUsers.Find(static_cast<char *>(name));
    TString digest = response.subString(blank + 1);
    Login(static_cast<char *>(name),
          user && IsSameSecret(digest.lowerCase(),
                               CalculateCramMD5::Calc(CopyOf(user->secret), TString(challenge.c_str()))));
}

void Session::AuthPlain(char const *initial) {
    Line line;
    if (!*initial) {
        fLines << "+ \r\n";
        if (!ReadResponse(line))
            return;
        initial = line.text;
    }
    PlainResponse response;
    if (!response.Parse(initial))
        return Error(text::malformedResponse);
    pop3d::User const *const user = fUsers.Find(response.user);
    Login(response.user, user && IsSameSecret(response.secret, user->secret));
}

void Session::Login(std::string const &name, bool isProven) {
    if (!isProven) {
        ++fCounters.refusedLogins;
        return Error(text::wrongNameOrPassword);
    }
    std::string const &folder = fUsers.Find(name)->mailbox;
    if (!Mailbox::Exists(folder))
        return Error(text::mailboxMissing);
    if (!fUsers.Lock(folder))
        return Error(text::mailboxInUse);
    fLockedMailbox = folder;
    fMailbox = std::make_unique<Mailbox>(folder);
    fState = State::transaction;
    ++fCounters.logins;
    TTracePoint::Write(TTrace::information, TraceCategory::session, "Session.cpp", "%s logged in, %u messages",
                       name.c_str(), static_cast<unsigned int>(fMailbox->QueryCount()));
    Ok(text::messageCount, static_cast<unsigned int>(fMailbox->QueryCount()));
}

void Session::Stat(char *) {
    std::uint64_t count = 0;
    std::uint64_t size = 0;
    for (std::size_t number = 1; number <= fMailbox->QueryCount(); ++number) {
        if (Mailbox::Message *const message = fMailbox->Find(number)) {
            ++count;
            size += fMailbox->QuerySize(*message);
        }
    }
    OkLine(std::to_string(count) + " " + std::to_string(size));
}

Mailbox::Message *Session::FindMessage(char const *number) {
    unsigned long value = 0;
    Mailbox::Message *const message = ParseNumber(number, value) ? fMailbox->Find(value) : nullptr;
    if (!message)
        Error(text::noSuchMessage);
    return message;
}

std::string Session::DescribeSize(std::size_t number, Mailbox::Message &message) {
    return std::to_string(number) + " " + std::to_string(fMailbox->QuerySize(message));
}

std::string Session::DescribeUid(std::size_t number, Mailbox::Message &message) {
    return std::to_string(number) + " " + static_cast<char *>(message.uid);
}

void Session::SendList(char const *argument, std::string (Session::*describe)(std::size_t, Mailbox::Message &)) {
    if (*argument) {
        if (Mailbox::Message *const message = FindMessage(argument))
            OkLine((this->*describe)(std::strtoul(argument, nullptr, 10), *message));
        return;
    }
    Ok(text::listing);
    for (std::size_t number = 1; number <= fMailbox->QueryCount(); ++number) {
        if (Mailbox::Message *const message = fMailbox->Find(number))
            fLines << (this->*describe)(number, *message) << "\r\n";
    }
    fLines << ".\r\n";
}

void Session::List(char *argument) {
    SendList(NextWord(argument), &Session::DescribeSize);
}

void Session::Uidl(char *argument) {
    SendList(NextWord(argument), &Session::DescribeUid);
}

void Session::Retr(char *argument) {
    if (Mailbox::Message const *const message = FindMessage(NextWord(argument)))
        SendMessage(*message, nullptr);
}

void Session::Top(char *argument) {
    char const *const number = NextWord(argument);
    unsigned long lines = 0;
    if (!ParseNumber(NextWord(argument), lines))
        return Error(text::topNeedsNumbers);
    if (Mailbox::Message const *const message = FindMessage(number))
        SendMessage(*message, &lines);
}

// The message is read before it is promised: what is changed or removed meanwhile, or cannot be read to its end, does
// not reach the client. It goes past the line stream straight to the connection, so what the line stream holds back
// goes first.
void Session::SendMessage(Mailbox::Message const &message, unsigned long const *bodyLines) {
    Spool spool(fOptions.spoolBytes);
    if (!Mailbox::Copy(message, spool))
        return Error(text::messageUnreadable);
    Ok(text::messageFollows);
    fLines.flush();
    bool const isSent = bodyLines ? SendLines(spool, *bodyLines) : SendAll(spool);
    // The client must not take a part for the whole.
    if (!isSent)
        fState = State::done;
}

bool Session::SendAll(Spool &spool) {
    ToDotByteStream out(fConnection);
    if (!spool.SendTo(out))
        return false;
    out.WriteTermination();
    ++fCounters.messagesSent;
    return true;
}

bool Session::SendLines(Spool &spool, unsigned long bodyLines) {
    ToDotByteStream out(fConnection, bodyLines);
    try {
        bool const isSent = spool.SendTo(out);
        out.flush();
        if (isSent)
            out.WriteTermination();
        return isSent;
    } catch (TDotByteLinesException &) {
        return true; // the header and the lines asked for are out, and the end line behind them
    }
}

void Session::Dele(char *argument) {
    if (Mailbox::Message *const message = FindMessage(NextWord(argument))) {
        message->isDeleted = true;
        Ok(text::marked);
    }
}

void Session::Rset(char *) {
    fMailbox->Reset();
    Ok(text::nothingMarked);
}

void Session::Noop(char *) {
    Ok(text::stillHere);
}

void Session::Quit(char *) {
    unsigned int removed = 0;
    bool const done = fState != State::transaction || fMailbox->Commit(removed);
    fCounters.messagesRemoved += removed;
    if (done)
        Ok(text::goodbye);
    else
        Error(text::notRemoved);
    fLines.flush();
    fState = State::done;
}

} // namespace pop3d
