#pragma once

#include <vector>

#include "platform/printer_address.h"

namespace velmora {

class CGroupsDB;
struct PortConfig;

/// The printers that a port reaches: of a single-target port its own (an empty URL too is a
/// target), of another those below each of its groups, in the order of the groups and, within one,
/// of the directory. A printer that is reached twice is at its first place only. Identifiers of
/// printers, or of nothing, add nothing.
std::vector<PrintTarget> targetsOf(const PortConfig& config, const CGroupsDB& directory);

}  // namespace velmora
