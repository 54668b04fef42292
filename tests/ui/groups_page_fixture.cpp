#include "tests/ui/groups_page_fixture.h"

#include "directory/groups_db.h"
#include "ui/group_tree_rules.h"

namespace velmora::testing {
namespace {

void addLines(const CGroupsDB& directory, std::uint32_t parent, std::size_t level, Lines& lines) {
    std::vector<CGroupsDBNode*> children;
    directory.GetChildren(parent, children);
    for (const CGroupsDBNode* child : children) {
        lines.push_back(std::string(level, ' ') + child->name);
        addLines(directory, child->id, level + 1, lines);
    }
}

}  // namespace

void GroupsPageTest::SetUp() {
    PortSheetTest::SetUp();
    records.useMultiPort({1});
}

Lines GroupsPageTest::directoryLines() const {
    Lines lines;
    addLines(directory, 0, 0, lines);
    return lines;
}

std::uint32_t GroupsPageTest::addChain(const std::string& name, std::uint32_t parent, int count) {
    for (int i = 0; i < count; ++i)
        parent = records.addGroup(name, parent);
    return parent;
}

std::vector<std::string> GroupsPageTest::names(std::uint32_t group) const {
    return namesInGroup(directory, group);
}

CGroupsDBNode* GroupsPageTest::named(const std::string& name) const {
    for (const auto& [id, node] : directory.nodes())
        if (node->name == name) return node.get();
    ADD_FAILURE() << "no node " << name;
    return nullptr;
}

std::string GroupsPageTest::onlyMessage() {
    const auto messages = boxes.take();
    EXPECT_EQ(messages.size(), 1u);
    if (messages.empty()) return {};
    EXPECT_EQ(messages.front().icon, MessageIcon::none);
    return messages.front().text;
}

}  // namespace velmora::testing
