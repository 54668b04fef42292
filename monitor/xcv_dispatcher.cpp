#include "monitor/xcv_dispatcher.h"

namespace velmora {

DWORD WINAPI xcvDataPort(HANDLE, const wchar_t*, BYTE*, DWORD, BYTE*, DWORD, DWORD*) {
    return ERROR_INVALID_PARAMETER;
}

}  // namespace velmora
