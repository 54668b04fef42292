#pragma once

#include <memory>
#include <string>
#include <vector>

#include "velmoractl/text/changes.h"
#include "velmoractl/text/text_codec.h"

namespace velmora {
class CGroupsDB;
struct CGroupsDBNode;
struct CGroupsDBPrinter;
struct PortConfig;
}  // namespace velmora

namespace velmora::ctl {

struct Configuration;

/// The kinds of objects that are removed if the file lacks them.
struct Removal {
    bool ports = false;
    bool groups = false;
    bool printers = false;
    bool queues = false;
};

/// The changes that lead from the stored configuration to that of a file.
struct ConfigurationPlan : ChangeList {
    /// Of nothing, with empty directories.
    ConfigurationPlan();
    ~ConfigurationPlan();
    ConfigurationPlan(ConfigurationPlan&&) noexcept;
    ConfigurationPlan& operator=(ConfigurationPlan&&) noexcept;

    std::vector<PortConfig> portsToAdd;
    std::vector<PortConfig> portsToChange;
    std::vector<std::string> portsToRemove;

    /// The stored directory with what the file adds and changes; for the time before the ports are
    /// changed, which name groups by number. Equal to the stored one if the file has none. Not
    /// null.
    std::unique_ptr<CGroupsDB> grown;
    /// The nodes in the end: without those that are removed. Not null.
    std::unique_ptr<CGroupsDB> pruned;
    /// Patterns of ports' printers that the file has.
    std::vector<CGroupsDBPrinter> patterns;
};

/// Compares, and fills the passwords that `wanted` lacks from what is stored. What the file does
/// not name stays, unless `removal` names its kind; a group goes only together with all in it.
///
/// A node of the file is the stored one of that path, whatever its number: it keeps the stored
/// number, so that ports which the file does not name go on printing to the same groups. A new
/// node takes the file's number if that is free, in the directory and in every port.
ConfigurationPlan planImport(Configuration& wanted, const std::vector<PortConfig>& ports,
                             const CGroupsDB& directory, const Removal& removal,
                             const TextCodec& codec);

/// Gives a directory the nodes that the plan wants while ports are changed.
void grow(CGroupsDB& directory, const ConfigurationPlan& plan);
/// Gives it the nodes of the end, and the plan's patterns. Saving a port stores its printer as a
/// pattern too; what the file says wins. `folded`: a name as Windows compares it, which has one
/// place for names that differ in capital and small letters alone.
void complete(CGroupsDB& directory, const ConfigurationPlan& plan,
              std::string (*folded)(std::string name));

/// The differences between two records of one port.
std::vector<Difference> differences(const PortConfig& before, const PortConfig& after,
                                    const TextCodec& codec);

/// The differences between two nodes or two patterns; a pattern's number and place do not count.
std::vector<Difference> differences(const CGroupsDBNode& before, const CGroupsDBNode& after,
                                    const TextCodec& codec);

CGroupsDB copyOf(const CGroupsDB& directory);

}  // namespace velmora::ctl
