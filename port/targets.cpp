#include "port/targets.h"

#include "directory/groups_db.h"
#include "port/port_config.h"

namespace velmora {

std::vector<CGroupsDBPrinter*> directoryPrintersOf(const PortConfig& config,
                                                   const CGroupsDB& directory) {
    if (config.singleTarget != 0) return {};
    return directory.CollectPrinters(config.targetIds);
}

std::vector<PrintTarget> targetsOf(const PortConfig& config, const CGroupsDB& directory) {
    if (config.singleTarget != 0) return {config.printer};
    const std::vector<CGroupsDBPrinter*> printers = directoryPrintersOf(config, directory);
    std::vector<PrintTarget> targets;
    targets.reserve(printers.size());
    for (const CGroupsDBPrinter* printer : printers)
        targets.push_back(printer->address);
    return targets;
}

}  // namespace velmora
