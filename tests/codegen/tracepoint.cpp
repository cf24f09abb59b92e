// One trace point and nothing else, for a look at its code.

#include "tuzutil/TRACEP.h"

extern TTrace::Category const fsCategory;

extern "C" void PassTracePoint(int number) {
    TTracePoint::Write(TTrace::error, fsCategory, "file", "%d", number);
}
