#include "monitor/job_entries.h"

namespace velmora {

// Delivery is not part of this build: a job is refused before any of it is taken.

BOOL WINAPI startDocPortW(HANDLE, wchar_t*, DWORD, DWORD, BYTE*) {
    return FALSE;
}

BOOL WINAPI startDocPortA(HANDLE, char*, DWORD, DWORD, BYTE*) {
    return FALSE;
}

BOOL WINAPI writePort(HANDLE, BYTE*, DWORD size, DWORD* written) {
    if (size == 0) return TRUE;
    *written = 0;
    return FALSE;
}

BOOL WINAPI writePortA(HANDLE port, BYTE* buffer, DWORD size, DWORD* written) {
    return writePort(port, buffer, size, written);
}

BOOL WINAPI endDocPort(HANDLE) {
    return TRUE;
}

BOOL WINAPI endDocPortA(HANDLE) {
    return TRUE;
}

}  // namespace velmora
