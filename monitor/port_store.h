#pragma once

#include <memory>

#include "monitor/port_list.h"

namespace velmora {

/// Ports in the registry: below the monitor's key, key "Ports", one REG_BINARY value for each port,
/// named by the port, holding its packed record.
class RegistryPortStore : public PortStore {
  public:
    RegistryPortStore();
    ~RegistryPortStore() override;
    RegistryPortStore(const RegistryPortStore&) = delete;
    RegistryPortStore& operator=(const RegistryPortStore&) = delete;

    /// A value that is not a whole record of that type is skipped and left as it is. The port's
    /// name is the one inside the record, whatever the value is called.
    std::vector<PortConfig> load() override;
    // Both also bring the port's printer in the printer directory up to date.
    void save(const PortConfig& config) override;
    void erase(const std::string& portName) override;

  private:
    class PortPrinters;

    std::unique_ptr<PortPrinters> portPrinters_;
};

}  // namespace velmora
