// A length of integers does not belong to a character: the message would show the conversion and not the argument.
// error: TheConversionIsUnknown
// clang++ error: none
#include "tuzutil/TXTMSG.h"

TTextMessage Use() {
#ifdef WRONG
    return TTextMessage::Make("%zc", 'x');
#else
    return TTextMessage::Make("%lc", 'x');
#endif
}
