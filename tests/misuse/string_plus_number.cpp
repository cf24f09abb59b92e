// No pointer arithmetic by way of the conversions.
// error: ambiguous overload for .*operator
// clang++ error: use of overloaded operator .\+. is ambiguous
#include "tuzutil/TSTRING.h"

void Use() {
#ifdef WRONG
    TString text("a");
    auto sum = text + 1;
    static_cast<void>(sum);
#else
    TString text("a");
    auto sum = text + TString(1L);
    static_cast<void>(sum);
#endif
}
