#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "directory/groups_db.h"

namespace velmora::ctl {

inline constexpr std::uint32_t kRootGroup = 1;

/// The node that `text` names: "#5" is the node with that id; anything else the names from the root
/// down, with "/" between ("First floor/Left"); "/" or an empty text the root. Null when there is
/// none. Of two siblings with one name (damaged stores) the one with the lower id is taken.
CGroupsDBNode* findNode(const CGroupsDB& directory, std::string_view text);

/// The names from the root down to the node, with "/" between; "#5" where names do not lead to it
/// (a slash in a name, a parent that is missing). "/" for the root.
std::string pathOf(const CGroupsDB& directory, std::uint32_t id);

/// A child of the group with that name; null when there is none.
CGroupsDBNode* childNamed(const CGroupsDB& directory, std::uint32_t group, std::string_view name);

}  // namespace velmora::ctl
