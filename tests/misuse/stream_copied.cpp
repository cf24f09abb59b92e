// A stream owns its buffer.
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
