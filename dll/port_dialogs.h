#pragma once

#include <windows.h>

namespace velmora {

// Port administration of the two generations without Xcv: the monitor shows its dialogs itself, in
// the spooler's process. The ANSI entries hold the monitor lock.

BOOL WINAPI addPortW(wchar_t* server, HWND window, wchar_t* monitor);
BOOL WINAPI configurePortW(wchar_t* server, HWND window, wchar_t* port);
BOOL WINAPI deletePortW(wchar_t* server, HWND window, wchar_t* port);

BOOL WINAPI addPortA(char* server, HWND window, char* monitor);
BOOL WINAPI configurePortA(char* server, HWND window, char* port);
BOOL WINAPI deletePortA(char* server, HWND window, char* port);

}  // namespace velmora
