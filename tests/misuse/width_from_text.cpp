// A width is an integer.
// error: AWidthIsNotAnInteger
// clang++ error: none
#include "tuzutil/TXTMSG.h"

TTextMessage Make(int number, char const *text) {
#ifdef WRONG
    return TTextMessage::Make("%*d", text, number);
#else
    return TTextMessage::Make("%*s", number, text);
#endif
}
