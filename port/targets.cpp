#include "port/targets.h"

#include <cstdint>

namespace velmora {

PrintTarget ownTarget(const PortConfig& config) {
    return {config.printerUrl, config.useAuthentication, config.userName, config.password};
}

std::vector<PrintTarget> targetsOf(const PortConfig& config, const CGroupsDB& directory) {
    if (config.singleTarget != 0) return {ownTarget(config)};
    std::vector<CGroupsDBPrinter*> printers;
    for (const std::uint32_t id : config.targetIds)
        directory.CollectPrinters(id, printers);
    std::vector<PrintTarget> targets;
    targets.reserve(printers.size());
    for (const CGroupsDBPrinter* const printer : printers) {
        targets.push_back({printer->uri, printer->hasAuth, printer->userName, printer->password});
    }
    return targets;
}

std::vector<PrintTarget> directoryTargets(const PortConfig& config, GroupsStore& store) {
    PortConfig groups = config;
    groups.singleTarget = 0;
    return targetsOf(groups, CGroupsDB(store));
}

}  // namespace velmora
