#include "ui/group_tree_rules.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "tests/ui/sample_directory.h"

namespace velmora {
namespace {

using testing::SampleDirectory;

TEST(GroupsPageButtons, FollowTheSelectedNode) {
    const SampleDirectory tree;
    EXPECT_EQ(groupsPageButtons(tree.root),
              (GroupsPageButtons{.newGroup = true, .newPrinter = true}));
    EXPECT_EQ(groupsPageButtons(tree.office),
              (GroupsPageButtons{.newGroup = true, .newPrinter = true, .remove = true}));
    EXPECT_EQ(groupsPageButtons(tree.laser),
              (GroupsPageButtons{.remove = true, .properties = true}));
    EXPECT_EQ(groupsPageButtons(nullptr),
              (GroupsPageButtons{.newGroup = true, .newPrinter = true}));
}

TEST(GroupsPageMenu, FollowsTheNode) {
    const SampleDirectory tree;
    EXPECT_EQ(groupsPageMenu(*tree.root), GroupsPageMenu::root);
    EXPECT_EQ(groupsPageMenu(*tree.office), GroupsPageMenu::group);
    EXPECT_EQ(groupsPageMenu(*tree.laser), GroupsPageMenu::printer);
    CGroupsDBNode strange;
    strange.id = 9;
    strange.type = 2;
    EXPECT_EQ(groupsPageMenu(strange), std::nullopt);
}

TEST(GroupsPageRoot, KeepsItsNameAndPlace) {
    const SampleDirectory tree;
    EXPECT_FALSE(canRename(*tree.root));
    EXPECT_FALSE(canDelete(*tree.root));
    EXPECT_TRUE(canRename(*tree.laser));
    EXPECT_TRUE(canDelete(*tree.office));
}

TEST(NewGroupName, TakesTheFirstFreeNumber) {
    SampleDirectory tree;
    EXPECT_EQ(newGroupName(tree.directory, kRootGroup, "New"), "New");
    for (const char* name : {"New", "New (1)", "New (2)"}) {
        EXPECT_EQ(newGroupName(tree.directory, kRootGroup, "New"), name);
        tree.directory.AddGroup(name, kRootGroup);
    }
    EXPECT_EQ(newGroupName(tree.directory, kRootGroup, "New"), "New (3)");
    EXPECT_EQ(newGroupName(tree.directory, tree.office->id, "New"), "New")
        << "names count within one group";
}

TEST(NewGroupName, FillsGapsAndAvoidsPrinters) {
    SampleDirectory tree;
    tree.directory.AddGroup("New (1)", kRootGroup);
    tree.directory.AddPrinter("New", {"ipp://h/p", false, "", ""}, kRootGroup);
    EXPECT_EQ(newGroupName(tree.directory, kRootGroup, "New"), "New (2)");
    EXPECT_EQ(newGroupName(tree.directory, kRootGroup, "new"), "new") << "case counts";
}

TEST(RenameNode, RefusesTheNameOfASibling) {
    SampleDirectory tree;
    EXPECT_EQ(renameNode(tree.directory, tree.laser->id, "Archive"), RenameOutcome::duplicate);
    EXPECT_EQ(tree.laser->name, "Laser");
    EXPECT_EQ(renameNode(tree.directory, tree.laser->id, "archive"), RenameOutcome::accepted);
    EXPECT_EQ(tree.laser->name, "archive") << "names differ by case alone";
}

TEST(RenameNode, TakesNamesOfOtherGroups) {
    SampleDirectory tree;
    EXPECT_EQ(renameNode(tree.directory, tree.laser->id, "Office"), RenameOutcome::accepted);
    EXPECT_EQ(tree.laser->name, "Office");
}

TEST(RenameNode, CancelledEmptyAndUnchangedTextsKeepTheName) {
    SampleDirectory tree;
    for (const std::optional<std::string>& text :
         {std::optional<std::string>(), std::optional<std::string>(""),
          std::optional<std::string>("Laser")}) {
        EXPECT_EQ(renameNode(tree.directory, tree.laser->id, text), RenameOutcome::accepted);
        EXPECT_EQ(tree.laser->name, "Laser");
    }
}

TEST(RenameNode, ANameHeldTwiceDoesNotTrapTheEditor) {
    SampleDirectory tree;
    tree.directory.AddGroup("Laser", tree.office->id);
    EXPECT_EQ(renameNode(tree.directory, tree.laser->id, std::nullopt), RenameOutcome::accepted);
}

TEST(RenameNode, MissingNodeIsNoError) {
    SampleDirectory tree;
    EXPECT_EQ(renameNode(tree.directory, 4711, "x"), RenameOutcome::accepted);
}

TEST(NamesInGroup, LeaveTheExceptionOut) {
    const SampleDirectory tree;
    EXPECT_EQ(namesInGroup(tree.directory, tree.office->id),
              (std::vector<std::string>{"Laser", "Archive"}));
    EXPECT_EQ(namesInGroup(tree.directory, tree.office->id, tree.laser->id),
              (std::vector<std::string>{"Archive"}));
    EXPECT_TRUE(namesInGroup(tree.directory, 4711).empty());
}

TEST(NamesInGroup, HoldThatOfAStrayRecordWithIdZero) {
    SampleDirectory tree;
    auto stray = std::make_unique<CGroupsDBGroup>();
    stray->id = 0;
    stray->parent = tree.archive->id;
    stray->name = "Stray";
    tree.directory.Insert(std::move(stray));
    EXPECT_EQ(namesInGroup(tree.directory, tree.archive->id),
              (std::vector<std::string>{"Stray", "Plotter"}))
        << "placing a node of that name there is refused as well";
}

}  // namespace
}  // namespace velmora
