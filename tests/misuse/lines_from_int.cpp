// Sizes and streams do not stand for each other.
// error: invalid conversion from .*int.* to .*std::istream
// clang++ error: no matching constructor for initialization of .TiLineStream
#include "tuzutil/LINESTRM.h"

void Use() {
#ifdef WRONG
    TiLineStream lines(10, 20);
#else
    TiLineStream lines(10, static_cast<std::istream *>(nullptr));
#endif
}
