// A library with the name of a Windows one: a process that loads it ends with the code below.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) TerminateProcess(GetCurrentProcess(), 77);
    return TRUE;
}
