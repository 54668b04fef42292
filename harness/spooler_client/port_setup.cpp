#include "harness/spooler_client/port_setup.h"

#include <algorithm>
#include <cstdint>

#include "directory/groups_db.h"
#include "directory/groups_store.h"
#include "monitor/port_store.h"
#include "platform/registry.h"
#include "port/port_config.h"
#include "port/settings.h"

namespace velmora::testing {
namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

/// The id of the new group.
std::uint32_t addGroup(CGroupsDB& directory, const std::string& text) {
    const std::size_t equals = text.find('=');
    const auto* const group = directory.AddGroup(text.substr(0, equals), 1);
    for (const std::string& url : split(text.substr(equals + 1), ',')) {
        directory.AddPrinter(url, {url, false, "", ""}, group->id);
    }
    return group->id;
}

}  // namespace

std::string monitorName() {
    return monitorDisplayName();
}

void configurePort(const std::string& name, const std::vector<std::string>& targets) {
    PortConfig config;
    config.name = name;
    if (targets.size() == 1 && targets[0].find('=') == std::string::npos) {
        config.singleTarget = 1;
        config.printer.url = targets[0];
    } else {
        auto store = directoryStore();
        CGroupsDB directory(store);
        for (const std::string& target : targets) {
            config.targetIds.push_back(addGroup(directory, target));
        }
        directory.Save();
    }
    RegistryPortStore().save(config);
    // Wine's spooler finds a port only when the monitor's key names it.
    RegistryKey::create(kPrintKey + "Monitors\\" + monitorName() + "\\Ports\\" + name);
}

}  // namespace velmora::testing
