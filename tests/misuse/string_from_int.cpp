// Numbers become text only as long and unsigned long.
// error: use of deleted function .*TString::TString.int
// clang++ error: call to deleted constructor of .TString
#include "tuzutil/TSTRING.h"

void Use() {
#ifdef WRONG
    TString text(5);
#else
    TString text(5L);
#endif
}
