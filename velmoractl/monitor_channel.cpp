#include "velmoractl/monitor_channel.h"

#include <algorithm>
#include <chrono>
#include <set>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "port/spooler.h"
#include "port/targets.h"
#include "port/xcv_client.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

// Larger than any record that the program or the dialogs make.
constexpr std::size_t kLargestRecord = 64 * 1024;
// What directories of some 10,000 printers and ports need.
constexpr std::size_t kUsualDirectory = 1024 * 1024;

// How long another command may take for one change before this one gives up.
constexpr std::chrono::seconds kLongestWait{30};
// How long this waits for a dialog that is just being closed.
constexpr DWORD kDialogPollMs = 200;
constexpr int kDialogPolls = 10;
constexpr int kAttempts = 3;

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
        throw spoolerError(what, failure.code());
    }
}

void checkLength(const std::string& text, const std::string& what) {
    if (text.size() <= kLongestDirectoryText) return;
    throw CommandError(ExitCode::usage, what,
                       "a text is longer than " + std::to_string(kLongestDirectoryText) + " bytes",
                       "give a shorter one");
}

/// What is longer would be stored but not be read back.
void checkLengths(const CGroupsDB& directory, const std::string& what) {
    for (const auto& [id, node] : directory.nodes()) {
        checkLength(node->name, what);
        if (node->type != NODE_PRINTER) continue;
        const auto& printer = static_cast<const CGroupsDBPrinter&>(*node);
        for (const std::string* text :
             {&printer.address.url, &printer.address.userName, &printer.address.password})
            checkLength(*text, what);
    }
}

std::span<const std::byte> bytesOf(const std::string& ansi) {
    return std::as_bytes(std::span(ansi.c_str(), ansi.size() + 1));
}

}  // namespace

struct MonitorChannel::Xcv {
    Xcv(const std::string& server, const std::string& monitor)
        : connection(spooler(), server, XcvConnection::Kind::monitor, monitor) {}

    XcvConnection connection;
};

std::string monitorName(const Session& session) {
    if (!session.monitor.empty()) return session.monitor;
    return installedSetting("Port Monitor Name");
}

MonitorChannel::MonitorChannel(const Session& session)
    : server_(session.server), monitor_(monitorName(session)) {
    try {
        xcv_ = std::make_unique<Xcv>(server_, monitor_);
    } catch (const XcvException& failure) {
        const std::string what = "the monitor " + quotedAnsi(monitor_);
        // Throws when the spooler cannot be asked, which says nothing about the monitor.
        if (failure.code() != ERROR_ACCESS_DENIED && !monitorInstalled(server_, monitor_)) {
            throw CommandError(ExitCode::notInstalled, what, "the spooler does not know it",
                               server_.empty()
                                   ? "\"install\" sets it up"
                                   : "set it up on that computer, or name it with --monitor");
        }
        throw spoolerError(what, failure.code());
    }
    session.noteServerAnswers();
}

MonitorChannel::~MonitorChannel() = default;

std::vector<MonitorChannel::SpoolerPort> MonitorChannel::spoolerPorts() const {
    constexpr DWORD kLevel = 2;
    std::string computer = server_;
    char* const where = computer.empty() ? nullptr : computer.data();
    std::vector<BYTE> area;
    DWORD needed = 0;
    DWORD count = 0;
    // Ports may be added between asking for the size and for the list.
    while (!spooler().enumPorts(where, kLevel, area.data(), static_cast<DWORD>(area.size()),
                                &needed, &count)) {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || needed <= area.size()) {
            throw spoolerError("the list of ports", error);
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

std::vector<std::string> MonitorChannel::portNames() const {
    std::vector<std::string> names;
    for (const SpoolerPort& port : spoolerPorts()) {
        if (port.monitor == monitor_) names.push_back(port.name);
    }
    return names;
}

std::vector<PortConfig> MonitorChannel::ports() {
    std::vector<PortConfig> result;
    std::set<std::string> seen;
    for (const std::string& name : portNames()) {
        // Only one port of two with the same name can be reached.
        if (seen.insert(name).second) result.push_back(port(name));
    }
    return result;
}

std::vector<PrintTarget> MonitorChannel::targets(const PortConfig& port) {
    return targetsOf(port, directory());
}

std::vector<PrintTarget> MonitorChannel::targets(const std::string& port) {
    return targets(this->port(port));
}

std::vector<MonitorChannel::PortTargets> MonitorChannel::targets(
    const std::vector<PortConfig>& ports) {
    const CGroupsDB current = directory();
    std::vector<PortTargets> result;
    result.reserve(ports.size());
    for (const PortConfig& one : ports)
        result.push_back({one.name, targetsOf(one, current)});
    return result;
}

std::vector<MonitorChannel::PortTargets> MonitorChannel::targetsOfPorts() {
    return targets(ports());
}

void MonitorChannel::readPrinting(
    const std::string& port,
    const std::function<void(const std::vector<PrintTarget>&, const JobTemplate&)>& use) {
    const PortConfig config = this->port(port);
    use(targets(config), config.jobTemplate);
}

std::shared_ptr<ConfigurationLock> MonitorChannel::lock(const std::string& what) const {
    if (auto held = held_.lock()) return held;
    auto lock = std::make_shared<ConfigurationLock>(kLongestWait);
    if (lock->held()) {
        held_ = lock;
        return lock;
    }
    throw CommandError(ExitCode::conflict, what, "another program is changing the configuration",
                       "wait for it to end, and try again", "busy");
}

std::shared_ptr<ConfigurationLock> MonitorChannel::lockDirectory(const std::string& what) const {
    for (int poll = 0;; ++poll) {
        auto held = lock(what);
        if (!OpenDialogMark::exists()) return held;
        if (poll == kDialogPolls) break;
        held.reset();
        Sleep(kDialogPollMs);
    }
    throw CommandError(ExitCode::conflict, what,
                       "a port dialog is open on this computer, and its OK would undo the change",
                       "close it, and try again", "busy");
}

PortConfig MonitorChannel::port(const std::string& name) {
    const std::string what = "port " + quotedAnsi(name);
    return guarded(what, [&] {
        std::vector<std::byte> area(kLargestRecord);
        const DWORD status = xcv_->connection.call(kGetConfigInfo, bytesOf(name), area);
        if (status == ERROR_INVALID_PARAMETER) {
            const std::vector<std::string> names = portNames();
            const auto similar = std::ranges::find_if(names, [&](const std::string& other) {
                return lstrcmpiA(other.c_str(), name.c_str()) == 0;
            });
            throw CommandError(ExitCode::notFound, what, "the monitor has no port of that name",
                               similar == names.end() ? "\"port list\" shows the ports"
                                                      : "there is " + quotedAnsi(*similar) + "; " +
                                                            std::string(kCaseRule));
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
    const std::string what = "adding port " + quotedAnsi(port.name);
    const auto held = lock(what);
    guarded(what, [&] {
        xcv_->connection.addPort(port.name);
        try {
            changePort(port);
        } catch (const CommandError& error) {
            undoAddPort(port.name, error);
        }
    });
}

/// A port without its settings would not be what the user asked for.
void MonitorChannel::undoAddPort(const std::string& name, const CommandError& reason) {
    std::string rest = "the port is not there";
    try {
        removePort(name);
    } catch (const CommandError&) {
        rest = "the port is there with other settings, and has to be removed";
    }
    throw CommandError(reason.code(), "adding port " + quotedAnsi(name), reason.why() + "; " + rest,
                       reason.remedy(), reason.keyword());
}

void MonitorChannel::changePort(const PortConfig& config) {
    const std::string what = "storing port " + quotedAnsi(config.name);
    const auto held = lock(what);
    guarded(what, [&] {
        check(xcv_->connection.call(kConfigPort, pack(config), {}), what);
        if (port(config.name) == config) return;
        throw CommandError(ExitCode::failed, what, "the monitor holds other settings",
                           "check that nobody else configures the port, and try again");
    });
}

void MonitorChannel::removePort(const std::string& name) {
    const std::string what = "removing port " + quotedAnsi(name);
    const auto held = lock(what);
    guarded(what, [&] {
        xcv_->connection.deletePort(name);
        // The monitor's answer does not say; afterwards it no longer knows a removed port.
        std::vector<std::byte> area(kLargestRecord);
        const DWORD status = xcv_->connection.call(kGetConfigInfo, bytesOf(name), area);
        if (status == ERROR_INVALID_PARAMETER) return;
        throw CommandError(ExitCode::failed, what, "the monitor still has it",
                           "see \"port list\", and try again");
    });
}

std::vector<MonitorChannel::PortGroups> MonitorChannel::portGroups() {
    std::vector<PortGroups> result;
    for (PortConfig& one : ports())
        result.push_back({std::move(one.name), std::move(one.targetIds)});
    return result;
}

void MonitorChannel::changeGroups(const PortGroups& port) {
    PortConfig config = this->port(port.name);
    config.targetIds = port.groups;
    changePort(config);
}

CGroupsDB MonitorChannel::directory() {
    return guarded("reading the printer directory", [&] {
        CGroupsDB directory;
        // To report the size the monitor reads its whole directory again. A buffer that fits most
        // directories avoids that; to another computer it would be sent whole.
        std::vector<std::byte> area(server_.empty() ? kUsualDirectory : 0);
        const bool read = !area.empty() &&
                          xcv_->connection.call(kGetGroupsDb, {}, area) == ERROR_SUCCESS &&
                          directory.Deserialize(area);
        if (!read) xcv_->connection.getGroupsDB(directory);
        return directory;
    });
}

void MonitorChannel::readDirectory(const std::function<void(const CGroupsDB&)>& use) {
    use(directory());
}

void MonitorChannel::readAll(
    const std::function<void(const std::vector<PortConfig>&, const CGroupsDB&)>& use) {
    const std::vector<PortConfig> stored = ports();
    use(stored, directory());
}

std::vector<std::string> MonitorChannel::paths(std::uint32_t type) {
    const CGroupsDB current = directory();
    const DirectoryPaths names(current);
    std::vector<std::string> result;
    for (const auto& [id, node] : current.nodes()) {
        if (node->type == type && id != kRootGroup) result.push_back(names.pathOf(id));
    }
    return result;
}

std::size_t MonitorChannel::directorySize() {
    const std::size_t nodes = directory().nodes().size();
    return nodes > 0 ? nodes - 1 : 0;
}

void MonitorChannel::changeDirectory(const std::string& what,
                                     const std::function<void(CGroupsDB&)>& change) {
    changedDirectory(what, change);
}

void MonitorChannel::clearDirectory(const std::string& what) {
    changeDirectory(what, [](CGroupsDB& directory) {
        std::vector<CGroupsDBNode*> children;
        directory.GetChildren(kRootGroup, children);
        for (const CGroupsDBNode* child : children)
            directory.DeleteNode(child->id);
    });
}

CGroupsDB MonitorChannel::changedDirectory(const std::string& what,
                                           const std::function<void(CGroupsDB&)>& change) {
    const auto held = lockDirectory(what);
    for (int attempt = 1;; ++attempt) {
        CGroupsDB wanted = directory();
        const CGroupsDB before = copyOf(wanted);
        try {
            change(wanted);
        } catch (const CommandError&) {
            if (attempt == 1) throw;
            break;  // it conflicts with what an attempt has left, or with another's change
        }
        if (wanted == before) return wanted;
        checkLengths(wanted, what);
        guarded(what, [&] { xcv_->connection.setGroupsDB(wanted); });
        // The monitor's answer does not say whether the registry was written.
        if (directory() == wanted) return wanted;
        if (attempt == kAttempts) break;
    }
    throw CommandError(
        ExitCode::failed, what,
        "the printer directory is not as it was stored: somebody else stores it too, "
        "or the registry refuses it",
        "see \"group list\" and \"printer list\", and try again", "directory-uncertain");
}

}  // namespace velmora::ctl
