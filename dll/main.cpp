#include <windows.h>

#include "dll/exception_globals.h"
#include "monitor/process_objects.h"

/// The loader's notices. Nothing of ours is started here; what was taken is given back, because
/// the spooler and whoever shows its dialogs load and unload libraries as long as they live.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds) {
    switch (reason) {
        case DLL_PROCESS_DETACH:
            // At the process's end other threads are gone wherever they were, locks held or not.
            if (processEnds == nullptr) velmora::destroyPortLists();
            break;
        case DLL_THREAD_ATTACH:
        case DLL_THREAD_DETACH:
            velmora::releaseExceptionGlobals();
            break;
    }
    return TRUE;
}
