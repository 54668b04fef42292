#include "monitor/port_store.h"

#include "monitor/settings.h"
#include "platform/registry.h"

namespace velmora {
namespace {

std::string portsKey() {
    return monitorRegistryKey() + "\\Ports";
}

}  // namespace

std::vector<PortConfig> RegistryPortStore::load() {
    std::vector<PortConfig> ports;
    const RegistryKey key = RegistryKey::open(portsKey());
    RegistryValue value;
    for (DWORD index = 0; key.enumValue(index, value); ++index) {
        if (value.type != REG_BINARY) continue;
        if (std::optional<PortConfig> config = unpack(value.data))
            ports.push_back(std::move(*config));
    }
    return ports;
}

void RegistryPortStore::save(const PortConfig& config) {
    RegistryKey::create(portsKey()).setBinary(config.name.c_str(), pack(config));
}

void RegistryPortStore::erase(const std::string& portName) {
    RegistryKey::create(portsKey()).deleteValue(portName.c_str());
}

}  // namespace velmora
