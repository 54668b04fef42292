#pragma once

#include <windows.h>
// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>

// We call the spooler's functions by their full names; a macro of that name would rename our own
// AddPrinter (directory/groups_db.h) in some files and not in others.
#undef AddPrinter

namespace velmora {

/// The spooler's functions that the monitor and its UI call. The library does not import the
/// spooler: the spooler imports the library.
struct SpoolerFunctions {
    BOOL(WINAPI* enumPorts)
    (char* server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);
    BOOL(WINAPI* openPrinter)(char* name, HANDLE* printer, PRINTER_DEFAULTSA* defaults);
    BOOL(WINAPI* closePrinter)(HANDLE printer);
    BOOL(WINAPI* setJob)(HANDLE printer, DWORD job, DWORD level, BYTE* data, DWORD control);
    BOOL(WINAPI* xcvData)
    (HANDLE xcv, const wchar_t* command, BYTE* input, DWORD inputSize, BYTE* output,
     DWORD outputSize, DWORD* needed, DWORD* status);
};

/// The functions of WinSpool.drv, loaded by the first caller and never freed. No member is null: a
/// function that the library lacks (or all of them, if it does not load) is replaced by one that
/// fails with ERROR_PROC_NOT_FOUND.
const SpoolerFunctions& spooler();

}  // namespace velmora
