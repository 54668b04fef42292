#pragma once

#include <windows.h>

#include <cstddef>

namespace velmora {

// The function tables of the spooler's port monitor contract, one for each of its generations, as
// the monitor hands them out. Declared here because the platform headers' layouts vary with the
// Windows version that is targeted.

using StartDocPortW = BOOL(WINAPI*)(HANDLE port, wchar_t* printer, DWORD job, DWORD level,
                                    BYTE* docInfo);
using StartDocPortA = BOOL(WINAPI*)(HANDLE port, char* printer, DWORD job, DWORD level,
                                    BYTE* docInfo);
using TransferPort = BOOL(WINAPI*)(HANDLE port, BYTE* buffer, DWORD size, DWORD* transferred);
using PortHandleEntry = BOOL(WINAPI*)(HANDLE port);
using SetPortTimeOutsEntry = BOOL(WINAPI*)(HANDLE port, COMMTIMEOUTS* timeOuts, DWORD reserved);

template <class Char>
using EnumPortsEntry = BOOL(WINAPI*)(Char* server, DWORD level, BYTE* buffer, DWORD size,
                                     DWORD* needed, DWORD* returned);
template <class Char>
using OpenPortEntry = BOOL(WINAPI*)(Char* name, HANDLE* port);
template <class Char>
using OpenPortExEntry = BOOL(WINAPI*)(Char* name, Char* printer, HANDLE* port, void* monitor);
template <class Char>
using PortDialogEntry = BOOL(WINAPI*)(Char* server, HWND window, Char* name);
template <class Char>
using AddPortExEntry = BOOL(WINAPI*)(Char* server, DWORD level, BYTE* buffer, Char* monitor);
template <class Char>
using GetPrinterDataEntry = BOOL(WINAPI*)(HANDLE port, DWORD control, Char* value, Char* input,
                                          DWORD inputSize, Char* output, DWORD outputSize,
                                          DWORD* returned);

struct MonitorUiTable {
    DWORD size;
    BOOL(WINAPI* addPortUi)
    (const wchar_t* server, HWND window, const wchar_t* monitor, wchar_t** portOut);
    BOOL(WINAPI* configurePortUi)(const wchar_t* server, HWND window, const wchar_t* port);
    BOOL(WINAPI* deletePortUi)(const wchar_t* server, HWND window, const wchar_t* port);
};

struct Monitor2Table {
    DWORD size;
    BOOL(WINAPI* enumPorts)
    (HANDLE monitor, wchar_t* server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
     DWORD* returned);
    BOOL(WINAPI* openPort)(HANDLE monitor, wchar_t* name, HANDLE* port);
    BOOL(WINAPI* openPortEx)
    (HANDLE monitor, HANDLE monitorPort, wchar_t* name, wchar_t* printer, HANDLE* port,
     void* other);
    StartDocPortW startDocPort;
    TransferPort writePort;
    TransferPort readPort;
    PortHandleEntry endDocPort;
    PortHandleEntry closePort;
    BOOL(WINAPI* addPort)(HANDLE monitor, wchar_t* server, HWND window, wchar_t* monitorName);
    BOOL(WINAPI* addPortEx)
    (HANDLE monitor, wchar_t* server, DWORD level, BYTE* buffer, wchar_t* monitorName);
    BOOL(WINAPI* configurePort)(HANDLE monitor, wchar_t* server, HWND window, wchar_t* port);
    BOOL(WINAPI* deletePort)(HANDLE monitor, wchar_t* server, HWND window, wchar_t* port);
    GetPrinterDataEntry<wchar_t> getPrinterDataFromPort;
    SetPortTimeOutsEntry setPortTimeOuts;
    BOOL(WINAPI* xcvOpenPort)
    (HANDLE monitor, const wchar_t* object, ACCESS_MASK access, HANDLE* xcv);
    DWORD(WINAPI* xcvDataPort)
    (HANDLE xcv, const wchar_t* command, BYTE* input, DWORD inputSize, BYTE* output,
     DWORD outputSize, DWORD* needed);
    PortHandleEntry xcvClosePort;
    void(WINAPI* shutdown)(HANDLE monitor);
};

/// The ANSI generation: thirteen entries, no AddPortEx.
struct MonitorTable {
    EnumPortsEntry<char> enumPorts;
    OpenPortEntry<char> openPort;
    OpenPortExEntry<char> openPortEx;
    StartDocPortA startDocPort;
    TransferPort writePort;
    TransferPort readPort;
    PortHandleEntry endDocPort;
    PortHandleEntry closePort;
    PortDialogEntry<char> addPort;
    PortDialogEntry<char> configurePort;
    PortDialogEntry<char> deletePort;
    GetPrinterDataEntry<char> getPrinterDataFromPort;
    SetPortTimeOutsEntry setPortTimeOuts;
};

/// The Unicode generation before Xcv. `size` counts the fourteen entries alone.
struct MonitorExTable {
    DWORD size;
    EnumPortsEntry<wchar_t> enumPorts;
    OpenPortEntry<wchar_t> openPort;
    OpenPortExEntry<wchar_t> openPortEx;
    StartDocPortW startDocPort;
    TransferPort writePort;
    TransferPort readPort;
    PortHandleEntry endDocPort;
    PortHandleEntry closePort;
    PortDialogEntry<wchar_t> addPort;
    AddPortExEntry<wchar_t> addPortEx;
    PortDialogEntry<wchar_t> configurePort;
    PortDialogEntry<wchar_t> deletePort;
    GetPrinterDataEntry<wchar_t> getPrinterDataFromPort;
    SetPortTimeOutsEntry setPortTimeOuts;
    // Later spoolers look for the three Xcv entries here without asking for the size: they must
    // find nulls, not whatever follows the table.
    void* noXcv[3];
};

constexpr std::size_t kSlot = sizeof(void*);
constexpr DWORD kMonitorUiSize = 4 * kSlot;
constexpr DWORD kMonitor2Size = 19 * kSlot;
constexpr DWORD kMonitorExSize = 14 * kSlot;

static_assert(sizeof(MonitorUiTable) == kMonitorUiSize);
static_assert(sizeof(Monitor2Table) == kMonitor2Size);
static_assert(sizeof(MonitorTable) == 13 * kSlot);
static_assert(sizeof(MonitorExTable) == kSlot + kMonitorExSize + 3 * kSlot);
static_assert(kSlot != 4 || (kMonitorUiSize == 16 && kMonitor2Size == 76 && kMonitorExSize == 56));

}  // namespace velmora
