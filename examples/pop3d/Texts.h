#ifndef POP3D_TEXTS_H
#define POP3D_TEXTS_H

// All texts that the server shows to people. Each text has a number, and German.rc contains the translation under the
// same number. The response codes (RFC 2449) and the words of the protocol are not translated.

#include "tuzutil/TXTMSG.h"

#include <string>

namespace pop3d {

struct Text {
    long number;
    char const *english;
    char const *code = ""; // the response code, which precedes the text in a response
};

namespace text {

inline constexpr Text ready{1, "tuzutil pop3d ready"};
inline constexpr Text readyWithTimestamp{2, "tuzutil pop3d ready %s"};
inline constexpr Text lineTooLong{3, "line too long"};
inline constexpr Text logInFirst{4, "log in first"};
inline constexpr Text alreadyLoggedIn{5, "already logged in"};
inline constexpr Text unknownCommand{6, "unknown command"};
inline constexpr Text capabilities{7, "capabilities follow"};
inline constexpr Text loginNotOffered{8, "login not offered"};
inline constexpr Text nameMissing{9, "USER needs a name"};
inline constexpr Text nowThePassword{10, "now the password"};
inline constexpr Text userFirst{11, "USER comes first"};
inline constexpr Text mechanismNotOffered{12, "mechanism not offered"};
inline constexpr Text loginGivenUp{13, "login given up"};
inline constexpr Text malformedResponse{14, "malformed response", "[AUTH] "};
inline constexpr Text wrongNameOrPassword{15, "wrong name or password", "[AUTH] "};
inline constexpr Text mailboxMissing{16, "the mailbox is missing", "[SYS/PERM] "};
inline constexpr Text mailboxInUse{17, "another session has the mailbox", "[IN-USE] "};
inline constexpr Text messageCount{18, "%u messages"};
inline constexpr Text noSuchMessage{19, "no such message"};
inline constexpr Text listing{20, "listing follows"};
inline constexpr Text topNeedsNumbers{21, "TOP needs a message and a number of lines"};
inline constexpr Text messageUnreadable{22, "the message cannot be read", "[SYS/TEMP] "};
inline constexpr Text messageFollows{23, "message follows"};
inline constexpr Text marked{24, "marked as deleted"};
inline constexpr Text nothingMarked{25, "nothing is marked as deleted"};
inline constexpr Text stillHere{26, "still here"};
inline constexpr Text goodbye{27, "goodbye"};
inline constexpr Text notRemoved{28, "some deleted messages not removed", "[SYS/TEMP] "};
inline constexpr Text tooManySessions{29, "too many sessions", "[SYS/TEMP] "};
inline constexpr Text zeroByte{80, "the line contains a zero byte"};
inline constexpr Text tooManyArguments{81, "too many arguments"};
inline constexpr Text mailboxNotLocked{82, "the mailbox cannot be locked", "[SYS/TEMP] "};
inline constexpr Text mailboxUnreadable{85, "the mailbox cannot be read", "[SYS/TEMP] "};

inline constexpr Text unknownOption{30, "unknown option \"%s\" (--help lists them)"};
inline constexpr Text valueMissing{31, "%s needs a value"};
inline constexpr Text wrongValue{32, "%s cannot be \"%s\""};
inline constexpr Text usersMissing{33, "--users is missing (--help tells more)"};
inline constexpr Text usersUnreadable{34, "cannot read the users file \"%s\""};
inline constexpr Text usersWrong{35, "users file \"%s\": %s"};
inline constexpr Text noUser{36, "no user"};
inline constexpr Text malformedUser{37, "line %u is not \"name:secret:mailbox\""};
inline constexpr Text userWithoutMailbox{38, "line %u: user \"%s\" has no mailbox at \"%s\""};
inline constexpr Text userTwice{39, "line %u: user \"%s\" is listed twice"};
inline constexpr Text emptySecret{83, "line %u: user \"%s\" has no secret"};
inline constexpr Text usersTooLarge{84, "it has more than %u bytes"};
inline constexpr Text noNetwork{40, "the network cannot be used"};
inline constexpr Text portFileFailed{41, "cannot write the port file \"%s\""};
inline constexpr Text noAddress{42, "\"%s\" is no IPv4 address"};
inline constexpr Text cannotListen{43, "cannot listen on %s port %u: %s"};
inline constexpr Text portInUse{44, "the port is in use"};
inline constexpr Text systemError{45, "system error %d"};
inline constexpr Text listening{46, "listening on %s port %u"};
inline constexpr Text stopped{47, "stopped"};
inline constexpr Text noStatus{48, "no server on port %u reports its status"};
inline constexpr Text statusProcess{49, "process: %u"};
inline constexpr Text statusSessions{50, "sessions now: %u"};
inline constexpr Text statusAllSessions{51, "sessions so far: %u"};
inline constexpr Text statusLogins{52, "logins: %u"};
inline constexpr Text statusRefusedLogins{53, "refused logins: %u"};
inline constexpr Text statusMessagesSent{54, "messages sent: %u"};
inline constexpr Text statusMessagesRemoved{55, "messages removed: %u"};
inline constexpr Text statusIdleSessions{56, "sessions ended for idleness: %u"};

inline constexpr Text usage[] = {
    {60, "usage: pop3d --users FILE [options]"},
    {61,
     "  --users FILE         one line \"name:secret:mailbox\" a user; a mailbox is a Maildir or a folder of messages"},
    {62, "  --listen ADDRESS     IPv4 address to listen on (127.0.0.1)"},
    {63, "  --port NUMBER        port to listen on (110); 0 chooses a free port"},
    {64, "  --port-file FILE     writes the port to this file once the server listens"},
    {65, "  --logins LIST        the ways to log in, out of user,apop,cram-md5,plain (all; plain over loopback only)"},
    {66, "  --idle-seconds N     ends a session after this time without a command (600)"},
    {72, "  --login-seconds N    ends a session that has not logged in after this time (60)"},
    {73, "  --failure-milliseconds N   the delay before a login is refused (1000); each further refusal of the address "
         "doubles the delay, up to 16 times; the fifth refusal ends the session"},
    {74, "  --sessions N         the most sessions at the same time (1000)"},
    {75, "  --unauthenticated N  the most sessions at the same time that have not logged in (100)"},
    {76, "  --per-address N      the most sessions at the same time from one address (64)"},
    {77, "  --bytes-per-second N ends a session whose client reads more slowly than this on average (1000); 0 for no "
         "limit"},
    {78, "  --message-bytes N    takes a file beyond this size for a message that cannot be read (1073741824)"},
    {67, "  --language NAME      the language of the texts, which are in the folder NAME beside the program"},
    {68, "  --spool-bytes N      messages beyond this size are not kept in memory while they are sent (65536)"},
    {69, "  --status             shows what the server on the port has counted"},
    {70, "  --help               shows this"},
    {71, "Trace entries go where the environment variable NUV_TRACE says, as in NUV_TRACE=stderr,al,Protocol"}};

} // namespace text

inline TTextMessage::StoreID const &Store() {
    static TTextMessage::StoreID const store(TString("pop3d"), ExplicitInit);
    return store;
}

template <typename... Arguments>
TTextMessage MakeMessage(Text const &text, Arguments const &...arguments) {
    return TTextMessage(Store(), 1, text.number, text.english, TagVar(arguments)...);
}

// Returns the text in UTF-8, translated if there is a translation.
template <typename... Arguments>
std::string Tell(Text const &text, Arguments const &...arguments) {
    return static_cast<char const *>(MakeMessage(text, arguments...));
}

} // namespace pop3d

#endif
