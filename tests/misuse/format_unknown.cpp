// A literal format has known conversions only.
// error: TheConversionIsUnknown
// clang++ error: none
#include "tuzutil/TXTMSG.h"

TTextMessage Make(int number) {
#ifdef WRONG
    return TTextMessage::Make("%y", number);
#else
    return TTextMessage::Make("%-*.3ld %% %1$c", number, 5L);
#endif
}
