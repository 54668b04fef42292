#include "ui/group_tree_rules.h"

#include <algorithm>
#include <set>

#include "directory/groups_db.h"

namespace velmora {

GroupsPageButtons groupsPageButtons(const CGroupsDBNode* selected) {
    const bool takesChildren = selected == nullptr || selected->type == NODE_GROUP;
    GroupsPageButtons buttons;
    buttons.newGroup = takesChildren;
    buttons.newPrinter = takesChildren;
    buttons.remove = selected != nullptr && canDelete(*selected);
    buttons.properties = selected != nullptr && selected->type == NODE_PRINTER;
    return buttons;
}

std::optional<GroupsPageMenu> groupsPageMenu(const CGroupsDBNode& selected) {
    if (selected.id == kRootGroup) return GroupsPageMenu::root;
    if (selected.type == NODE_GROUP) return GroupsPageMenu::group;
    if (selected.type == NODE_PRINTER) return GroupsPageMenu::printer;
    return std::nullopt;
}

bool canRename(const CGroupsDBNode& node) {
    return node.id != kRootGroup;
}

bool canDelete(const CGroupsDBNode& node) {
    return node.id != kRootGroup;
}

std::vector<std::string> namesInGroup(const CGroupsDB& directory, std::uint32_t parent,
                                      std::uint32_t except) {
    std::vector<CGroupsDBNode*> children;
    directory.GetChildren(parent, children);
    std::vector<std::string> names;
    names.reserve(children.size());
    for (const CGroupsDBNode* child : children)
        if (except == 0 || child->id != except) names.push_back(child->name);
    return names;
}

std::string newGroupName(const CGroupsDB& directory, std::uint32_t group,
                         const std::string& pattern) {
    const std::vector<std::string> names = namesInGroup(directory, group);
    const std::set<std::string> taken(names.begin(), names.end());
    std::string name = pattern;
    for (std::uint32_t n = 1; taken.count(name) != 0; ++n)
        name = pattern + " (" + std::to_string(n) + ")";
    return name;
}

RenameOutcome renameNode(CGroupsDB& directory, std::uint32_t id,
                         const std::optional<std::string>& text) {
    const CGroupsDBNode* node = directory.FindNode(id);
    if (node == nullptr || !text || text->empty() || *text == node->name)
        return RenameOutcome::accepted;
    const std::vector<std::string> others = namesInGroup(directory, node->parent, id);
    if (std::find(others.begin(), others.end(), *text) != others.end())
        return RenameOutcome::duplicate;
    directory.RenameNode(id, *text);
    return RenameOutcome::accepted;
}

}  // namespace velmora
