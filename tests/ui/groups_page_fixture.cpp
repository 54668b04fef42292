#include "tests/ui/groups_page_fixture.h"

namespace velmora::testing {

void GroupsPageTest::SetUp() {
    PortSheetTest::SetUp();
    records.useMultiPort({1});
}

std::uint32_t GroupsPageTest::addChain(const std::string& name, std::uint32_t parent, int count) {
    for (int i = 0; i < count; ++i)
        parent = records.addGroup(name, parent);
    return parent;
}

CGroupsDBNode* GroupsPageTest::named(const std::string& name) const {
    CGroupsDBNode* const node = records.named(name);
    if (node == nullptr) ADD_FAILURE() << "no node " << name;
    return node;
}

std::string GroupsPageTest::onlyMessage() {
    const auto messages = boxes.take();
    EXPECT_EQ(messages.size(), 1u);
    if (messages.empty()) return {};
    EXPECT_EQ(messages.front().icon, MessageIcon::none);
    return messages.front().text;
}

}  // namespace velmora::testing
