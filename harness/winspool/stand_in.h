#pragma once

#include <windows.h>

namespace velmora::testing {

/// Carries out an Xcv command in place of a spooler, as a monitor's XcvDataPort.
using XcvRoute = DWORD(WINAPI*)(HANDLE xcv, const wchar_t* command, BYTE* input, DWORD inputSize,
                                BYTE* output, DWORD outputSize, DWORD* needed);

/// Shared by our stand-in for winspool.drv and the test that uses it. Each has its own C runtime,
/// so nothing here owns memory.
struct SpoolerStandIn {
    /// The calls in their order, a line each, e.g. "SetJobA 1001 77 0 null 6".
    char calls[16384];
    DWORD printers;  ///< opened so far; the handles are 1001 and up
    BOOL openPrinterFails;
    BOOL setJobFails;
    XcvRoute xcvRoute;  ///< null: XcvDataW fails
    /// Called with each line of `calls` when it has been recorded and before the call returns;
    /// null: nobody.
    void(WINAPI* onCall)(const char* line);
    /// The names that EnumPortsA lists (at level 1 only), each with its terminator, and an empty
    /// one at the end.
    char ports[256];
};

}  // namespace velmora::testing
