#include "tuzutil/PURETRAP.h"

#include "tuzutil/TRACE.h"

namespace {

constexpr unsigned long fsTrap = 0x100000;

} // namespace

int TPureCall::Trap() {
    if (TTrace::IsGlobalTracing(fsTrap, 1)) {
        // A store to address 0 is what a debugger shows best; the compiler may drop it, so the trap follows.
        int volatile *volatile const nowhere = nullptr;
        *nowhere = 0;
        __builtin_trap();
    }
    return 0;
}
