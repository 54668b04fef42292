#pragma once

#include <vector>

#include "directory/groups_db.h"
#include "ipp/print_target.h"
#include "port/port_config.h"

namespace velmora {

/// The printer that a single-target port names itself; an empty URL too is a target.
PrintTarget ownTarget(const PortConfig& config);

/// The printers that a multi-target port reaches now: those below each of its groups, in the order
/// of the groups and, within one, of the directory. A printer that is reached twice stands at its
/// first place only. Identifiers of printers, or of nothing, add nothing. The directory is read
/// afresh, since other processes change it.
std::vector<PrintTarget> directoryTargets(const PortConfig& config, GroupsStore& store);

}  // namespace velmora
