// A format does not stand where the name of the file may stand.
// error: AnArgumentIsNotUsed
// clang++ error: none
#include "tuzutil/TRACEP.h"

void Use(TTrace::Category const &category, char const *name) {
#ifdef WRONG
    TTracePoint::Write(TTrace::error, category, "user %s logged in", "src/session.cpp", name);
#else
    TTracePoint::Write(TTrace::error, category, "src/session.cpp", "user %s logged in", name);
#endif
}
