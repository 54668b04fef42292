#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

#include "velmoractl/text/configuration_file.h"

namespace velmora::ctl {

/// One file of a description, parsed.
// NOLINTNEXTLINE(bugprone-exception-escape): freeing a Json may take memory; without any we end.
struct DescriptionPart {
    std::string name;                ///< in front of places in messages; empty: the only one
    Json json;                       ///< keys as in version 2
    std::vector<std::size_t> lines;  ///< of a table: where each port comes from
    std::vector<std::size_t> queueLines;
};

// The reader of each version, after "format" and "version" have been looked at. `current`: null
// if nobody knows the groups of ports. Throw FileError.

Configuration readVersion1(const Json& json, const CGroupsDB* current, const TextCodec& codec);
Configuration readVersion2(std::span<const DescriptionPart> parts, const CGroupsDB* current,
                           const TextCodec& codec);

}  // namespace velmora::ctl
