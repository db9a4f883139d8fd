// What the DLL does when Windows loads it into the host's process.

#include <windows.h>

/// Only switches off the notifications of threads that come and go, which nothing here needs.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        DisableThreadLibraryCalls(module);
    }
    return TRUE;
}
