#pragma once

#include <string>
#include <vector>

namespace velmora::testing {

/// What the platform's own registry tool prints for a key below HKEY_LOCAL_MACHINE and everything
/// below it ("reg query KEY /s"), line by line without the empty ones; the values of a key by
/// name. Empty when the tool finds no such key.
std::vector<std::string> queryRegistryTool(const std::string& key);

}  // namespace velmora::testing
