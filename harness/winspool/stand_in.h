#pragma once

#include <windows.h>

namespace velmora::testing {

/// Carries out an Xcv command in place of a spooler, as a monitor's XcvDataPort.
using XcvRoute = DWORD(WINAPI*)(HANDLE xcv, const wchar_t* command, BYTE* input, DWORD inputSize,
                                BYTE* output, DWORD outputSize, DWORD* needed);

/// What the winspool.drv of ours and the test that uses it share. The library and the test have a
/// C runtime each, so nothing here owns memory.
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
    /// What EnumPortsA lists, at level 1 only: names with their terminators, an empty one at the
    /// end.
    char ports[256];
};

}  // namespace velmora::testing
