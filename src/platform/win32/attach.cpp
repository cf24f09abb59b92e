#include "platform/win32/threads.h"

#include <windows.h>

// The load notification. The call is refused where the runtime has per-thread clean-up of its own; the notifications
// that then arrive are ignored.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(instance);
    if (reason == DLL_PROCESS_DETACH && !processEnds)
        win32::ForgetThreads();
    return TRUE;
}
