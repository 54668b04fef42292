#include "ui/tree_rows.h"

#include <gtest/gtest.h>

#include "tests/ui/sample_directory.h"

namespace velmora {
namespace {

using testing::SampleDirectory;

/// "name<parent row's name" for every row.
std::vector<std::string> described(const std::vector<TreeRow>& rows) {
    std::vector<std::string> texts;
    for (const TreeRow& row : rows)
        texts.push_back(
            row.node->name + "<" +
            (row.parentRow == TreeRow::kNoParent ? std::string() : rows[row.parentRow].node->name));
    return texts;
}

CGroupsDBNode* insert(CGroupsDB& directory, std::uint32_t id, std::uint32_t parent,
                      const std::string& name) {
    auto group = std::make_unique<CGroupsDBGroup>();
    group->id = id;
    group->parent = parent;
    group->name = name;
    CGroupsDBNode* node = group.get();
    directory.Insert(std::move(group));
    return node;
}

TEST(TreeRows, ListGroupsBeforeTheirContents) {
    const SampleDirectory tree;
    EXPECT_EQ(described(treeRows(tree.directory)),
              (std::vector<std::string>{"All groups<", "Office<All groups", "Laser<Office",
                                        "Archive<Office", "Plotter<Archive", "Workshop<All groups",
                                        "Labels<Workshop"}));
}

TEST(TreeRows, ListOneNodeWithEverythingBelow) {
    const SampleDirectory tree;
    EXPECT_EQ(
        described(treeRows(tree.directory, tree.office->id, 1)),
        (std::vector<std::string>{"Office<", "Laser<Office", "Archive<Office", "Plotter<Archive"}));
    EXPECT_EQ(described(treeRows(tree.directory, tree.laser->id, 2)),
              (std::vector<std::string>{"Laser<"}));
    EXPECT_TRUE(treeRows(tree.directory, 4711, 0).empty());
}

TEST(TreeRows, KeepAscendingIdsWhateverTheOrderOfParents) {
    CGroupsDB directory;
    insert(directory, 1, 0, "root");
    insert(directory, 2, 9, "c");
    insert(directory, 3, 1, "a");
    insert(directory, 9, 1, "b");
    insert(directory, 4, 9, "d");
    EXPECT_EQ(described(treeRows(directory)),
              (std::vector<std::string>{"root<", "a<root", "b<root", "c<b", "d<b"}));
}

TEST(TreeRows, LeaveOutWhatCannotBeReached) {
    CGroupsDB directory;
    insert(directory, 1, 0, "root");
    insert(directory, 2, 77, "orphan");
    insert(directory, 3, 3, "own parent");
    insert(directory, 4, 5, "each other's");
    insert(directory, 5, 4, "each other's");
    EXPECT_EQ(described(treeRows(directory)), std::vector<std::string>{"root<"});
    EXPECT_EQ(treeRows(directory, 4, 0).size(), 2u) << "a walk within a cycle ends";
    EXPECT_EQ(treeRows(directory, 3, 0).size(), 1u);
}

TEST(TreeRows, AreEmptyWhenTheRootIsItsOwnParent) {
    CGroupsDB directory;
    insert(directory, 1, 1, "root");
    insert(directory, 2, 1, "child");
    EXPECT_TRUE(treeRows(directory).empty());
}

TEST(TreeRows, LeaveOutARecordWithIdZero) {
    CGroupsDB directory;
    insert(directory, 0, 0, "stray");
    insert(directory, 1, 0, "root");
    EXPECT_EQ(described(treeRows(directory)), std::vector<std::string>{"root<"});
    EXPECT_TRUE(treeRows(directory, 0, 0).empty());
}

TEST(TreeRows, ShowMoreThanOneTopLevelItem) {
    CGroupsDB directory;
    insert(directory, 1, 0, "root");
    insert(directory, 8, 0, "second");
    insert(directory, 9, 8, "below");
    EXPECT_EQ(described(treeRows(directory)),
              (std::vector<std::string>{"root<", "second<", "below<second"}));
}

TEST(TreeRows, EndAtTheGreatestDepth) {
    CGroupsDB directory;
    for (std::uint32_t id = 1; id <= 100000; ++id)
        insert(directory, id, id - 1, "n");
    EXPECT_EQ(treeRows(directory).size(), kMaxTreeDepth);
    EXPECT_EQ(treeRows(directory, 2, 1).size(), kMaxTreeDepth - 1);
    EXPECT_TRUE(treeRows(directory, 1000, kMaxTreeDepth).empty());
}

TEST(TreeRows, TellWhatWouldBeTooDeepToBeShown) {
    SampleDirectory tree;
    CGroupsDB& directory = tree.directory;
    std::uint32_t lowest = tree.workshop->id;
    for (std::size_t level = 2; level < kMaxTreeDepth - 1; ++level)
        lowest = directory.AddGroup("g", lowest)->id;
    EXPECT_TRUE(fitsBelow(directory, lowest)) << "the last level that is shown";
    EXPECT_TRUE(fitsBelow(directory, lowest, tree.laser->id));
    EXPECT_FALSE(fitsBelow(directory, lowest, tree.archive->id)) << "its printer would be below";
    const std::uint32_t last = directory.AddGroup("g", lowest)->id;
    EXPECT_FALSE(fitsBelow(directory, last));
    EXPECT_FALSE(fitsBelow(directory, last, tree.laser->id));
    EXPECT_TRUE(fitsBelow(directory, 1, tree.archive->id));
    EXPECT_FALSE(fitsBelow(directory, tree.archive->id, tree.workshop->id)) << "a level too many";
    EXPECT_TRUE(fitsBelow(directory, tree.office->id, tree.archive->id));
    insert(directory, 8000, 8001, "each other's");
    insert(directory, 8001, 8000, "each other's");
    EXPECT_FALSE(fitsBelow(directory, 8000)) << "a walk within a circle ends";
}

}  // namespace
}  // namespace velmora
