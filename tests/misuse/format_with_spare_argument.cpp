// Every argument of a literal format is used.
// error: AnArgumentIsNotUsed
// clang++ error: none
#include "tuzutil/TXTMSG.h"

TTextMessage Make(int number) {
#ifdef WRONG
    return TTextMessage::Make("%2$d messages", number, 5);
#else
    return TTextMessage::Make("%2$d of %1$d messages", number, 5);
#endif
}
