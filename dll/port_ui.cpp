#include "dll/port_ui.h"

#include <array>

#include "platform/text.h"
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

/// Runs an entry's body. A failure of the channel becomes FALSE with its code as the last error,
/// which closing the connection may have changed meanwhile.
template <class Body>
BOOL entry(Body&& body) noexcept {
    try {
        return body();
    } catch (const XcvException& failure) {
        SetLastError(failure.code());
    } catch (...) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return FALSE;
}

}  // namespace

BOOL WINAPI addPortUi(const wchar_t* server, HWND window, const wchar_t* monitor, wchar_t**) {
    return entry([&] {
        const std::string host = ansiArgument(server);
        XcvConnection connection(spooler(), host, XcvConnection::Kind::Monitor,
                                 monitorArgument(monitor));
        CGroupsDB directory;
        connection.getGroupsDB(directory);
        PortConfig config;
        if (!CDialogNewPort(window, directory, host).edit(config))
            throw XcvException(ERROR_CANCELLED);
        // A record for a name that the channel has cut would find no port.
        config.name = portNameForChannel(config.name);
        connection.addPort(config.name);
        connection.configPort(config);
        connection.setGroupsDB(directory);
        return TRUE;
    });
}

BOOL WINAPI configurePortUi(const wchar_t* server, HWND window, const wchar_t* port) {
    return entry([&] {
        const std::string name = ansiArgument(port);
        XcvConnection connection(spooler(), ansiArgument(server), XcvConnection::Kind::Port, name);
        PortConfig config = connection.getConfigInfo(name);
        CGroupsDB directory;
        connection.getGroupsDB(directory);
        if (CDialogConfigPort(window, directory).edit(config)) {
            connection.configPort(config);
            connection.setGroupsDB(directory);
        }
        return TRUE;
    });
}

BOOL WINAPI deletePortUi(const wchar_t* server, HWND, const wchar_t* port) {
    return entry([&] {
        const std::string name = ansiArgument(port);
        XcvConnection connection(spooler(), ansiArgument(server), XcvConnection::Kind::Port, name);
        connection.deletePort(name);
        return TRUE;
    });
}

}  // namespace velmora
