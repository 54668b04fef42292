#include "ui/node_placement.h"

#include <gtest/gtest.h>

#include "tests/ui/sample_directory.h"
#include "ui/group_tree_rules.h"
#include "ui/tree_rows.h"

namespace velmora {
namespace {

using testing::SampleDirectory;

using Verdict = NodePlacement::Verdict;

TEST(NodeClipboard, StartsEmptyAndIsClearedByClear) {
    NodeClipboard clipboard;
    EXPECT_TRUE(clipboard.empty());
    EXPECT_FALSE(clipboard.isCut());
    clipboard.copy(5);
    EXPECT_EQ(clipboard.node(), 5u);
    clipboard.clear();
    EXPECT_TRUE(clipboard.empty());
}

TEST(NodeClipboard, ACutIsPastedOnceACopyStays) {
    NodeClipboard clipboard;
    clipboard.cut(5);
    EXPECT_TRUE(clipboard.isCut());
    clipboard.pasted();
    EXPECT_TRUE(clipboard.empty());
    clipboard.copy(5);
    EXPECT_FALSE(clipboard.isCut());
    clipboard.pasted();
    EXPECT_EQ(clipboard.node(), 5u);
}

TEST(NodeClipboard, TheRootIsNotCutAndCopiedAsItsWholeContent) {
    NodeClipboard clipboard;
    clipboard.copy(5);
    clipboard.cut(kRootGroup);
    EXPECT_EQ(clipboard.node(), 5u) << "nothing happens";
    clipboard.copy(kRootGroup);
    EXPECT_EQ(clipboard.node(), NodeClipboard::kWholeContent);
    EXPECT_FALSE(clipboard.empty());
}

TEST(PlanPaste, NothingWithoutContentOrGroup) {
    SampleDirectory tree;
    NodeClipboard clipboard;
    EXPECT_EQ(planPaste(tree.directory, clipboard, tree.office->id).verdict, Verdict::nothing);
    clipboard.copy(tree.labels->id);
    EXPECT_EQ(planPaste(tree.directory, clipboard, tree.laser->id).verdict, Verdict::nothing);
    EXPECT_EQ(planPaste(tree.directory, clipboard, 4711).verdict, Verdict::nothing);
    tree.directory.DeleteNode(tree.labels->id);
    EXPECT_EQ(planPaste(tree.directory, clipboard, tree.office->id).verdict, Verdict::nothing);
}

TEST(PlanPaste, ACutMovesTheNodeItself) {
    SampleDirectory tree;
    NodeClipboard clipboard;
    clipboard.cut(tree.archive->id);
    const NodePlacement plan = planPaste(tree.directory, clipboard, tree.workshop->id);
    ASSERT_EQ(plan.verdict, Verdict::allowed);
    EXPECT_TRUE(plan.move);
    const std::size_t nodes = tree.directory.nodes().size();
    EXPECT_EQ(carryOut(plan, tree.directory), std::vector<std::uint32_t>{tree.archive->id});
    EXPECT_EQ(tree.archive->parent, tree.workshop->id);
    EXPECT_EQ(tree.directory.nodes().size(), nodes);
}

TEST(PlanPaste, ACopyMakesADeepCopy) {
    SampleDirectory tree;
    NodeClipboard clipboard;
    clipboard.copy(tree.archive->id);
    const NodePlacement plan = planPaste(tree.directory, clipboard, tree.workshop->id);
    ASSERT_EQ(plan.verdict, Verdict::allowed);
    const std::vector<std::uint32_t> placed = carryOut(plan, tree.directory);
    ASSERT_EQ(placed.size(), 1u);
    EXPECT_EQ(namesInGroup(tree.directory, placed[0]), std::vector<std::string>{"Plotter"});
    EXPECT_EQ(tree.archive->parent, tree.office->id);
}

TEST(PlanPaste, ASecondCopyIntoTheSameGroupIsRefusedIntoAnotherAllowed) {
    SampleDirectory tree;
    NodeClipboard clipboard;
    clipboard.copy(tree.labels->id);
    carryOut(planPaste(tree.directory, clipboard, tree.office->id), tree.directory);
    EXPECT_EQ(planPaste(tree.directory, clipboard, tree.office->id).verdict, Verdict::cannotCopy);
    EXPECT_EQ(planPaste(tree.directory, clipboard, tree.archive->id).verdict, Verdict::allowed);
}

TEST(PlanPaste, IntoItselfOrBelowIsRefusedWithTheMessageForCopying) {
    SampleDirectory tree;
    NodeClipboard clipboard;
    for (const bool cut : {false, true}) {
        cut ? clipboard.cut(tree.office->id) : clipboard.copy(tree.office->id);
        EXPECT_EQ(planPaste(tree.directory, clipboard, tree.office->id).verdict,
                  Verdict::cannotCopy);
        EXPECT_EQ(planPaste(tree.directory, clipboard, tree.archive->id).verdict,
                  Verdict::cannotCopy);
        EXPECT_EQ(planPaste(tree.directory, clipboard, kRootGroup).verdict, Verdict::cannotCopy)
            << "it is there already";
    }
}

TEST(PlanPaste, TheRootTakesNodes) {
    SampleDirectory tree;
    NodeClipboard clipboard;
    clipboard.cut(tree.archive->id);
    carryOut(planPaste(tree.directory, clipboard, kRootGroup), tree.directory);
    EXPECT_EQ(tree.archive->parent, kRootGroup);
}

TEST(PlanPaste, TheWholeContentFitsNowhereBelowItself) {
    SampleDirectory tree;
    NodeClipboard clipboard;
    clipboard.copy(kRootGroup);
    for (const CGroupsDBNode* target : {tree.root, tree.office, tree.archive}) {
        const NodePlacement plan = planPaste(tree.directory, clipboard, target->id);
        EXPECT_EQ(plan.verdict, Verdict::cannotCopy);
        EXPECT_EQ(plan.sources, std::vector<std::uint32_t>{kRootGroup});
    }
    EXPECT_FALSE(clipboard.empty());
}

TEST(PlanDrop, OnItselfOnAPrinterOnItsOwnGroupOrOnNothingIsSilent) {
    SampleDirectory tree;
    for (const bool copy : {false, true}) {
        for (const std::uint32_t target :
             {tree.laser->id, tree.labels->id, tree.office->id, std::uint32_t{4711}})
            EXPECT_EQ(planDrop(tree.directory, tree.laser->id, target, copy).verdict,
                      Verdict::nothing)
                << target;
        EXPECT_EQ(planDrop(tree.directory, 4711, tree.office->id, copy).verdict, Verdict::nothing);
    }
}

TEST(PlanDrop, RefusalsSpeakOfWhatWasTried) {
    SampleDirectory tree;
    EXPECT_EQ(planDrop(tree.directory, tree.office->id, tree.archive->id, false).verdict,
              Verdict::cannotMove);
    EXPECT_EQ(planDrop(tree.directory, tree.office->id, tree.archive->id, true).verdict,
              Verdict::cannotCopy);
    tree.directory.AddGroup("Laser", tree.workshop->id);
    EXPECT_EQ(planDrop(tree.directory, tree.laser->id, tree.workshop->id, false).verdict,
              Verdict::cannotMove);
    EXPECT_EQ(planDrop(tree.directory, kRootGroup, tree.workshop->id, false).verdict,
              Verdict::cannotMove);
}

TEST(PlanDrop, MovesOrCopies) {
    SampleDirectory tree;
    const NodePlacement move = planDrop(tree.directory, tree.laser->id, tree.workshop->id, false);
    ASSERT_EQ(move.verdict, Verdict::allowed);
    const NodePlacement copy = planDrop(tree.directory, tree.labels->id, tree.office->id, true);
    ASSERT_EQ(copy.verdict, Verdict::allowed);
    carryOut(move, tree.directory);
    carryOut(copy, tree.directory);
    EXPECT_EQ(namesInGroup(tree.directory, tree.workshop->id),
              (std::vector<std::string>{"Laser", "Labels"}));
    EXPECT_EQ(namesInGroup(tree.directory, tree.office->id),
              (std::vector<std::string>{"Archive", "Labels"}));
}

TEST(CarryOut, DoesNothingUnlessAllowed) {
    SampleDirectory tree;
    NodePlacement plan = planDrop(tree.directory, tree.office->id, tree.archive->id, false);
    EXPECT_TRUE(carryOut(plan, tree.directory).empty());
    EXPECT_EQ(tree.office->parent, kRootGroup);
}

TEST(NodePlacement, RefusesWhatTheTreeWouldNotShow) {
    SampleDirectory tree;
    std::uint32_t lowest = tree.workshop->id;
    for (std::size_t level = 2; level < kMaxTreeDepth; ++level)
        lowest = tree.directory.AddGroup("g", lowest)->id;
    NodeClipboard clipboard;
    clipboard.copy(tree.laser->id);
    EXPECT_EQ(planPaste(tree.directory, clipboard, lowest).verdict, Verdict::tooDeep);
    EXPECT_EQ(planDrop(tree.directory, tree.laser->id, lowest, false).verdict, Verdict::tooDeep);
    EXPECT_EQ(planDrop(tree.directory, tree.laser->id, lowest, true).verdict, Verdict::tooDeep);
    const std::uint32_t above = tree.directory.FindNode(lowest)->parent;
    EXPECT_EQ(planDrop(tree.directory, tree.laser->id, above, false).verdict, Verdict::allowed);
    EXPECT_EQ(planDrop(tree.directory, tree.workshop->id, lowest, false).verdict,
              Verdict::cannotMove)
        << "the older refusal comes first";
}

}  // namespace
}  // namespace velmora
