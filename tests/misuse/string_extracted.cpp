// An extraction into a string's characters would not know where they end.
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
