#pragma once

#include <string>
#include <vector>

namespace velmora {
class CGroupsDB;
}

namespace velmora::ctl {

struct Configuration;

/// The files that "import", "diff" and "probe" read as if they were one; "-" is the standard input.
struct FleetFiles {
    std::vector<std::string> files;   ///< fleet files
    std::vector<std::string> tables;  ///< CSV

    bool empty() const { return files.empty() && tables.empty(); }
    /// Whether the standard input is one of them.
    bool readsInput() const;
};

/// Their names for messages; UTF-8, safe to show.
std::string fileWords(const std::string& file);
std::string fileWords(const FleetFiles& files);

/// That one is named, and the standard input once at most. Throws CommandError.
void checkFiles(const FleetFiles& files, const std::string& what);

/// readConfiguration() of all of them; `remedy` is for a file with an error in it. Throws
/// CommandError, which begins with `what`.
Configuration readFiles(const FleetFiles& files, const CGroupsDB& directory,
                        const std::string& what, const std::string& remedy);

}  // namespace velmora::ctl
