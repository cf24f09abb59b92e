// debug_tracer: traces to the debugger, a short line and one of 10,000 characters.

#include "tuzutil/TRACESTR.h"
#include "tuzutil/TXTMSG.h"

#include <string>

int main() {
    static TTrace::Category const fsCategory(1, "DebugTracer");
    TTraceWindowsDebug trace;
    trace.SetDisplayPrefix(0);
    for (std::size_t length : {5u, 10000u}) {
        TTextMessage message("%s", TagVar(std::string(length, 'x').c_str()));
        message.SetDebugging("f", 1);
        TTrace::WriteEntry(TTrace::error, fsCategory, message);
    }
    return 0;
}
