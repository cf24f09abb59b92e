// TPureCall: reports the call of a function that a derived class should have overridden. The base class's version of
// such a function calls Trap() or TrapIn(). Trap() writes one trace entry and, if the level "trap" is traced, ends the
// process. TrapIn() does the same. In a debug build, TrapIn() then also writes the names of the class and the function
// to standard error, and ends the process. This source has no lock of its own.

#include "tuzutil/PURETRAP.h"

#include "utility/kernel/debug_check.h"
#include "utility/kernel/reporter.h"

#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Trace, "src/utility/PURETRAP");

// The line number in the source location of the trace entry.
constexpr unsigned long fsLine = 40;

// True while this thread writes the trace entry. Without this flag, a destination that itself calls Trap() would cause
// an endless recursion.
thread_local bool fsIsTrapped = false;

[[noreturn]] void Stop() {
    // The store to address 0 stops the process, and debuggers show this place. If the store does not stop the process,
    // the trap instruction does.
    int volatile *volatile const nowhere = nullptr;
    *nowhere = 0;
    __builtin_trap();
}

} // namespace

int TPureCall::Trap() {
    if (fsIsTrapped)
        return 0;
    fsIsTrapped = true;
    fsReports.Severe({"Pure virtual function called", fsLine});
    fsIsTrapped = false;
    if (TTrace::IsGlobalTracing(TTrace::trap, 1))
        Stop();
    return 0;
}

int TPureCall::TrapIn(char const *className, char const *function) {
    Trap();
    if (debugcheck::isOn) {
        int status = 0;
        std::unique_ptr<char, decltype(&std::free)> const plain(
            abi::__cxa_demangle(className, nullptr, nullptr, &status), &std::free);
        // No test gets here: memory would have to be lacking when the name is made.
        std::fprintf(stderr, "Pure virtual function called: class %s does not override %s\n",
                     plain ? plain.get() : className, function);
        std::fflush(stderr);
        Stop();
    }
    return 0;
}
