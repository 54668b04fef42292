#pragma once

#include <windows.h>

namespace velmora {

// The UI library's entries: they may run in another process than the monitor and reach it only
// through the spooler's Xcv channel.

BOOL WINAPI addPortUi(const wchar_t* server, HWND window, const wchar_t* monitor,
                      wchar_t** portOut);
BOOL WINAPI configurePortUi(const wchar_t* server, HWND window, const wchar_t* port);
BOOL WINAPI deletePortUi(const wchar_t* server, HWND window, const wchar_t* port);

}  // namespace velmora
