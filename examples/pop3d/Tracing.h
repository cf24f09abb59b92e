#ifndef POP3D_TRACING_H
#define POP3D_TRACING_H

// The trace categories of the server, one for each of its parts. They belong to the component "Protocol". The entries
// contain no secrets. The environment variable NUV_TRACE says where the entries go:
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
