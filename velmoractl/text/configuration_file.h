#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "velmoractl/text/text_codec.h"

namespace velmora::ctl {

using Json = nlohmann::ordered_json;

/// Ports and printer directory as one file holds them. docs/fleet-setup.md describes the file.
struct Configuration {
    std::vector<PortConfig> ports;
    /// None: the file says nothing about the directory.
    std::optional<CGroupsDB> directory;

    // Records that want a password and have none in the file: what is stored now is kept.
    std::set<std::string> portsWithoutPassword;
    std::set<std::uint32_t> nodesWithoutPassword;
    std::set<std::string> portPrintersWithoutPassword;
};

/// What is wrong in a file and where; UTF-8, one line.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

Json toJson(const PortConfig& port, bool withPassword, const TextCodec& codec);
Json toJson(const CGroupsDBNode& node, bool withPassword, const TextCodec& codec);
Json toJson(const std::vector<PortConfig>& ports, const CGroupsDB& directory, bool withPasswords,
            const TextCodec& codec);

/// Reads a whole file; nothing is taken from a file with an error in it. Throws FileError.
/// `current`: where groups that a port names by path are looked up when the file has no directory.
Configuration readConfiguration(const std::string& text, const CGroupsDB& current,
                                const TextCodec& codec);

}  // namespace velmora::ctl
