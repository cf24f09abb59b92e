#ifndef POP3D_TEXTS_H
#define POP3D_TEXTS_H

// All that the server says to people, numbered for translation. Words of the protocol stand elsewhere, and stay.

#include "tuzutil/TXTMSG.h"

namespace pop3d {

struct Text {
    long number;
    char const *english;
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
inline constexpr Text malformedResponse{14, "[AUTH] malformed response"};
inline constexpr Text wrongNameOrPassword{15, "[AUTH] wrong name or password"};
inline constexpr Text mailboxMissing{16, "[SYS/PERM] the mailbox is missing"};
inline constexpr Text mailboxInUse{17, "[IN-USE] another session has the mailbox"};
inline constexpr Text messageCount{18, "%u messages"};
inline constexpr Text noSuchMessage{19, "no such message"};
inline constexpr Text listing{20, "listing follows"};
inline constexpr Text topNeedsNumbers{21, "TOP needs a message and a number of lines"};
inline constexpr Text messageUnreadable{22, "[SYS/TEMP] the message cannot be read"};
inline constexpr Text messageFollows{23, "message follows"};
inline constexpr Text marked{24, "marked as deleted"};
inline constexpr Text nothingMarked{25, "nothing is marked as deleted"};
inline constexpr Text stillHere{26, "still here"};
inline constexpr Text goodbye{27, "goodbye"};
inline constexpr Text notRemoved{28, "[SYS/TEMP] some deleted messages not removed"};
inline constexpr Text tooManySessions{29, "[SYS/TEMP] too many sessions"};

} // namespace text

template <typename... Arguments>
TTextMessage MakeMessage(Text const &text, Arguments const &...arguments) {
    // Made for each message: strings are not shared between threads.
    TTextMessage::StoreID const store(TString("pop3d"), ExplicitInit);
    return TTextMessage(store, 1, text.number, text.english, TagVar(arguments)...);
}

} // namespace pop3d

#endif
