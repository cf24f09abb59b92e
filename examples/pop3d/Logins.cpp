// The functions of Session for logging in, for refusing logins, and for opening and closing the mailbox.

#include "Sasl.h"
#include "Session.h"
#include "System.h"
#include "Tracing.h"
#include "Words.h"

#include "tuzutil/BASE64.h"
#include "tuzutil/CRAMMD5.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace pop3d {

void Session::User(char *argument) {
    if (!fLogins.user)
        return Error(text::loginNotOffered);
    fName = NextWord(argument);
    if (fName.empty())
        Error(text::nameMissing);
    else
        Ok(text::nowThePassword); // does not tell the client whether the user exists
}

void Session::Pass(char *argument) {
    if (fName.empty())
        return Error(text::userFirst);
    std::string const name = std::exchange(fName, std::string());
    TStringAndWipe const given(argument); // the whole argument, because a password may contain blanks
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
    if (read == Read::line && line.text != "*")
        return true;
    if (read == Read::end)
        fState = State::done;
    else
        Error(read == Read::zeroByte ? text::zeroByte : text::loginGivenUp);
    return false;
}

void Session::AuthCramMd5() {
    std::string const challenge = NewTimestamp();
    fLines << "+ " << TBase64::EncodeLine(challenge) << "\r\n";
    Line line;
    if (!ReadResponse(line))
        return;
    // The response is "name digest". The name may contain blanks, but the digest contains none.
    TString const response = TBase64::Decode(TString(line.text.c_str()));
    unsigned int const blank = response.lastIndexOf(' ');
    if (blank < 2)
        return Error(text::malformedResponse);
    std::string const name(response.left(blank - 1));
    pop3d::User const *const user = fUsers.Find(name);
    TString digest = response.mid(blank + 1);
    Login(name, user && IsSameSecret(digest.lowerCase(), CalculateCramMD5::Calc(user->secret, challenge)));
}

void Session::AuthPlain(char const *initial) {
    Line line;
    if (!*initial) {
        fLines << "+ \r\n";
        if (!ReadResponse(line))
            return;
        initial = line.text.c_str();
    }
    PlainResponse response;
    if (!response.Parse(initial))
        return Error(text::malformedResponse);
    pop3d::User const *const user = fUsers.Find(response.user);
    Login(response.user, user && IsSameSecret(response.secret, user->secret));
}

// Sends the refusal after a delay. During the delay, the session counts towards the limits of the gate, even if its
// client has left. Therefore a client that does not wait for the answer cannot guess more often than others.
void Session::RefuseLogin() {
    ++fCounters.refusedLogins;
    auto const end = std::chrono::steady_clock::now() + fVisitor.Refuse();
    fLines.flush();
    fConnection.SendNow();
    while (std::chrono::steady_clock::now() < end && !IsStopWanted())
        std::this_thread::sleep_for(
            std::min<std::chrono::nanoseconds>(end - std::chrono::steady_clock::now(), std::chrono::milliseconds(50)));
    Error(text::wrongNameOrPassword);
    if (++fRefusals < fsMaxRefusals)
        return;
    fLines.flush();
    fState = State::done;
}

void Session::Login(std::string const &name, bool isProven) {
    if (!isProven)
        return RefuseLogin();
    std::string const &folder = fUsers.Find(name)->mailbox;
    if (!Mailbox::Exists(folder))
        return Error(text::mailboxMissing);
    bool isInUse = false;
    fLock = file::Lock(folder, isInUse);
    if (fLock == file::fsNone)
        return Error(isInUse ? text::mailboxInUse : text::mailboxNotLocked);
    fMailbox = std::make_unique<Mailbox>(folder, fOptions.messageBytes, [this] { return IsWanted(); });
    if (!fMailbox->IsComplete()) {
        Unlock();
        return Error(text::mailboxUnreadable);
    }
    fState = State::transaction;
    fVisitor.LogIn();
    ++fCounters.logins;
    TTracePoint::Write(TTrace::information, TraceCategory::session, "%s logged in, %zu messages", name,
                       fMailbox->QueryCount());
    Ok(text::messageCount, static_cast<unsigned int>(fMailbox->QueryCount()));
}

void Session::Unlock() {
    fMailbox.reset();
    if (fLock != file::fsNone)
        file::Close(std::exchange(fLock, file::fsNone));
}

// Returns whether the rest of a message should be read. The client is checked only at every 64th block. A client that
// has ended only its sending looks like a client that has left. Because of the rare checks, such a client usually still
// gets a message of ordinary size.
bool Session::IsWanted() {
    constexpr unsigned int blocksBetweenLooks = 64;
    return !IsStopWanted() && (++fBlocks % blocksBetweenLooks != 0 || fConnection.IsThere());
}

} // namespace pop3d
