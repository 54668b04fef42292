#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "directory/directory_records.h"

namespace velmora::ctl {

/// The names of a directory. Building it takes the time of a sort; a lookup then takes time in
/// proportion to the path. The directory must outlive it, and the names and places of nodes must
/// not change meanwhile.
class DirectoryPaths {
  public:
    explicit DirectoryPaths(const CGroupsDB& directory);

    /// The node that `text` names: "#5" is the node with that id; anything else the names from the
    /// root down, with "/" between ("First floor/Left"); "/" or an empty text the root. Null if
    /// there is none. Of two siblings with one name (damaged stores) the one with the lower id is
    /// taken.
    CGroupsDBNode* find(std::string_view text) const;

    /// The names from the root down to the node, with "/" between; "#5" where names do not lead to
    /// it (a slash in a name, a parent that is missing) or are longer than a kilobyte together. "/"
    /// for the root.
    std::string pathOf(std::uint32_t id) const;

    /// A child of the group with that name; null if there is none.
    CGroupsDBNode* child(std::uint32_t group, std::string_view name) const;

    /// The children of a group, in the order of their ids.
    const std::vector<CGroupsDBNode*>& children(std::uint32_t group) const;

    /// All records.
    const DirectoryNodes& nodes() const;
    /// Null if there is no group of that id.
    const CGroupsDBGroup* group(std::uint32_t id) const;

  private:
    const CGroupsDB& directory_;
    std::map<std::pair<std::uint32_t, std::string_view>, CGroupsDBNode*> byName_;
    std::map<std::uint32_t, std::vector<CGroupsDBNode*>> byParent_;
};

// The same for one lookup.
CGroupsDBNode* findNode(const CGroupsDB& directory, std::string_view text);
std::string pathOf(const CGroupsDB& directory, std::uint32_t id);

}  // namespace velmora::ctl
