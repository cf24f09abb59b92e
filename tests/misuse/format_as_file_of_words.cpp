// A text that is no sentence and has no extension is not the name of a source file either.
// error: AFileNameStandsBeforeAFormat
// clang++ error: none
#include "tuzutil/TRACEP.h"

void Use(TTrace::Category const &category, char const *name) {
    TTracePoint::Write(TTrace::error, category, "src/session.cpp", name);
#ifdef WRONG
    TTracePoint::Write(TTrace::error, category, "user logged in", name);
#endif
}
