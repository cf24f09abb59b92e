// TPureCall: its function Trap() runs when a member is called that a derived class must override but does not. It
// writes one trace entry and, if the level "trap" is traced, ends the process. It has no lock of its own.

#include "tuzutil/PURETRAP.h"

#include "utility/kernel/reporter.h"

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/PURETRAP");

// The line number in the source location of the trace entry.
constexpr unsigned long fsLine = 40;

// Set while the trace entry is written. Without it, a destination that calls Trap() itself would cause an endless
// recursion.
thread_local bool fsIsTrapped = false;

} // namespace

int TPureCall::Trap() {
    if (fsIsTrapped)
        return 0;
    fsIsTrapped = true;
    fsReports.Severe({"Pure virtual function called", fsLine});
    fsIsTrapped = false;
    if (TTrace::IsGlobalTracing(TTrace::trap, 1)) {
        // Debuggers show a store to address 0 best. The compiler may remove the store, so a trap instruction follows.
        int volatile *volatile const nowhere = nullptr;
        *nowhere = 0;
        __builtin_trap();
    }
    return 0;
}
