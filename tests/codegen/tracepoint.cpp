// Trace points and nothing else, for a look at its code.

#include "tuzutil/TRACEP.h"

#include <string>

extern TTrace::Category const fsCategory;

extern "C" void PassTracePoint(int number) {
    TTracePoint::Write(TTrace::error, fsCategory, "file", "%d", number);
}

extern "C" void PassCheckedTracePoint(int number, std::string const &text) {
    TTracePoint::Write(TTrace::error, fsCategory, "%d %s", number, text);
}
