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

// The sum can stay in a register, because nothing takes its address where nothing is traced.
extern "C" int PassTracePointsOfASum(int const *numbers, int count) {
    int sum = 0;
    for (int i = 0; i < count; ++i) {
        sum += numbers[i];
        TTracePoint::Write(TTrace::error, fsCategory, {"file", 7}, "sum %d", sum);
    }
    return sum;
}
