#ifndef POP3D_TRACING_H
#define POP3D_TRACING_H

// Trace points of the server: component "Protocol", one category a part. Secrets are in none of them. Where entries go
// is said by the environment:
//     NUV_TRACE="stderr,al,Protocol" pop3d --users users

#include "tuzutil/TRACEP.h"

namespace pop3d {

struct TraceCategory {
    static TTrace::Category const server;
    static TTrace::Category const session;
    static TTrace::Category const mailbox;
};

} // namespace pop3d

#endif
