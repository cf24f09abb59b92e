// A stream owns its buffer.
// error: use of deleted function .*ToNulStream.const ToNulStream
// clang++ error: call to implicitly-deleted copy constructor of .ToNulStream
#include "tuzutil/NULSTRM.h"

void Use() {
#ifdef WRONG
    ToNulStream first;
    ToNulStream second(first);
#else
    ToNulStream first;
    ToNulStream second;
#endif
}
