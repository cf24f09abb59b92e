// Every conversion of a literal format has its argument.
// error: AConversionHasNoArgument
// clang++ error: none
#include "tuzutil/TXTMSG.h"

TTextMessage Make(int number) {
#ifdef WRONG
    return TTextMessage::Make("%d of %d", number);
#else
    return TTextMessage::Make("%d of %d", number, 5);
#endif
}
