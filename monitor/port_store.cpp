#include "monitor/port_store.h"

#include <map>
#include <optional>

#include "directory/groups_db.h"
#include "directory/groups_store.h"
#include "platform/registry.h"
#include "port/port_config.h"
#include "port/settings.h"

namespace velmora {
namespace {

std::string portsKey() {
    return monitorRegistryKey() + "\\Ports";
}

}  // namespace

/// The directory offers every port's printer as a pattern for new ones, so it follows the ports.
///
/// Saving a port means reading, comparing and storing the whole directory, so that many ports would
/// take quadratic time. If the store is still as this process has left it, only one key can differ,
/// and only that key is written. Used by one thread at a time, as a PortStore is.
class RegistryPortStore::PortPrinters {
  public:
    void set(const PortConfig& config) {
        CGroupsDBPrinter printer;
        printer.name = config.name;
        printer.address = config.printer;
        RegistryGroupsStore store = directoryStore();
        if (isAsWeLeftIt(store) && isOneKey(config.name)) {
            store.savePortPrinter(printer);
            names_[folded(config.name)] = config.name;
            last_ = store.stamp();
            return;
        }
        const bool done = rewrite(store, [&](CGroupsDB& directory) {
            directory.SetPortPrinter(config.name, config.printer);
        });
        if (!done && canBeAKey(config.name)) store.savePortPrinter(printer);
    }

    void remove(const std::string& name) {
        RegistryGroupsStore store = directoryStore();
        // A directory without port printers has no key for them: writing the whole directory
        // removes it.
        if (isAsWeLeftIt(store) && isOneKey(name) && names_.size() > 1 &&
            store.erasePortPrinter(name)) {
            names_.erase(folded(name));
            last_ = store.stamp();
            return;
        }
        const bool done =
            rewrite(store, [&](CGroupsDB& directory) { directory.RemovePortPrinter(name); });
        if (!done && canBeAKey(name)) store.erasePortPrinter(name);
    }

  private:
    /// The registry takes names that differ only by case for one key.
    static std::string folded(std::string name) {
        CharUpperBuffA(name.data(), static_cast<DWORD>(name.size()));
        return name;
    }

    bool isAsWeLeftIt(const RegistryGroupsStore& store) const {
        return last_ && store.stamp() == last_;
    }

    static bool canBeAKey(const std::string& name) {
        return !name.empty() && name.find('\\') == std::string::npos;
    }

    /// Whether the name is that of a single key, which no other port has.
    bool isOneKey(const std::string& name) const {
        if (!canBeAKey(name)) return false;
        const auto found = names_.find(folded(name));
        return found == names_.end() || found->second == name;
    }

    /// False, with nothing written, if the directory cannot be read whole: what was not read would
    /// be deleted.
    template <class Change>
    bool rewrite(RegistryGroupsStore& store, Change change) {
        last_.reset();
        CGroupsDB directory(store);
        if (store.loadError() != ERROR_SUCCESS) return false;
        change(directory);
        directory.Save();
        names_.clear();
        for (const auto& [name, printer] : directory.portPrinters())
            names_[folded(name)] = name;
        const bool oneKeyEach = names_.size() == directory.portPrinters().size();
        if (oneKeyEach) last_ = store.stamp();
        return true;
    }

    std::optional<RegistryGroupsStore::Stamp> last_;
    std::map<std::string, std::string> names_;
};

RegistryPortStore::RegistryPortStore() : portPrinters_(std::make_unique<PortPrinters>()) {}

RegistryPortStore::~RegistryPortStore() = default;

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
    portPrinters_->set(config);
}

void RegistryPortStore::erase(const std::string& portName) {
    RegistryKey::create(portsKey()).deleteValue(portName.c_str());
    portPrinters_->remove(portName);
}

}  // namespace velmora
