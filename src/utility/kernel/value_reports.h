#ifndef TUZUTIL_VALUE_REPORTS
#define TUZUTIL_VALUE_REPORTS

// The three reports of tagged values.

#include "utility/kernel/raise.h"

#include <cstdint>

namespace tagvar {

inline constexpr char fsFile[] = "src/utility/TAGVAR";

[[noreturn]] inline void ReportMismatch(std::uint32_t line = __builtin_LINE()) {
    Raise<TInvalidRequest>(
        {TUtilityTraceCategory::TagVar, fsFile, "type mismatch", "", line, 2, TException::recoverable});
}
[[noreturn]] inline void ReportNotImplemented(std::uint32_t line = __builtin_LINE()) {
    Raise<TInvalidRequest>(
        {TUtilityTraceCategory::TagVar, fsFile, "not implemented", "", line, 1, TException::unrecoverable});
}
[[noreturn]] inline void ReportUnknown(std::uint32_t line = __builtin_LINE()) {
    Raise<TInvalidRequest>(
        {TUtilityTraceCategory::TagVar, fsFile, "unknown type", "", line, 3, TException::unrecoverable});
}

} // namespace tagvar

#endif
