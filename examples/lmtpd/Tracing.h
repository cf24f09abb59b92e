#ifndef LMTPD_TRACING_H
#define LMTPD_TRACING_H

// The trace category of the program. It belongs to the component "Protocol". During a session, problems are told to the
// operator by traces only, because the standard error output may be the connection to the client. The environment
// variable NUV_TRACE says where the entries go:
//     NUV_TRACE="file(lmtpd.log),al,Protocol"

#include "tuzutil/TRACEP.h"

namespace lmtpd {

struct TraceCategory {
    static TTrace::Category const delivery;
};

} // namespace lmtpd

#endif
