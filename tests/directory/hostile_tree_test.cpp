// Damaged trees that no editor leaves: every operation must end, at any depth, and work as usual on
// the sound part of the tree.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "directory/child_index.h"
#include "directory/groups_db.h"
#include "tests/directory/directory_builders.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using Ids = std::vector<std::uint32_t>;

// Deep enough that a recursion would need more than any stack has.
constexpr std::uint32_t kDepth = 40'000;

/// Groups 1 to kDepth, each below the one before; the last holds a printer.
CGroupsDB deepChain() {
    CGroupsDB db;
    for (std::uint32_t id = 1; id <= kDepth; ++id)
        db.Insert(group(id, id - 1, "g"));
    db.Insert(printer(kDepth + 1, kDepth, "P"));
    return db;
}

/// The same depth with ids falling from the root: passes in ascending id find one level each.
CGroupsDB deepChainOfFallingIds() {
    CGroupsDB db;
    for (std::uint32_t id = 1; id <= kDepth; ++id)
        db.Insert(group(id, id == kDepth ? 0 : id + 1, "g"));
    return db;
}

TEST(DeepChain, IsCollected) {
    EXPECT_EQ(collect(deepChain(), {1}), Ids{kDepth + 1});
}

/// Groups 1 to kDepth, each below the one before and the first below the last; each holds a
/// printer.
CGroupsDB longCircle() {
    CGroupsDB db;
    for (std::uint32_t id = 1; id <= kDepth; ++id) {
        db.Insert(group(id, id == 1 ? kDepth : id - 1, "g"));
        db.Insert(printer(kDepth + id, id, "P"));
    }
    return db;
}

// A walk for each group would take minutes.
TEST(DeepChain, IsCountedAndCollectedForAllOfItsGroups) {
    const CGroupsDB db = deepChain();
    const auto counts = printerCounts(db.nodes());
    ASSERT_EQ(counts.size(), kDepth);
    EXPECT_TRUE(std::ranges::all_of(counts, [](const auto& entry) { return entry.second == 1; }));
    Ids all = idsOf(db);
    EXPECT_EQ(idsOf(db.CollectPrinters(all)), Ids{kDepth + 1});
    std::ranges::reverse(all);
    EXPECT_EQ(idsOf(db.CollectPrinters(all)), Ids{kDepth + 1});
}

TEST(LongCircle, IsCountedAndCollectedForAllOfItsGroups) {
    const CGroupsDB db = longCircle();
    const auto counts = printerCounts(db.nodes());
    ASSERT_EQ(counts.size(), kDepth);
    EXPECT_TRUE(
        std::ranges::all_of(counts, [](const auto& entry) { return entry.second == kDepth; }));
    EXPECT_EQ(db.CollectPrinters(idsOf(db)).size(), kDepth);
}

TEST(PrinterCounts, AreWhatCollectingFinds) {
    std::minstd_rand random(7);
    for (int round = 0; round < 300; ++round) {
        CGroupsDB db;
        const std::uint32_t size = 2 + random() % 12;
        for (std::uint32_t id = 1; id <= size; ++id) {
            // Parents of all kinds: none, one that does not exist, a printer, the node itself, each
            // other.
            const std::uint32_t parent = random() % (size + 2);
            if (random() % 3 == 0)
                db.Insert(printer(id, parent, "P"));
            else
                db.Insert(group(id, parent, "g"));
        }
        const auto counts = printerCounts(db.nodes());
        std::vector<CGroupsDBGroup*> groups;
        db.GetGroups(groups);
        ASSERT_EQ(counts.size(), groups.size());
        Ids ids = idsOf(groups);
        for (const std::uint32_t id : ids)
            EXPECT_EQ(counts.at(id), collect(db, {id}).size())
                << "round " << round << ", id " << id;
        std::ranges::shuffle(ids, random);
        EXPECT_EQ(idsOf(db.CollectPrinters(ids)), collect(db, ids)) << "round " << round;
    }
}

TEST(DeepChain, IsDeleted) {
    CGroupsDB db = deepChain();
    db.DeleteNode(2);
    EXPECT_EQ(idsOf(db), Ids{1});
    db = deepChainOfFallingIds();
    db.DeleteNode(kDepth - 1);
    EXPECT_EQ(idsOf(db), Ids{kDepth});
}

TEST(DeepChain, IsCopied) {
    CGroupsDB db = deepChain();
    db.Insert(group(200'001, 1, "target"));
    const CGroupsDBNode* copy = db.CopySubtree(*db.FindNode(2), 200'001);
    EXPECT_EQ(copy->id, 200'002u);
    EXPECT_EQ(db.nodes().size(), 2 * kDepth + 2);
    EXPECT_EQ(collect(db, {200'001}), Ids{200'001 + kDepth});
}

TEST(DeepChain, IsClimbedForPlacing) {
    CGroupsDB db = deepChain();
    db.FindNode(1)->name = "root";
    db.FindNode(2)->name = "top";
    const auto* stranger = db.AddGroup("stranger", 1);
    EXPECT_TRUE(db.CanPlace(*stranger, kDepth));
    EXPECT_FALSE(db.CanPlace(*db.FindNode(1), kDepth));
    EXPECT_FALSE(db.CanPlace(*db.FindNode(2), kDepth));
}

TEST(DeepChain, IsWrittenAndReadAsAPayload) {
    const CGroupsDB db = deepChain();
    std::vector<std::byte> payload(db.GetSize());
    db.Serialize(payload.data());
    CGroupsDB read;
    ASSERT_TRUE(read.Deserialize(payload));
    EXPECT_EQ(nodesOf(read), nodesOf(db));
}

TEST(PlacingBelowEveryOtherNode, StillMeetsTheTop) {
    // No node stands beside the way up, so the walk must take as many steps as there are nodes.
    CGroupsDB db;
    for (std::uint32_t id = 1; id <= 5; ++id) {
        db.Insert(group(id, id - 1, std::to_string(id)));
        EXPECT_FALSE(db.CanPlace(*db.FindNode(1), id)) << id;
    }
}

struct Cycle {
    const char* description;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> groups;  ///< id, parent
    std::uint32_t start;
};

class CyclicTree : public ::testing::TestWithParam<Cycle> {
  protected:
    /// The parameter's groups, each holding one printer (id + 100), and two nodes outside.
    CyclicTree() {
        for (const auto& [id, parent] : GetParam().groups) {
            db.Insert(group(id, parent, std::to_string(id)));
            db.Insert(printer(id + 100, id, "P"));
            members.push_back(id);
        }
        db.Insert(group(50, 0, "outside"));
        db.Insert(printer(51, 50, "outside"));
    }

    CGroupsDB db;
    Ids members;
};

TEST_P(CyclicTree, CollectsEachPrinterOnce) {
    Ids collected = collect(db, {GetParam().start});
    std::ranges::sort(collected);
    Ids expected;
    for (const std::uint32_t id : members)
        expected.push_back(id + 100);
    EXPECT_EQ(collected, expected);
}

TEST_P(CyclicTree, PlacingEnds) {
    for (const std::uint32_t id : members) {
        EXPECT_FALSE(db.CanPlace(*db.FindNode(id), GetParam().start));
        EXPECT_TRUE(db.CanPlace(*db.FindNode(50), id));
        EXPECT_TRUE(db.CanPlace(*db.FindNode(id), 50));
    }
}

TEST_P(CyclicTree, CopiesEachNodeOnce) {
    const std::size_t before = db.nodes().size();
    const CGroupsDBNode* copy = db.CopySubtree(*db.FindNode(GetParam().start), 50);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->parent, 50u);
    EXPECT_EQ(db.nodes().size(), before + 2 * members.size());
}

TEST_P(CyclicTree, DeletesItWholeAndNothingElse) {
    db.DeleteNode(GetParam().start);
    EXPECT_EQ(idsOf(db), (Ids{50, 51}));
}

// The walk up from every start below meets every member, so all of them refuse to be placed there.
INSTANTIATE_TEST_SUITE_P(
    Shapes, CyclicTree,
    ::testing::Values(Cycle{"OwnParent", {{7, 7}}, 7}, Cycle{"RootOwnParent", {{1, 1}}, 1},
                      Cycle{"TwoOfEachOther", {{3, 4}, {4, 3}}, 3},
                      Cycle{"TwoOfEachOtherFromTheOther", {{3, 4}, {4, 3}}, 4},
                      Cycle{"FiveAround", {{2, 6}, {3, 2}, {4, 3}, {5, 4}, {6, 5}}, 4}),
    [](const auto& info) { return std::string(info.param.description); });

TEST(CyclicTreeWithTail, WalkUpFromTheTailEndsInTheCircle) {
    CGroupsDB db;
    db.Insert(group(1, 0, "root"));
    db.Insert(group(2, 3, "A"));
    db.Insert(group(3, 2, "B"));
    db.Insert(group(4, 3, "tail"));
    db.Insert(printer(5, 4, "P"));
    db.Insert(group(6, 1, "elsewhere"));
    EXPECT_TRUE(db.CanPlace(*db.FindNode(6), 4));
    EXPECT_FALSE(db.CanPlace(*db.FindNode(2), 4));
    EXPECT_TRUE(db.CanPlace(*db.FindNode(5), 2));
    EXPECT_EQ(collect(db, {2}), Ids{5});
    EXPECT_EQ(collect(db, {1}), Ids{});
}

TEST(LongCycle, EndsEveryWalk) {
    constexpr std::uint32_t kInside = kDepth / 4 * 3;
    CGroupsDB db;
    for (std::uint32_t id = 1; id <= kDepth; ++id)
        db.Insert(group(id, id == 1 ? kDepth : id - 1, "g"));
    db.Insert(printer(200'000, 500, "P"));
    const auto* stranger = db.AddGroup("stranger", 0);
    EXPECT_EQ(collect(db, {kInside}), Ids{200'000});
    EXPECT_TRUE(db.CanPlace(*stranger, kInside));
    db.CopySubtree(*db.FindNode(kInside), stranger->id);
    EXPECT_EQ(db.nodes().size(), 2 * kDepth + 3);
    db.DeleteNode(kInside);
    EXPECT_EQ(db.nodes().size(), kDepth + 2);
}

TEST(DanglingParent, EndsTheWalkUp) {
    CGroupsDB db;
    db.Insert(group(1, 0, "root"));
    db.Insert(group(5, 99, "lost"));
    db.Insert(group(6, 5, "below"));
    EXPECT_TRUE(db.CanPlace(*db.FindNode(1), 6));
    EXPECT_FALSE(db.CanPlace(*db.FindNode(5), 6));
    EXPECT_TRUE(db.CanPlace(*db.FindNode(6), 4711));
    EXPECT_EQ(childrenOf(db, 99), Ids{5});
}

TEST(IdZero, IsANodeLikeOthers) {
    CGroupsDB db;
    db.Insert(group(1, 0, "root"));
    db.Insert(group(0, 0, "zero"));
    db.Insert(printer(2, 1, "P"));
    EXPECT_EQ(childrenOf(db, 0), (Ids{0, 1}));
    EXPECT_EQ(collect(db, {0}), Ids{2});
    EXPECT_EQ(collect(db, {1}), Ids{2});
    EXPECT_FALSE(db.CanPlace(*db.FindNode(0), 0));
    EXPECT_TRUE(db.CanPlace(*db.FindNode(0), 1));
    db.CopySubtree(*db.FindNode(0), 1);
    EXPECT_EQ(db.nodes().size(), 6u);
    db.DeleteNode(0);
    EXPECT_TRUE(db.nodes().empty());
}

// Copies that CanPlace would refuse must still end; each node below the source is copied once.
TEST(CopyIntoItself, Ends) {
    CGroupsDB db;
    db.Insert(group(1, 0, "root"));
    db.Insert(group(2, 1, "A"));
    db.Insert(group(3, 2, "B"));
    db.CopySubtree(*db.FindNode(2), 3);
    EXPECT_EQ(idsOf(db), (Ids{1, 2, 3, 4, 5}));
    EXPECT_EQ(db.FindNode(4)->parent, 3u);
    EXPECT_EQ(db.FindNode(5)->parent, 4u);
    db.CopySubtree(*db.FindNode(2), 2);
    EXPECT_EQ(db.nodes().size(), 9u);
    EXPECT_EQ(db.FindNode(6)->parent, 2u);
}

}  // namespace
}  // namespace velmora
