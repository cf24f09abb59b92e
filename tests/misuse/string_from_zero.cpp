// Zero must stay ambiguous: a null string and "0" are both near.
// error: use of deleted function .*TString::TString.int
// clang++ error: call to deleted constructor of .TString
#include "tuzutil/TSTRING.h"

void Use() {
#ifdef WRONG
    TString text(0);
#else
    TString text(0L);
#endif
}
