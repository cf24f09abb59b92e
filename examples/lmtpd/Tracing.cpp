#include "Tracing.h"

namespace lmtpd {

TTrace::Category const TraceCategory::delivery(8, "LmtpDelivery");

} // namespace lmtpd
