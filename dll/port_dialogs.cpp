#include "dll/port_dialogs.h"

#include <mutex>
#include <string>

#include "directory/groups_db.h"
#include "directory/groups_store.h"
#include "monitor/port_list.h"
#include "monitor/process_objects.h"
#include "platform/text.h"
#include "port/entry_guard.h"
#include "port/policy_store.h"
#include "port/port_config.h"
#include "port/settings.h"
#include "ui/port_sheet.h"

namespace velmora {
namespace {

/// Whether a dialog may open with the directory that `store` has loaded; sets the last error.
bool readWhole(const RegistryGroupsStore& store) {
    const LSTATUS status = keptBack(store);
    if (status != ERROR_SUCCESS) SetLastError(static_cast<DWORD>(status));
    return status == ERROR_SUCCESS;
}

BOOL addPort(HWND window, const std::string& server) {
    RegistryGroupsStore store = directoryStore();
    CGroupsDB directory(store);
    if (!readWhole(store)) return FALSE;
    PortConfig config;
    if (portList() == nullptr || !CDialogNewPort(window, directory, server).edit(config)) {
        SetLastError(ERROR_CANCELLED);
        return FALSE;
    }
    Port* const port = portList()->add(config);
    portList()->update(*port, config);
    directory.Save();
    return TRUE;
}

/// TRUE also when the user cancels, as with the entry that works through Xcv.
BOOL configurePort(HWND window, const std::string& name) {
    Port* const port = findPort(name);
    if (port == nullptr) return FALSE;
    RegistryGroupsStore store = directoryStore();
    CGroupsDB directory(store);
    if (!readWhole(store)) return FALSE;
    PortConfig config = *port->config();
    if (CDialogConfigPort(window, directory).edit(config)) {
        portList()->update(*port, config);
        // Groups and printers that were edited in the sheet are part of its result.
        directory.Save();
    }
    return TRUE;
}

BOOL deletePort(const std::string& name) {
    Port* const port = findPort(name);
    if (port == nullptr) return FALSE;
    portList()->remove(*port);
    return TRUE;
}

std::string text(const wchar_t* argument) {
    return argument == nullptr ? std::string() : toAnsi(argument);
}

std::string text(const char* argument) {
    return argument == nullptr ? "" : argument;
}

}  // namespace

BOOL WINAPI addPortW(wchar_t* server, HWND window, wchar_t*) {
    return guardedEntry([&] { return addPort(window, text(server)); });
}

BOOL WINAPI configurePortW(wchar_t*, HWND window, wchar_t* port) {
    return guardedEntry([&] { return configurePort(window, text(port)); });
}

BOOL WINAPI deletePortW(wchar_t*, HWND, wchar_t* port) {
    return guardedEntry([&] { return deletePort(text(port)); });
}

BOOL WINAPI addPortA(char* server, HWND window, char*) {
    const std::lock_guard lock(monitorLock());
    return guardedEntry([&] { return addPort(window, text(server)); });
}

BOOL WINAPI configurePortA(char*, HWND window, char* port) {
    const std::lock_guard lock(monitorLock());
    return guardedEntry([&] { return configurePort(window, text(port)); });
}

BOOL WINAPI deletePortA(char*, HWND, char* port) {
    const std::lock_guard lock(monitorLock());
    return guardedEntry([&] { return deletePort(text(port)); });
}

}  // namespace velmora
