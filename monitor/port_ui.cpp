#include "monitor/port_ui.h"

namespace velmora {

BOOL WINAPI addPortUi(const wchar_t*, HWND, const wchar_t*, wchar_t**) {
    SetLastError(ERROR_CANCELLED);
    return FALSE;
}

BOOL WINAPI configurePortUi(const wchar_t*, HWND, const wchar_t*) {
    return FALSE;
}

BOOL WINAPI deletePortUi(const wchar_t*, HWND, const wchar_t*) {
    return FALSE;
}

}  // namespace velmora
