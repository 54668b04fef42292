#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "velmoractl/text/text_codec.h"

namespace velmora {
class CGroupsDB;
struct CGroupsDBPrinter;
struct PortConfig;
}  // namespace velmora

namespace velmora::ctl {

class DirectoryPaths;

/// Whether a whole text is as the pattern says: "*" is any number of characters, "?" one. Both are
/// UTF-8; capital and small letters differ.
bool matches(std::string_view text, std::string_view pattern);

/// Which ports or printers a verb is to change; texts as they are typed, in the ANSI code page.
struct Selection {
    std::vector<std::string> names = {};     ///< ports' names, or printers' paths
    std::vector<std::string> patterns = {};  ///< --match: one that fits is enough
    std::vector<std::string> where = {};     ///< --where KEY=PATTERN: all must fit
    bool all = false;

    bool empty() const { return names.empty() && !bulk(); }
    /// Whether it has more than names.
    bool bulk() const { return all || !patterns.empty() || !where.empty(); }
};

/// A selection that has been read. What --match and --where say; names are looked up by the verbs,
/// which say what is missing.
class Selector {
  public:
    /// The values of an object for the key of a condition; one that fits is enough, such as one of
    /// a port's groups; none if the object has no such key. Texts in the ANSI code page.
    using Values = std::function<std::vector<std::string>(std::string_view key)>;

    /// `keys`: those that a condition may have. Throws CommandError, which begins with `what`, for
    /// a condition that cannot be read.
    Selector(const Selection& selection, const std::vector<std::string>& keys,
             const TextCodec& codec, const std::string& what);

    /// Whether one that is not named fits. A pattern with a "/" in it is about the path, any other
    /// one about the name; a port's name is its path.
    bool fits(const std::string& name, const std::string& path, const Values& values) const;
    /// Whether an object that is named fits: only the conditions count.
    bool meetsConditions(const Values& values) const;

  private:
    struct Condition {
        std::string key, pattern;
    };

    const TextCodec& codec_;
    bool unnamed_;  ///< whether those that are not named are meant
    std::vector<std::string> patterns_;
    std::vector<Condition> conditions_;
};

// The keys of conditions, and their values.

std::vector<std::string> portKeys();
std::vector<std::string> valuesOf(const PortConfig& port, const DirectoryPaths& names,
                                  std::string_view key);
std::vector<std::string> printerKeys();
std::vector<std::string> valuesOf(const CGroupsDBPrinter& printer, std::string_view key);

/// The ports that fit without being named, in the order of `ports`.
std::vector<PortConfig> selected(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
                                 const Selector& selector);
/// The same for the printers of the tree.
std::vector<std::uint32_t> selected(const CGroupsDB& directory, const Selector& selector);

}  // namespace velmora::ctl
