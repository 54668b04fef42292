#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "directory/groups_db.h"

namespace velmora {

// What the printer groups page allows and decides, without its windows.

/// Which buttons are enabled.
struct GroupsPageButtons {
    bool newGroup = false;
    bool newPrinter = false;
    bool remove = false;
    bool properties = false;

    bool operator==(const GroupsPageButtons&) const = default;
};

/// `selected` is the selected item's record; null for an item whose record is gone.
GroupsPageButtons groupsPageButtons(const CGroupsDBNode* selected);

/// The context menus, in the order of the menu resource.
enum class GroupsPageMenu { root, group, printer };

/// None for a record of an unknown type.
std::optional<GroupsPageMenu> groupsPageMenu(const CGroupsDBNode& selected);

/// The root group keeps its name and its place.
bool canRename(const CGroupsDBNode& node);
bool canDelete(const CGroupsDBNode& node);

/// The names in `parent`, without that of the node `except` (0: without exception).
std::vector<std::string> namesInGroup(const CGroupsDB& directory, std::uint32_t parent,
                                      std::uint32_t except = 0);

/// The first of "pattern", "pattern (1)", "pattern (2)", ... that nothing in `group` is called.
std::string newGroupName(const CGroupsDB& directory, std::uint32_t group,
                         const std::string& pattern);

enum class RenameOutcome { accepted, duplicate };

/// Ends a label edit: `text` is what was typed, none if the edit was cancelled. An empty text
/// means the present name, and the present name is always accepted, so that leaving the
/// editor is possible even where a directory written by others holds one name twice. `duplicate`:
/// something else in the same group has the name, and nothing was changed.
RenameOutcome renameNode(CGroupsDB& directory, std::uint32_t id,
                         const std::optional<std::string>& text);

}  // namespace velmora
