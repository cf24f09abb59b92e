// A handle of the platform leads to one kind of object: nobody waits for a lock as for an event.
// error: cannot convert .*platform::Mutex.* to .*platform::Event
// clang++ error: cannot initialize a parameter of type .platform::Event .* with .*platform::Mutex
#include "platform/platform.h"

void Wait(platform::Mutex *mutex, platform::Event *event) {
#ifdef WRONG
    static_cast<void>(event);
    platform::WaitEvent(mutex, 0);
#else
    static_cast<void>(mutex);
    platform::WaitEvent(event, 0);
#endif
}
