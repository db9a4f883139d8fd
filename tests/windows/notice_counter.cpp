// The entry point of a DLL that has no runtime: counts the notifications of threads that reach it
// and hands every call on to the library's DllMain, when that is linked in.

#include <windows.h>

extern "C" {

__declspec(dllexport) LONG g_threadNotices = 0;

#if defined(WITH_LIBRARY_LOAD)
BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
#else
static BOOL DllMain(HINSTANCE, DWORD, LPVOID) {
    return TRUE;
}
#endif

BOOL WINAPI CountNotices(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_THREAD_ATTACH || reason == DLL_THREAD_DETACH) {
        ++g_threadNotices;
    }
    return DllMain(module, reason, reserved);
}
}
