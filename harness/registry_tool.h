#pragma once

#include <string>
#include <vector>

namespace velmora::testing {

/// What the platform's own registry tool prints for a key below HKEY_LOCAL_MACHINE and everything
/// below it ("reg query KEY /s"), line by line without empty lines, a key's values sorted by name.
/// Empty if the tool finds no such key.
std::vector<std::string> queryRegistryTool(const std::string& key);

}  // namespace velmora::testing
