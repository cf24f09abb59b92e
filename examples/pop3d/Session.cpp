#include "Session.h"

#include "MessageSource.h"
#include "Sasl.h"
#include "Tracing.h"
#include "Words.h"

#include "tuzutil/DOTBYTE.h"

namespace pop3d {

namespace {

constexpr unsigned long fsLineBuffer = 2048;
constexpr unsigned long fsBlock = 65536; // a large message is read in blocks of this many bytes

} // namespace

struct Session::Command {
    char const *verb;
    State state;        // the state in which the command is allowed; `done` stands for every state
    unsigned int words; // the most words of the argument; a password may have any number of words
    void (Session::*run)(char *argument);
};

Session::Command const Session::fsCommands[] = {
    {"CAPA", State::done, 0, &Session::Capa},          {"QUIT", State::done, 0, &Session::Quit},
    {"USER", State::authorization, 1, &Session::User}, {"PASS", State::authorization, fsLineLimit, &Session::Pass},
    {"APOP", State::authorization, 2, &Session::Apop}, {"AUTH", State::authorization, 2, &Session::Auth},
    {"STAT", State::transaction, 0, &Session::Stat},   {"LIST", State::transaction, 1, &Session::List},
    {"UIDL", State::transaction, 1, &Session::Uidl},   {"RETR", State::transaction, 1, &Session::Retr},
    {"TOP", State::transaction, 2, &Session::Top},     {"DELE", State::transaction, 1, &Session::Dele},
    {"RSET", State::transaction, 0, &Session::Rset},   {"NOOP", State::transaction, 0, &Session::Noop}};

Session::Line::~Line() {
    WipeBytes(text.data(), text.size());
}

Session::Session(SocketStream &connection, Visitor &visitor, Users const &users, Options const &options,
                 Counters &counters, IdleTimer &idleTimer)
    : fConnection(connection), fLines(fsLineBuffer, &connection), fVisitor(visitor), fUsers(users), fOptions(options),
      fLogins(options.logins), fCounters(counters), fIdleTimer(idleTimer), fTimestamp(NewTimestamp()) {}

Session::~Session() {
    Unlock();
}

void Session::Run() {
    TTracePoint::Write(TTrace::functionEntry, TraceCategory::session, "session begins");
    TTraceExit exit(TraceCategory::session);
    exit.SetFormatMsg("session ends");
    exit.SetDebugging("Session.cpp", __LINE__);
    // A timestamp in the greeting tells the client that the server offers APOP.
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
        else if (read == Read::zeroByte)
            Error(text::zeroByte);
        else
            Dispatch(line.text.data());
    }
}

// If a line is too long, the session continues with the next line. If the connection ends within a line, the line is no
// command. A line may end with LF alone, because people type such lines. A CR within a line is harmless, because
// commands are not forwarded.
Session::Read Session::ReadLine(Line &line) {
    fLines.flush();
    fIdleTimer.Start();
    TLineRead const read = fLines.ReadLine(line.text, fsLineLimit);
    fIdleTimer.Stop();
    // If the time is over, the server ends the connection. Therefore a command that came at the last moment is not
    // begun.
    if (read == TLineRead::end || fIdleTimer.IsOver())
        return Read::end;
    if (read == TLineRead::tooLong)
        return Read::tooLong;
    return line.text.find('\0') == std::string::npos ? Read::line : Read::zeroByte;
}

void Session::Dispatch(char *line) {
    TStringIcmp const verb(NextWord(line));
    for (Command const &command : fsCommands) {
        if (!verb.isEqual(command.verb))
            continue;
        // Only the verb is traced, because the argument may be a secret.
        TTracePoint::Write(TTrace::information, TraceCategory::session, "C: %s", command.verb);
        if (command.state != State::done && command.state != fState)
            Error(fState == State::authorization ? text::logInFirst : text::alreadyLoggedIn);
        else if (CountWords(line) > command.words)
            Error(text::tooManyArguments);
        else
            (this->*command.run)(line);
        return;
    }
    Error(text::unknownCommand);
}

void Session::Say(char const *indicator, char const *code, TTextMessage const &message) {
    TTracePoint::Write(TTrace::information, TraceCategory::session, "S: %s %s%s", indicator, code,
                       message.QueryMessage());
    fLines << indicator << ' ' << code << message.QueryMessage().c_str() << "\r\n";
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

// Finds the sizes of all messages that are not deleted. Returns false if such a message cannot be read.
bool Session::FindSizes() {
    for (std::size_t number = 1; number <= fMailbox->QueryCount(); ++number) {
        Mailbox::Message *const message = fMailbox->Find(number);
        if (message && !fMailbox->FindSize(*message))
            return false;
    }
    return true;
}

void Session::Stat(char *) {
    if (!FindSizes())
        return Error(text::messageUnreadable);
    std::uint64_t count = 0;
    std::uint64_t size = 0;
    for (std::size_t number = 1; number <= fMailbox->QueryCount(); ++number) {
        if (Mailbox::Message const *const message = fMailbox->Find(number)) {
            ++count;
            size += message->size;
        }
    }
    OkLine(std::to_string(count) + " " + std::to_string(size));
}

Mailbox::Message *Session::FindMessage(char const *text, std::uint32_t &number) {
    Mailbox::Message *const message = ParseNumber(text, number) ? fMailbox->Find(number) : nullptr;
    if (!message)
        Error(text::noSuchMessage);
    return message;
}

Mailbox::Message *Session::FindMessage(char const *text) {
    std::uint32_t number = 0;
    return FindMessage(text, number);
}

std::string Session::DescribeSize(Mailbox::Message const &message) {
    return std::to_string(message.size);
}

std::string Session::DescribeUid(Mailbox::Message const &message) {
    return message.uid;
}

void Session::SendList(char const *argument, Describe describe) {
    if (*argument) {
        std::uint32_t number = 0;
        if (Mailbox::Message const *const message = FindMessage(argument, number))
            OkLine(std::to_string(number) + " " + describe(*message));
        return;
    }
    Ok(text::listing);
    for (std::size_t number = 1; number <= fMailbox->QueryCount(); ++number) {
        if (Mailbox::Message const *const message = fMailbox->Find(number))
            fLines << number << ' ' << describe(*message) << "\r\n";
    }
    fLines << ".\r\n";
}

void Session::List(char *argument) {
    char const *const number = NextWord(argument);
    std::uint32_t value = 0;
    Mailbox::Message *const one = ParseNumber(number, value) ? fMailbox->Find(value) : nullptr;
    bool const isKnown = one ? fMailbox->FindSize(*one) : *number != 0 || FindSizes();
    if (!isKnown)
        return Error(text::messageUnreadable);
    SendList(number, &Session::DescribeSize);
}

void Session::Uidl(char *argument) {
    fMailbox->FindUids();
    SendList(NextWord(argument), &Session::DescribeUid);
}

void Session::Retr(char *argument) {
    if (Mailbox::Message const *const message = FindMessage(NextWord(argument)))
        SendMessage(*message, nullptr);
}

void Session::Top(char *argument) {
    char const *const number = NextWord(argument);
    std::uint32_t lines = 0;
    if (!ParseNumber(NextWord(argument), lines))
        return Error(text::topNeedsNumbers);
    if (Mailbox::Message const *const message = FindMessage(number))
        SendMessage(*message, &lines);
}

// Reads a small message to its end before it sends "+OK". If the message cannot be read, or was changed or removed, the
// client gets an error reply instead. A larger message is sent while it is read, so it needs neither memory nor room on
// a disk. If it cannot be read to its end, the session ends, because the client must not take a part of the message for
// the whole message.
void Session::SendMessage(Mailbox::Message const &message, std::uint32_t const *bodyLines) {
    bool const isSmall = message.identity.size <= fOptions.spoolBytes;
    std::unique_ptr<MessageSource> const source = fMailbox->Open(message, isSmall ? fOptions.spoolBytes : fsBlock);
    if (!source)
        return Error(text::messageUnreadable);
    Ok(text::messageFollows);
    // The message is written directly to the connection, so the bytes in the buffer of the line stream come first.
    fLines.flush();
    if (!(bodyLines ? SendLines(*source, *bodyLines) : SendAll(*source)))
        fState = State::done;
}

bool Session::SendAll(MessageSource &source) {
    ToDotByteStream out(fConnection);
    if (!source.CopyTo(out, [this] { return IsWanted(); }))
        return false;
    out.EndBody();
    ++fCounters.messagesSent;
    return true;
}

bool Session::SendLines(MessageSource &source, std::uint32_t bodyLines) {
    ToDotByteStream out(fConnection, bodyLines);
    try {
        bool const isSent = source.CopyTo(out, [this] { return IsWanted(); });
        if (isSent)
            out.EndBody();
        return isSent;
    } catch (TDotByteLinesException &) {
        return true; // the header, the requested lines and the end line were written
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
