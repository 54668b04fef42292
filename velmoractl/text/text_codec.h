#pragma once

#include <optional>
#include <string>

namespace velmora::ctl {

/// Stored text is in the ANSI code page, JSON is UTF-8.
struct TextCodec {
    std::string (*toUtf8)(const std::string& stored);
    /// Empty if the code page lacks a character.
    std::optional<std::string> (*fromUtf8)(const std::string& utf8);
};

}  // namespace velmora::ctl
