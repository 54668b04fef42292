#include "monitor/port_dialogs.h"

namespace velmora {

BOOL WINAPI addPortW(wchar_t*, HWND, wchar_t*) {
    SetLastError(ERROR_CANCELLED);
    return FALSE;
}

BOOL WINAPI configurePortW(wchar_t*, HWND, wchar_t*) {
    return FALSE;
}

BOOL WINAPI deletePortW(wchar_t*, HWND, wchar_t*) {
    return FALSE;
}

BOOL WINAPI addPortA(char*, HWND, char*) {
    SetLastError(ERROR_CANCELLED);
    return FALSE;
}

BOOL WINAPI configurePortA(char*, HWND, char*) {
    return FALSE;
}

BOOL WINAPI deletePortA(char*, HWND, char*) {
    return FALSE;
}

}  // namespace velmora
