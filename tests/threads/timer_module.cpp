// A library with a static timer that is set while the library is being loaded.

#include "tuzutil/TIMER.h"

#if defined(_WIN32)
#define MODULE_API extern "C" __declspec(dllexport)
#else
#define MODULE_API extern "C" __attribute__((visibility("default")))
#endif

namespace {

struct TArmed {
    TArmed() { timer.Set(0); }
    TReference<TSemaphore> event{new TSemaphore};
    TTimer timer{event};
} fsArmed;

} // namespace

MODULE_API TSemaphore *ModuleEvent() {
    return fsArmed.event.Pointer();
}

MODULE_API void ModuleSet(long seconds) {
    fsArmed.timer.Set(seconds);
}
