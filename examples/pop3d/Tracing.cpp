#include "Tracing.h"

#include "System.h"

namespace pop3d {

TTrace::Category const TraceCategory::server(8, "Pop3Server");
TTrace::Category const TraceCategory::session(8, "Pop3Session");
TTrace::Category const TraceCategory::mailbox(8, "Pop3Mailbox");

} // namespace pop3d
