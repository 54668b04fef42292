#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/printer_address.h"
#include "port/configuration_lock.h"
#include "velmoractl/command_error.h"
#include "velmoractl/verbs/session.h"

namespace velmora {
class CGroupsDB;
struct JobTemplate;
struct PortConfig;
}  // namespace velmora

namespace velmora::ctl {

/// The settings file's monitor name; unlike the library's reader this one never writes defaults
/// into the file, so that reading leaves no trace on a computer without the monitor.
std::string monitorName(const Session& session);

/// All that is read from and written to a monitor: the spooler's Xcv channel, by the same client as
/// the dialogs'. Every failure is a CommandError.
class MonitorChannel {
  public:
    /// Opens the channel. ExitCode::notInstalled when the spooler says that it does not know the
    /// monitor; another error when the spooler cannot be asked.
    explicit MonitorChannel(const Session& session);
    ~MonitorChannel();
    MonitorChannel(const MonitorChannel&) = delete;
    MonitorChannel& operator=(const MonitorChannel&) = delete;

    const std::string& monitor() const noexcept { return monitor_; }

    struct SpoolerPort {
        std::string name;
        std::string monitor;
    };
    /// The ports of all monitors, in the spooler's order.
    std::vector<SpoolerPort> spoolerPorts() const;
    /// The monitor's ports, in the spooler's order.
    std::vector<std::string> portNames() const;
    std::vector<PortConfig> ports();
    /// ExitCode::notFound when the monitor has no such port.
    PortConfig port(const std::string& name);
    /// The printers that the port reaches as the directory is now.
    std::vector<PrintTarget> targets(const PortConfig& port);
    /// The same of a stored port. ExitCode::notFound when the monitor has no such port.
    std::vector<PrintTarget> targets(const std::string& port);
    struct PortTargets {
        std::string name;
        std::vector<PrintTarget> printers;
    };
    /// The same of all these ports, in their order.
    std::vector<PortTargets> targets(const std::vector<PortConfig>& ports);
    /// The same of all ports of the monitor.
    std::vector<PortTargets> targetsOfPorts();
    /// Calls `use` with these printers and the port's job template.
    void readPrinting(const std::string& port,
                      const std::function<void(const std::vector<PrintTarget>& printers,
                                               const JobTemplate& job)>& use);

    /// Keeps other commands on this computer from changing ports and directory. Waits a while, then
    /// fails with ExitCode::conflict. The functions below take it themselves. One that is held is
    /// given once more: a channel is used by one thread.
    std::shared_ptr<ConfigurationLock> lock(const std::string& what) const;
    /// The same, and fails too as long as a port dialog is open: its OK would store the directory
    /// that it has read.
    std::shared_ptr<ConfigurationLock> lockDirectory(const std::string& what) const;

    // Each reads back what it has stored, and fails unless that is what was to be stored.
    void addPort(const PortConfig& port);
    void changePort(const PortConfig& port);
    void removePort(const std::string& name);

    struct PortGroups {
        std::string name;                   ///< of the port
        std::vector<std::uint32_t> groups;  ///< their numbers, also of deleted ones
    };
    /// The groups of all ports, in the spooler's order.
    std::vector<PortGroups> portGroups();
    /// Gives the port these groups, and leaves the rest of it as it is stored.
    void changeGroups(const PortGroups& port);

    CGroupsDB directory();
    /// Calls `use` with the directory as it is now.
    void readDirectory(const std::function<void(const CGroupsDB&)>& use);
    /// Calls `use` with all ports and the directory as they are now.
    void readAll(const std::function<void(const std::vector<PortConfig>& ports,
                                          const CGroupsDB& directory)>& use);
    /// The paths of all groups but the root, or of all printers, by their numbers.
    std::vector<std::string> paths(std::uint32_t type);
    /// Groups and printers; the root group, which is always there, does not count.
    std::size_t directorySize();

    /// Reads the directory, calls `change` for it, and stores it if it has changed. Repeats this if
    /// the directory is not as it was stored afterwards: another computer's tool may have stored it
    /// as well.
    void changeDirectory(const std::string& what, const std::function<void(CGroupsDB&)>& change);
    /// The same; returns the directory as it is stored now.
    CGroupsDB changedDirectory(const std::string& what,
                               const std::function<void(CGroupsDB&)>& change);
    /// Removes all groups and printers but the root.
    void clearDirectory(const std::string& what);

  private:
    struct Xcv;

    [[noreturn]] void undoAddPort(const std::string& name, const CommandError& reason);

    const std::string server_;
    const std::string monitor_;
    std::unique_ptr<Xcv> xcv_;
    mutable std::weak_ptr<ConfigurationLock> held_;
};

}  // namespace velmora::ctl
