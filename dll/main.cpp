#include <windows.h>

#include "dll/exception_globals.h"
#include "monitor/process_objects.h"

/// The loader's notifications. Nothing is started here, and everything allocated is released,
/// because the spooler and programs that show its dialogs load and unload libraries throughout
/// their lives.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds) {
    switch (reason) {
        case DLL_PROCESS_DETACH:
            // When the process ends, other threads have been stopped wherever they were, perhaps
            // with locks held.
            if (processEnds == nullptr) velmora::destroyPortLists();
            break;
        case DLL_THREAD_ATTACH:
        case DLL_THREAD_DETACH:
            velmora::releaseExceptionGlobals();
            break;
    }
    return TRUE;
}
