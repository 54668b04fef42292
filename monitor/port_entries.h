#pragma once

#include <windows.h>

namespace velmora {

// The entries that need only the port list, or not even that. The generations answer ReadPort,
// SetPortTimeOuts and GetPrinterDataFromPort differently; kept for compatibility with the spoolers
// of each.

/// The port of that exact name: its address goes to `port`. An unknown name gives FALSE and sets no
/// error code.
BOOL WINAPI openPort2(HANDLE monitor, wchar_t* name, HANDLE* port);
BOOL WINAPI openPortW(wchar_t* name, HANDLE* port);
BOOL WINAPI openPortExW(wchar_t* name, wchar_t* printer, HANDLE* port, void* monitor);
BOOL WINAPI openPortA(char* name, HANDLE* port);

/// TRUE; nothing is released, since the port belongs to the list.
BOOL WINAPI closePort(HANDLE port);

BOOL WINAPI readPort2(HANDLE port, BYTE* buffer, DWORD size, DWORD* read);  ///< TRUE, 0 bytes
BOOL WINAPI readPortW(HANDLE port, BYTE* buffer, DWORD size, DWORD* read);  ///< FALSE, no count
BOOL WINAPI readPortA(HANDLE port, BYTE* buffer, DWORD size, DWORD* read);  ///< FALSE, 0 bytes

/// ERROR_INVALID_PARAMETER.
BOOL WINAPI getPrinterDataFromPort2(HANDLE port, DWORD control, wchar_t* value, wchar_t* input,
                                    DWORD inputSize, wchar_t* output, DWORD outputSize,
                                    DWORD* returned);
/// FALSE without an error code.
BOOL WINAPI getPrinterDataFromPortA(HANDLE port, DWORD control, char* value, char* input,
                                    DWORD inputSize, char* output, DWORD outputSize,
                                    DWORD* returned);

BOOL WINAPI acceptPortTimeOuts(HANDLE port, COMMTIMEOUTS* timeOuts, DWORD reserved);
BOOL WINAPI refusePortTimeOuts(HANDLE port, COMMTIMEOUTS* timeOuts, DWORD reserved);

/// TRUE, with the handle left as the spooler passed it: no Xcv command needs one. The policy may
/// ask for the right to administer the print server (SERVER_ACCESS_ADMINISTER):
/// ERROR_ACCESS_DENIED without it.
BOOL WINAPI xcvOpenPort(HANDLE monitor, const wchar_t* object, ACCESS_MASK access, HANDLE* xcv);

void WINAPI shutdownMonitor(HANDLE monitor);

}  // namespace velmora
