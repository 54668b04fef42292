#include "harness/registry_tool.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

namespace velmora::testing {
namespace {

/// The lines that are not empty; none if the tool fails.
std::optional<std::vector<std::string>> toolLines(const std::string& key) {
    const std::string command = "reg query \"HKLM\\" + key + "\" /s 2>nul";
    std::unique_ptr<FILE, int (*)(FILE*)> output(_popen(command.c_str(), "rt"), _pclose);
    std::vector<std::string> lines;
    if (!output) return std::nullopt;
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
    if (_pclose(output.release()) != 0) return std::nullopt;
    return lines;
}

bool exists(const std::string& key) {
    HKEY opened = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return false;
    RegCloseKey(opened);
    return true;
}

}  // namespace

std::vector<std::string> queryRegistryTool(const std::string& key) {
    auto answer = toolLines(key);
    // Wine sometimes ends a program before its first line, with the exit code by which the tool
    // reports a missing key.
    if (!answer && exists(key)) answer = toolLines(key);
    std::vector<std::string> lines = std::move(answer).value_or(std::vector<std::string>());
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
