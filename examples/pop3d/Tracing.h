#ifndef POP3D_TRACING_H
#define POP3D_TRACING_H

// Trace points of the server: component "Protocol", one category a part. Secrets are in none of them. Where entries go
// is said by the environment:
//     NUV_TRACE="stderr,al,Protocol" pop3d --users users

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TRACEP.h"

#include <string>

namespace pop3d {

struct TraceCategory {
    static TTrace::Category const server;
    static TTrace::Category const session;
    static TTrace::Category const mailbox;
};

// Traces an exception as an error, with the place of the call.
inline void TraceException(TTrace::Category const &category, TException const &problem,
                           TTracePlace place = {__builtin_FILE(), __builtin_LINE()}) {
    TTracePoint::Write(TTrace::error, category, place, "%s: %s", problem.name(), problem.text(0));
}

} // namespace pop3d

#endif
