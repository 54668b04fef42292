#include "port/targets.h"

#include <cstdint>

namespace velmora {

PrintTarget ownTarget(const PortConfig& config) {
    return {config.printerUrl, config.useAuthentication, config.userName, config.password};
}

std::vector<PrintTarget> directoryTargets(const PortConfig& config, GroupsStore& store) {
    const CGroupsDB directory(store);
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

}  // namespace velmora
