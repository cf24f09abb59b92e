// The load notification of the library. The system calls it under its loader lock: it must not load a library, wait for
// a thread, trace or take a lock.

#include "platform/win32/thread_record.h"

#include <windows.h>

// The system refuses the call below if the runtime cleans up after threads itself. The notifications that then arrive
// are ignored.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(instance);
    if (reason == DLL_PROCESS_DETACH && !processEnds)
        platform::ForgetThreads();
    return TRUE;
}
