#pragma once

#include <string>
#include <vector>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {

/// The settings file's monitor name; unlike the library this asks without writing defaults into the
/// file, so that a question leaves no trace on a computer without the monitor.
std::string monitorName(const Session& session);

/// All that is read from and written to a monitor: the spooler's Xcv channel, by the same client as
/// the dialogs'. Every failure is a CommandError.
class MonitorChannel {
  public:
    /// Opens the channel. ExitCode::notInstalled when the spooler does not know the monitor.
    explicit MonitorChannel(const Session& session);
    ~MonitorChannel();
    MonitorChannel(const MonitorChannel&) = delete;
    MonitorChannel& operator=(const MonitorChannel&) = delete;

    /// The monitor's ports, in the spooler's order.
    std::vector<std::string> portNames() const;
    /// Whether any monitor of the spooler has a port of that name.
    bool portNameTaken(const std::string& name) const;
    std::vector<PortConfig> ports();
    /// ExitCode::notFound when the monitor has no such port.
    PortConfig port(const std::string& name);
    void addPort(const PortConfig& port);
    void changePort(const PortConfig& port);
    void removePort(const std::string& name);
    CGroupsDB directory();
    void storeDirectory(const CGroupsDB& directory);

  private:
    struct Xcv;

    const std::string server_;
    const std::string monitor_;
    std::unique_ptr<Xcv> xcv_;
};

}  // namespace velmora::ctl
