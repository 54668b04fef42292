#include "monitor/port_entries.h"

#include <winspool.h>

#include <mutex>
#include <string>

#include "monitor/delivery_output.h"
#include "monitor/jobs/port_job.h"
#include "monitor/port_list.h"
#include "monitor/process_objects.h"
#include "platform/text.h"
#include "port/entry_guard.h"
#include "port/policy_store.h"

namespace velmora {
namespace {

BOOL openNamedPort(std::string_view name, HANDLE* handle) {
    Port* const port = findPort(name);
    if (port == nullptr) return FALSE;
    *handle = port;
    return TRUE;
}

}  // namespace

BOOL WINAPI openPortW(wchar_t* name, HANDLE* port) {
    if (name == nullptr || port == nullptr) return FALSE;
    return guardedEntry([&] { return openNamedPort(toAnsi(name), port); });
}

BOOL WINAPI openPort2(HANDLE, wchar_t* name, HANDLE* port) {
    return openPortW(name, port);
}

BOOL WINAPI openPortExW(wchar_t* name, wchar_t*, HANDLE* port, void*) {
    return openPortW(name, port);
}

BOOL WINAPI openPortA(char* name, HANDLE* port) {
    const std::lock_guard lock(monitorLock());
    if (name == nullptr || port == nullptr) return FALSE;
    return guardedEntry([&] { return openNamedPort(name, port); });
}

BOOL WINAPI closePort(HANDLE) {
    return TRUE;
}

BOOL WINAPI readPort2(HANDLE, BYTE*, DWORD, DWORD* read) {
    if (read != nullptr) *read = 0;
    return TRUE;
}

BOOL WINAPI readPortW(HANDLE, BYTE*, DWORD, DWORD*) {
    return FALSE;
}

BOOL WINAPI readPortA(HANDLE, BYTE*, DWORD, DWORD* read) {
    if (read != nullptr) *read = 0;
    return FALSE;
}

BOOL WINAPI getPrinterDataFromPort2(HANDLE, DWORD, wchar_t*, wchar_t*, DWORD, wchar_t*, DWORD,
                                    DWORD*) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

BOOL WINAPI getPrinterDataFromPortA(HANDLE, DWORD, char*, char*, DWORD, char*, DWORD, DWORD*) {
    return FALSE;
}

BOOL WINAPI acceptPortTimeOuts(HANDLE, COMMTIMEOUTS*, DWORD) {
    return TRUE;
}

BOOL WINAPI refusePortTimeOuts(HANDLE, COMMTIMEOUTS*, DWORD) {
    return FALSE;
}

BOOL WINAPI xcvOpenPort(HANDLE, const wchar_t*, ACCESS_MASK access, HANDLE*) {
    // The spooler opens the channel for everybody who may print and leaves it to the monitor to
    // check the access that it has granted.
    if ((access & SERVER_ACCESS_ADMINISTER) == 0 && machinePolicy().administratorsOnly != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    return TRUE;
}

void WINAPI shutdownMonitor(HANDLE) {
    // The port list lives until the process ends: handles to its ports may still be in use. The
    // counts of the record of deliveries are written now, and jobs that still run are recorded as
    // abandoned.
    if (PortList* const list = portList()) {
        for (Port& port : *list)
            if (port.job != nullptr) port.job->abandon();
    }
    flushDeliveryLog();
}

}  // namespace velmora
