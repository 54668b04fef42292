#pragma once

#include <vector>

#include "directory/groups_db.h"
#include "ipp/print_target.h"
#include "port/port_config.h"

namespace velmora {

/// The printer that a single-target port names itself; an empty URL too is a target.
PrintTarget ownTarget(const PortConfig& config);

/// The printers that a port reaches: its own, or those below each of its groups, in the order of
/// the groups and, within one, of the directory. A printer that is reached twice is at its first
/// place only. Identifiers of printers, or of nothing, add nothing.
std::vector<PrintTarget> targetsOf(const PortConfig& config, const CGroupsDB& directory);

/// The printers of a multi-target port as the directory is stored now: it is read afresh, since
/// other processes change it.
std::vector<PrintTarget> directoryTargets(const PortConfig& config, GroupsStore& store);

}  // namespace velmora
