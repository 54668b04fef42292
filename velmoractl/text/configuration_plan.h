#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "velmoractl/text/configuration_file.h"

namespace velmora::ctl {

/// What differs in one field; texts as they are stored, a password only as "another".
struct Difference {
    std::string key;
    Json before, after;  ///< null: absent
};

/// A line such as: media: "A4" -> "Letter". UTF-8, safe to show.
std::string inWords(const Difference& difference);

/// What has to be done to one thing. Texts are UTF-8; no password is in them.
struct Change {
    enum class Kind { add, change, remove };
    Kind kind;
    const char* thing;  ///< "port", "group", "printer", "pattern", or "patterns" (all of them)
    std::string name;   ///< a port's name, a path, or empty
    std::vector<Difference> details;
};

/// A line such as: add port "Office". Safe to show.
std::string inWords(const Change& change);
const char* keywordOf(Change::Kind kind);

/// Kinds of which everything is removed that the file lacks.
struct Removal {
    bool ports = false;
    bool groups = false;
    bool printers = false;
    bool queues = false;
};

/// The way from what is stored to what a file wants.
struct ConfigurationPlan {
    std::vector<Change> changes;
    std::vector<std::string> warnings;  ///< UTF-8, safe to show

    std::vector<PortConfig> portsToAdd;
    std::vector<PortConfig> portsToChange;
    std::vector<std::string> portsToRemove;

    /// The stored directory with what the file adds and changes; for the time before the ports are
    /// changed, which name groups by number. Equal to the stored one if the file has none.
    CGroupsDB grown;
    /// The nodes in the end: without those that are removed.
    CGroupsDB pruned;
    /// Patterns of ports' printers that the file wants.
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

/// What differs between two records of one port.
std::vector<Difference> differences(const PortConfig& before, const PortConfig& after,
                                    const TextCodec& codec);

/// What differs between two nodes or two patterns; a pattern's number and place do not count.
std::vector<Difference> differences(const CGroupsDBNode& before, const CGroupsDBNode& after,
                                    const TextCodec& codec);

CGroupsDB copyOf(const CGroupsDB& directory);

}  // namespace velmora::ctl
