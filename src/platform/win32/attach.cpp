// DllMain(), which the system calls when it loads or unloads the library. DllMain() runs under the system's loader
// lock, so it must not load a library, wait for a thread, trace or take a lock.

#include "platform/win32/thread_record.h"

#include <windows.h>

// If the runtime itself needs to know when threads end, DisableThreadLibraryCalls() fails. The system then calls
// DllMain() also when a thread begins or ends, and DllMain() does nothing.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(instance);
    if (reason == DLL_PROCESS_DETACH && !processEnds)
        platform::ForgetThreads();
    return TRUE;
}
