#pragma once

#include <string>
#include <vector>

#include "velmoractl/text/configuration_file.h"

namespace velmora::ctl {

/// What has to be done to one thing. Texts are UTF-8 and safe to show; no password is in them.
struct Change {
    enum class Kind { add, change, remove };
    Kind kind;
    std::string what;                  ///< such as: port "Office"
    std::vector<std::string> details;  ///< such as: media: A4 -> Letter
};

/// The way from what is stored to what a file wants.
struct ConfigurationPlan {
    std::vector<Change> changes;
    std::vector<std::string> warnings;

    std::vector<PortConfig> portsToAdd;
    std::vector<PortConfig> portsToChange;
    std::vector<std::string> portsToRemove;
    bool directoryChanges = false;  ///< then `wanted.directory` is to be stored
};

/// Compares, and fills the passwords that `wanted` lacks from what is stored. Ports that the file
/// does not name stay, unless `removeOthers`.
ConfigurationPlan planImport(Configuration& wanted, const std::vector<PortConfig>& ports,
                             const CGroupsDB& directory, bool removeOthers, const TextCodec& codec);

/// What differs between two records of one port, a line a field.
std::vector<std::string> differences(const PortConfig& before, const PortConfig& after,
                                     const TextCodec& codec);

/// Whether both hold the same records.
bool sameDirectory(const CGroupsDB& one, const CGroupsDB& other);

}  // namespace velmora::ctl
