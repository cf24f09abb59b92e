// An extraction into a string's characters would not know where they end.
// error: use of deleted function .*operator>>.*TString
// clang++ error: overload resolution selected deleted operator .>>
#include "tuzutil/TSTRING.h"

#include <iostream>

void Use() {
    TString text("a");
#ifdef WRONG
    std::cin >> text;
#else
    std::cout << text;
#endif
}
