#include "ui/tree_rows.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace velmora {
namespace {

/// "name<parent row's name" for every row.
std::vector<std::string> described(const std::vector<TreeRow>& rows) {
    std::vector<std::string> texts;
    for (const TreeRow& row : rows)
        texts.push_back(
            row.node->name + "<" +
            (row.parentRow == TreeRow::kNoParent ? std::string() : rows[row.parentRow].node->name));
    return texts;
}

void insert(DirectoryNodes& nodes, std::uint32_t id, std::uint32_t parent,
            const std::string& name) {
    auto group = std::make_unique<CGroupsDBGroup>();
    group->id = id;
    group->parent = parent;
    group->name = name;
    nodes[id] = std::move(group);
}

/// Office (2) with Laser (3) and Archive (4), in which Plotter (5) is; Workshop (6) with Labels
/// (7).
DirectoryNodes sampleTree() {
    DirectoryNodes nodes;
    insert(nodes, 1, 0, "All groups");
    insert(nodes, 2, 1, "Office");
    insert(nodes, 3, 2, "Laser");
    insert(nodes, 4, 2, "Archive");
    insert(nodes, 5, 4, "Plotter");
    insert(nodes, 6, 1, "Workshop");
    insert(nodes, 7, 6, "Labels");
    return nodes;
}

TEST(TreeRows, ListGroupsBeforeTheirContents) {
    const DirectoryNodes nodes = sampleTree();
    EXPECT_EQ(described(treeRows(nodes)),
              (std::vector<std::string>{"All groups<", "Office<All groups", "Laser<Office",
                                        "Archive<Office", "Plotter<Archive", "Workshop<All groups",
                                        "Labels<Workshop"}));
}

TEST(TreeRows, ListOneNodeWithEverythingBelow) {
    const DirectoryNodes nodes = sampleTree();
    EXPECT_EQ(
        described(treeRows(nodes, 2, 1)),
        (std::vector<std::string>{"Office<", "Laser<Office", "Archive<Office", "Plotter<Archive"}));
    EXPECT_EQ(described(treeRows(nodes, 3, 2)), (std::vector<std::string>{"Laser<"}));
    EXPECT_TRUE(treeRows(nodes, 4711, 0).empty());
}

TEST(TreeRows, KeepAscendingIdsWhateverTheOrderOfParents) {
    DirectoryNodes nodes;
    insert(nodes, 1, 0, "root");
    insert(nodes, 2, 9, "c");
    insert(nodes, 3, 1, "a");
    insert(nodes, 9, 1, "b");
    insert(nodes, 4, 9, "d");
    EXPECT_EQ(described(treeRows(nodes)),
              (std::vector<std::string>{"root<", "a<root", "b<root", "c<b", "d<b"}));
}

TEST(TreeRows, LeaveOutWhatCannotBeReached) {
    DirectoryNodes nodes;
    insert(nodes, 1, 0, "root");
    insert(nodes, 2, 77, "orphan");
    insert(nodes, 3, 3, "own parent");
    insert(nodes, 4, 5, "each other's");
    insert(nodes, 5, 4, "each other's");
    EXPECT_EQ(described(treeRows(nodes)), std::vector<std::string>{"root<"});
    EXPECT_EQ(treeRows(nodes, 4, 0).size(), 2u) << "a walk within a cycle ends";
    EXPECT_EQ(treeRows(nodes, 3, 0).size(), 1u);
}

TEST(TreeRows, AreEmptyWhenTheRootIsItsOwnParent) {
    DirectoryNodes nodes;
    insert(nodes, 1, 1, "root");
    insert(nodes, 2, 1, "child");
    EXPECT_TRUE(treeRows(nodes).empty());
}

TEST(TreeRows, LeaveOutARecordWithIdZero) {
    DirectoryNodes nodes;
    insert(nodes, 0, 0, "stray");
    insert(nodes, 1, 0, "root");
    EXPECT_EQ(described(treeRows(nodes)), std::vector<std::string>{"root<"});
    EXPECT_TRUE(treeRows(nodes, 0, 0).empty());
}

TEST(TreeRows, ShowMoreThanOneTopLevelItem) {
    DirectoryNodes nodes;
    insert(nodes, 1, 0, "root");
    insert(nodes, 8, 0, "second");
    insert(nodes, 9, 8, "below");
    EXPECT_EQ(described(treeRows(nodes)),
              (std::vector<std::string>{"root<", "second<", "below<second"}));
}

TEST(TreeRows, EndAtTheGreatestDepth) {
    DirectoryNodes nodes;
    for (std::uint32_t id = 1; id <= 100000; ++id)
        insert(nodes, id, id - 1, "n");
    EXPECT_EQ(treeRows(nodes).size(), kMaxTreeDepth);
    EXPECT_EQ(treeRows(nodes, 2, 1).size(), kMaxTreeDepth - 1);
    EXPECT_TRUE(treeRows(nodes, 1000, kMaxTreeDepth).empty());
}

TEST(TreeRows, TellWhatWouldBeTooDeepToBeShown) {
    DirectoryNodes nodes = sampleTree();
    constexpr std::uint32_t kOffice = 2;
    constexpr std::uint32_t kLaser = 3;
    constexpr std::uint32_t kArchive = 4;
    constexpr std::uint32_t kWorkshop = 6;
    std::uint32_t lowest = kWorkshop;
    std::uint32_t next = 8;
    for (std::size_t level = 2; level < kMaxTreeDepth - 1; ++level) {
        insert(nodes, next, lowest, "g");
        lowest = next++;
    }
    EXPECT_TRUE(fitsBelow(nodes, lowest)) << "the last level that is shown";
    EXPECT_TRUE(fitsBelow(nodes, lowest, kLaser));
    EXPECT_FALSE(fitsBelow(nodes, lowest, kArchive)) << "its printer would be below";
    const std::uint32_t last = next;
    insert(nodes, last, lowest, "g");
    EXPECT_FALSE(fitsBelow(nodes, last));
    EXPECT_FALSE(fitsBelow(nodes, last, kLaser));
    EXPECT_TRUE(fitsBelow(nodes, 1, kArchive));
    EXPECT_FALSE(fitsBelow(nodes, kArchive, kWorkshop)) << "a level too many";
    EXPECT_TRUE(fitsBelow(nodes, kOffice, kArchive));
    insert(nodes, 8000, 8001, "each other's");
    insert(nodes, 8001, 8000, "each other's");
    EXPECT_FALSE(fitsBelow(nodes, 8000)) << "a walk within a circle ends";
}

}  // namespace
}  // namespace velmora
