// Numbers become text only as long and unsigned long.
#include "tuzutil/TSTRING.h"

void Use() {
#ifdef WRONG
    TString text(5);
#else
    TString text(5L);
#endif
}
