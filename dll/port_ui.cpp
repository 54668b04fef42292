#include "dll/port_ui.h"

#include <array>
#include <chrono>

#include "directory/groups_db.h"
#include "platform/text.h"
#include "port/configuration_lock.h"
#include "port/entry_guard.h"
#include "port/port_config.h"
#include "port/xcv_client.h"
#include "ui/port_sheet.h"
#include "ui/text_table.h"

namespace velmora {
namespace {

std::string ansiArgument(const wchar_t* text) {
    return text == nullptr ? std::string() : toAnsi(text);
}

/// The monitor's name as the spooler gave it, or as the settings file has it.
std::string monitorArgument(const wchar_t* monitor) {
    if (monitor != nullptr && *monitor != L'\0') return toAnsi(monitor);
    std::array<wchar_t, 256> name{};
    lookupString("Port Monitor Name", name);
    return toAnsi(name.data());
}

/// Others on this computer hold the lock for one change. A dialog that does not get it in this time
/// works without it: the user must not be kept waiting for a program that hangs.
constexpr std::chrono::seconds kLongestWait{5};

/// The directory, read while no other program is changing it.
void fetchDirectory(XcvConnection& connection, CGroupsDB& directory) {
    const ConfigurationLock lock(kLongestWait);
    connection.getGroupsDB(directory);
}

}  // namespace

BOOL WINAPI addPortUi(const wchar_t* server, HWND window, const wchar_t* monitor, wchar_t**) {
    return guardedEntry([&] {
        const std::string host = ansiArgument(server);
        XcvConnection connection(spooler(), host, XcvConnection::Kind::monitor,
                                 monitorArgument(monitor));
        const OpenDialogMark mark;
        CGroupsDB directory;
        fetchDirectory(connection, directory);
        PortConfig config;
        if (!CDialogNewPort(window, directory, host).edit(config))
            throw XcvException(ERROR_CANCELLED);
        // A record for a name that the channel has cut would find no port.
        config.name = portNameForChannel(config.name);
        const ConfigurationLock lock(kLongestWait);
        connection.addPort(config.name);
        connection.configPort(config);
        connection.setGroupsDB(directory);
        return TRUE;
    });
}

BOOL WINAPI configurePortUi(const wchar_t* server, HWND window, const wchar_t* port) {
    return guardedEntry([&] {
        const std::string name = ansiArgument(port);
        XcvConnection connection(spooler(), ansiArgument(server), XcvConnection::Kind::port, name);
        PortConfig config = connection.getConfigInfo(name);
        const OpenDialogMark mark;
        CGroupsDB directory;
        fetchDirectory(connection, directory);
        if (CDialogConfigPort(window, directory).edit(config)) {
            const ConfigurationLock lock(kLongestWait);
            connection.configPort(config);
            connection.setGroupsDB(directory);
        }
        return TRUE;
    });
}

BOOL WINAPI deletePortUi(const wchar_t* server, HWND, const wchar_t* port) {
    return guardedEntry([&] {
        const std::string name = ansiArgument(port);
        XcvConnection connection(spooler(), ansiArgument(server), XcvConnection::Kind::port, name);
        const ConfigurationLock lock(kLongestWait);
        connection.deletePort(name);
        return TRUE;
    });
}

}  // namespace velmora
