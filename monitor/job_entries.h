#pragma once

#include <windows.h>

namespace velmora {

// The job slots of the spooler's tables. The ANSI entries hold the monitor lock.

BOOL WINAPI startDocPortW(HANDLE port, wchar_t* printer, DWORD job, DWORD level, BYTE* docInfo);
BOOL WINAPI startDocPortA(HANDLE port, char* printer, DWORD job, DWORD level, BYTE* docInfo);

BOOL WINAPI writePort(HANDLE port, BYTE* buffer, DWORD size, DWORD* written);
BOOL WINAPI writePortA(HANDLE port, BYTE* buffer, DWORD size, DWORD* written);

BOOL WINAPI endDocPort(HANDLE port);
BOOL WINAPI endDocPortA(HANDLE port);

}  // namespace velmora
