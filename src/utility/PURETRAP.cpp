// TPureCall: what runs when a member is called that a derived class must define. It writes one entry and, if the level
// "trap" is traced, ends the process. It takes no lock of its own.

#include "tuzutil/PURETRAP.h"

#include "utility/kernel/reporter.h"

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/PURETRAP");

// The line that the entry's source location carries.
constexpr unsigned long fsLine = 40;

// Set while a trap's own entry is written: a destination that traps itself would come back here for ever.
thread_local bool fsIsTrapped = false;

} // namespace

int TPureCall::Trap() {
    if (fsIsTrapped)
        return 0;
    fsIsTrapped = true;
    fsReports.Severe({"Pure virtual function called", fsLine});
    fsIsTrapped = false;
    if (TTrace::IsGlobalTracing(TTrace::trap, 1)) {
        // A store to address 0 is what a debugger shows best; the compiler may drop it, so the trap follows.
        int volatile *volatile const nowhere = nullptr;
        *nowhere = 0;
        __builtin_trap();
    }
    return 0;
}
