#include "monitor/port_store.h"

#include "platform/registry.h"
#include "port/directory_store.h"
#include "port/settings.h"

namespace velmora {
namespace {

std::string portsKey() {
    return monitorRegistryKey() + "\\Ports";
}

/// The directory offers every port's printer as a pattern for new ones, so it follows the ports.
template <class Change>
void updateDirectory(Change change) {
    RegistryGroupsStore store = directoryStore();
    CGroupsDB directory(store);
    change(directory);
    directory.Save();
}

}  // namespace

std::vector<PortConfig> RegistryPortStore::load() {
    std::vector<PortConfig> ports;
    const RegistryKey key = RegistryKey::open(portsKey());
    RegistryValue value;
    for (DWORD index = 0; key.enumValue(index, value); ++index) {
        if (value.type() != REG_BINARY) continue;
        if (std::optional<PortConfig> config = unpack(value.data()))
            ports.push_back(std::move(*config));
    }
    return ports;
}

void RegistryPortStore::save(const PortConfig& config) {
    RegistryKey::create(portsKey()).setBinary(config.name.c_str(), pack(config));
    updateDirectory([&](CGroupsDB& directory) {
        directory.SetPortPrinter(config.name, config.printerUrl, config.useAuthentication != 0,
                                 config.userName, config.password);
    });
}

void RegistryPortStore::erase(const std::string& portName) {
    RegistryKey::create(portsKey()).deleteValue(portName.c_str());
    updateDirectory([&](CGroupsDB& directory) { directory.RemovePortPrinter(portName); });
}

}  // namespace velmora
