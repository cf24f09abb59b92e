// A text without a conversion before a text is the format of an entry, not the name of a source file.
// error: AFileNameStandsBeforeAFormat
// clang++ error: none
#include "tuzutil/TRACEP.h"

void Use(TTrace::Category const &category, char const *name) {
    // The name of a file may stand there, and the format may be a variable or a literal.
    TTracePoint::Write(TTrace::error, category, "src/session.cpp", name);
    TTracePoint::Write(TTrace::error, category, "C:\\my mail\\session.cpp", name);
    TTracePoint::Write(TTrace::error, category, "session", "no mail");
#ifdef WRONG
    TTracePoint::Write(TTrace::error, category, "Login failed.", name);
#else
    TTracePoint::Write(TTrace::error, category, "user %s logged in", name);
#endif
}
