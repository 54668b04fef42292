#pragma once

#include <vector>

#include "platform/printer_address.h"

namespace velmora {

class CGroupsDB;
struct CGroupsDBPrinter;
struct PortConfig;

/// The printers of the directory that a port reaches: those below each of its groups, in the order
/// of the groups and, within one, of the directory. A printer that is reached twice is at its first
/// place only. Identifiers of printers, or of nothing, add nothing, and a single-target port has
/// none. The records stay the directory's.
std::vector<CGroupsDBPrinter*> directoryPrintersOf(const PortConfig& config,
                                                   const CGroupsDB& directory);

/// The printers that a port reaches: of a single-target port its own (an empty URL too is a
/// target), of another directoryPrintersOf().
std::vector<PrintTarget> targetsOf(const PortConfig& config, const CGroupsDB& directory);

}  // namespace velmora
