#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class CGroupsDB;
struct CGroupsDBNode;

// The rules of the printer groups page, without its windows.

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

/// False for the root group.
bool canRename(const CGroupsDBNode& node);
bool canDelete(const CGroupsDBNode& node);

/// The names of the children of `parent`, except the node `except` (0: all of them).
std::vector<std::string> namesInGroup(const CGroupsDB& directory, std::uint32_t parent,
                                      std::uint32_t except = 0);

/// The first of "pattern", "pattern (1)", "pattern (2)", ... that no child of `group` has.
std::string newGroupName(const CGroupsDB& directory, std::uint32_t group,
                         const std::string& pattern);

enum class RenameOutcome { accepted, duplicate };

/// Ends a label edit. `text` is what was typed; none if the edit was cancelled. An empty text keeps
/// the current name, which is always accepted: otherwise the editor could not be left where a
/// directory written by another program has a name twice. `duplicate`: another child of the same
/// group has the name; nothing was changed.
RenameOutcome renameNode(CGroupsDB& directory, std::uint32_t id,
                         const std::optional<std::string>& text);

}  // namespace velmora
