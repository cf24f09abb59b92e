#ifndef TUZUTIL_VALUE_REPORTS
#define TUZUTIL_VALUE_REPORTS

// The three exceptions of TagVar. Each exception has the line number of the caller.
// - "type mismatch": an operation does not accept a value of this kind.
// - "not implemented": the operation is not implemented for this kind.
// - "unknown type": there is no such kind.

#include "utility/kernel/reporter.h"

#include <cstdint>

namespace tagvar {

inline TReporter const fsReports(TUtilityTraceCategory::TagVar, "src/utility/TAGVAR");

[[noreturn]] inline void ReportMismatch(std::uint32_t line = __builtin_LINE()) {
    fsReports.Raise<TInvalidRequest>({"type mismatch", line}, {.errorId = 2});
}
[[noreturn]] inline void ReportNotImplemented(std::uint32_t line = __builtin_LINE()) {
    fsReports.Raise<TInvalidRequest>({"not implemented", line}, {.errorId = 1, .severity = TException::unrecoverable});
}
[[noreturn]] inline void ReportUnknown(std::uint32_t line = __builtin_LINE()) {
    fsReports.Raise<TInvalidRequest>({"unknown type", line}, {.errorId = 3, .severity = TException::unrecoverable});
}

} // namespace tagvar

#endif
