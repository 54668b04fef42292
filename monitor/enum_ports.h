#pragma once

#include <windows.h>

namespace velmora {

// Enumeration of the ports at levels 1 (PORT_INFO_1) and 2 (PORT_INFO_2): fixed structures from the
// start of the buffer in list order, strings packed downward from its end. `server` and `monitor`
// are ignored. ERROR_INVALID_LEVEL for another level, ERROR_INSUFFICIENT_BUFFER with the size in
// `needed` when the buffer is too small.

BOOL WINAPI enumPorts2(HANDLE monitor, wchar_t* server, DWORD level, BYTE* buffer, DWORD size,
                       DWORD* needed, DWORD* returned);
BOOL WINAPI enumPortsW(wchar_t* server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                       DWORD* returned);
/// Under the monitor lock; both counters are zeroed before anything else.
BOOL WINAPI enumPortsA(char* server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                       DWORD* returned);

}  // namespace velmora
