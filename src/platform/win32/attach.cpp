#include <windows.h>

// The load notification. The call is refused where the runtime has per-thread clean-up of its own; the notifications
// that then arrive are ignored.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(instance);
    return TRUE;
}
