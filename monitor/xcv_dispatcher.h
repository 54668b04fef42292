#pragma once

#include <windows.h>

namespace velmora {

/// One command of the Xcv channel; returns a Win32 error code. The handle is ignored. Each command
/// reads its input up to its own terminator or by its format; a stated input size that is not 0
/// bounds it only when the policy says so at that moment.
DWORD WINAPI xcvDataPort(HANDLE xcv, const wchar_t* command, BYTE* input, DWORD inputSize,
                         BYTE* output, DWORD outputSize, DWORD* needed);

}  // namespace velmora
