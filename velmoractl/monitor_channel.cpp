#include "velmoractl/monitor_channel.h"

#include <algorithm>
#include <array>

#include "port/spooler.h"
#include "port/xcv_client.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

// Larger than any record that the program or the dialogs make; the dialogs' own area is 1024 bytes.
constexpr std::size_t kRecordArea = 64 * 1024;

struct SpoolerPort {
    std::string name;
    std::string monitor;
};

std::vector<SpoolerPort> spoolerPorts(const std::string& server) {
    constexpr DWORD kLevel = 2;
    std::string computer = server;
    char* const where = computer.empty() ? nullptr : computer.data();
    std::vector<BYTE> area;
    DWORD needed = 0;
    DWORD count = 0;
    // Ports may be added between the question for the size and the list.
    while (!spooler().enumPorts(where, kLevel, area.data(), static_cast<DWORD>(area.size()),
                                &needed, &count)) {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || needed <= area.size()) {
            throw systemError("the list of ports", error, "check that the spooler is running");
        }
        area.resize(needed);
    }
    const auto* const info = reinterpret_cast<const PORT_INFO_2A*>(area.data());
    std::vector<SpoolerPort> ports;
    for (DWORD i = 0; i < count; ++i) {
        if (info[i].pPortName == nullptr) continue;
        const char* const monitor = info[i].pMonitorName;
        ports.push_back({info[i].pPortName, monitor == nullptr ? "" : monitor});
    }
    return ports;
}

void check(DWORD status, const std::string& what) {
    if (status == ERROR_SUCCESS) return;
    throw systemError(what, status, "\"status\" shows whether the monitor works");
}

/// Runs calls of the channel; a refusal by the spooler becomes a message.
template <class Body>
auto guarded(const std::string& what, Body&& body) {
    try {
        return body();
    } catch (const XcvException& failure) {
        throw systemError(what, failure.code(), "check that the spooler is running");
    }
}

std::span<const std::byte> bytesOf(const std::string& ansi) {
    return std::as_bytes(std::span(ansi.c_str(), ansi.size() + 1));
}

}  // namespace

struct MonitorChannel::Xcv {
    XcvConnection connection;
};

std::string monitorName(const Session& session) {
    if (!session.monitor.empty()) return session.monitor;
    return installedSetting("Port Monitor Name");
}

MonitorChannel::MonitorChannel(const Session& session)
    : server_(session.server), monitor_(monitorName(session)) {
    try {
        xcv_.reset(
            new Xcv{XcvConnection(spooler(), server_, XcvConnection::Kind::Monitor, monitor_)});
    } catch (const XcvException& failure) {
        const std::string what = "the monitor " + quotedAnsi(monitor_);
        if (failure.code() != ERROR_ACCESS_DENIED && !monitorInstalled(server_, monitor_)) {
            throw CommandError(ExitCode::notInstalled, what, "the spooler does not know it",
                               server_.empty()
                                   ? "\"install\" sets it up"
                                   : "set it up on that computer, or name it with --monitor");
        }
        throw systemError(what, failure.code(), "check that the spooler is running");
    }
}

MonitorChannel::~MonitorChannel() = default;

std::vector<std::string> MonitorChannel::portNames() const {
    std::vector<std::string> names;
    for (const SpoolerPort& port : spoolerPorts(server_)) {
        if (port.monitor == monitor_) names.push_back(port.name);
    }
    return names;
}

bool MonitorChannel::portNameTaken(const std::string& name) const {
    const std::vector<SpoolerPort> ports = spoolerPorts(server_);
    // Windows itself does not tell capitals from small letters in a port's name.
    return std::ranges::any_of(ports, [&](const SpoolerPort& port) {
        return lstrcmpiA(port.name.c_str(), name.c_str()) == 0;
    });
}

std::vector<PortConfig> MonitorChannel::ports() {
    std::vector<PortConfig> result;
    for (const std::string& name : portNames()) {
        // One port only of two with the same name can be reached.
        if (std::ranges::find(result, name, &PortConfig::name) != result.end()) continue;
        result.push_back(port(name));
    }
    return result;
}

PortConfig MonitorChannel::port(const std::string& name) {
    const std::string what = "port " + quotedAnsi(name);
    return guarded(what, [&] {
        std::vector<std::byte> area(kRecordArea);
        const DWORD status = xcv_->connection.call(L"GetConfigInfo", bytesOf(name), area);
        if (status == ERROR_INVALID_PARAMETER) {
            throw CommandError(ExitCode::notFound, what, "the monitor has no port of that name",
                               "\"port list\" shows the ports");
        }
        check(status, what);
        std::optional<PortConfig> config = unpack(area);
        if (!config || config->name != name) {
            throw CommandError(ExitCode::failed, what, "its settings cannot be read",
                               "remove the port and add it again");
        }
        return std::move(*config);
    });
}

void MonitorChannel::addPort(const PortConfig& port) {
    guarded("adding port " + quotedAnsi(port.name), [&] {
        xcv_->connection.addPort(port.name);
        changePort(port);
    });
}

void MonitorChannel::changePort(const PortConfig& config) {
    const std::string what = "storing port " + quotedAnsi(config.name);
    guarded(what, [&] {
        check(xcv_->connection.call(L"ConfigPort", pack(config), {}), what);
        if (port(config.name) == config) return;
        throw CommandError(ExitCode::failed, what, "the monitor holds other settings",
                           "check that nobody else configures the port, and try again");
    });
}

void MonitorChannel::removePort(const std::string& name) {
    guarded("removing port " + quotedAnsi(name), [&] { xcv_->connection.deletePort(name); });
}

CGroupsDB MonitorChannel::directory() {
    return guarded("reading the printer directory", [&] {
        CGroupsDB directory;
        xcv_->connection.getGroupsDB(directory);
        return directory;
    });
}

void MonitorChannel::storeDirectory(const CGroupsDB& wanted) {
    const std::string what = "storing the printer directory";
    guarded(what, [&] {
        xcv_->connection.setGroupsDB(wanted);
        // The monitor's answer does not tell whether the registry took it.
        if (directory().nodes().size() == wanted.nodes().size()) return;
        throw CommandError(ExitCode::failed, what, "the monitor holds another one now",
                           "check the registry's permissions with \"install\", and try again");
    });
}

}  // namespace velmora::ctl
