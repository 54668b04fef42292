#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "monitor/jobs/port_job.h"
#include "monitor/snapshot.h"
#include "port/port_config.h"

namespace velmora {

using PortConfigDomain = SnapshotDomain<PortConfig>;

/// One port of the list. Its address is the handle that the spooler holds, so a port is never freed
/// while the monitor is loaded, not even after it has been removed from the list.
class Port {
  public:
    Port(PortConfigDomain& domain, PortConfig config)
        : config_(domain, std::make_unique<const PortConfig>(std::move(config))) {}

    /// The current configuration, readable from any thread without a lock.
    Snapshot<PortConfig>::View config() const noexcept { return config_.view(); }

    /// The job in hand; null if there is none. The spooler calls the entries of one port one after
    /// the other, so it belongs to whichever of its threads is in such an entry.
    std::unique_ptr<PortJob> job;

  private:
    friend class PortList;

    Snapshot<PortConfig> config_;
    std::atomic<Port*> next_{nullptr};
};

}  // namespace velmora
