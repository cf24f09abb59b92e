// A list of pointers to arguments holds pointers only: a value would end it.
// error: no matching function for call to .*TTextMessage::Pointer.const TagVar
// clang++ error: no matching function for call to .Pointer
#include "tuzutil/TXTMSG.h"

void Use() {
    TagVar const one(1), two(2);
#ifdef WRONG
    TTextMessage const message("%d %d", &one, two);
#else
    TTextMessage const message("%d %d", &one, &two, nullptr);
#endif
}
