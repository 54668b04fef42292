#include "harness/registry_tool.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace velmora::testing {

std::vector<std::string> queryRegistryTool(const std::string& key) {
    const std::string command = "reg query \"HKLM\\" + key + "\" /s 2>nul";
    std::unique_ptr<FILE, int (*)(FILE*)> output(_popen(command.c_str(), "rt"), _pclose);
    std::vector<std::string> lines;
    if (!output) return lines;
    std::string line;
    for (int c = std::fgetc(output.get()); c != EOF; c = std::fgetc(output.get())) {
        if (c == '\r') continue;
        if (c != '\n') {
            line += static_cast<char>(c);
        } else if (!line.empty()) {
            lines.push_back(std::move(line));
            line.clear();
        }
    }
    if (_pclose(output.release()) != 0) return {};
    // Platforms list a key's values in different orders.
    const auto isValue = [](const std::string& text) { return text.starts_with("    "); };
    for (auto at = lines.begin(); at != lines.end();) {
        const auto first = std::find_if(at, lines.end(), isValue);
        at = std::find_if_not(first, lines.end(), isValue);
        std::sort(first, at);
    }
    return lines;
}

}  // namespace velmora::testing
