// Random steps on the directory and on its model. After each step both must hold the same tree.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

#include "directory/groups_db.h"
#include "tests/directory/directory_builders.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using Ids = ModelDirectory::Ids;

class RandomSteps : public ::testing::TestWithParam<unsigned> {
  protected:
    RandomSteps() : random_(GetParam()) {
        db.Insert(group(1, 0, "All groups"));
        model.rows.push_back({1, 0, 0, "All groups", "", 0, "", ""});
    }

    unsigned below(unsigned bound) { return std::uniform_int_distribution(0u, bound - 1)(random_); }

    /// Usually an existing id, sometimes one that has been deleted or never existed.
    std::uint32_t anyId() {
        if (model.rows.empty() || below(20) == 0) return below(model.nextId + 2);
        return model.rows[below(static_cast<unsigned>(model.rows.size()))].id;
    }

    /// A group, or 0.
    std::uint32_t anyGroup() {
        const Ids groups = model.groups();
        if (groups.empty()) return 0;
        return groups[below(static_cast<unsigned>(groups.size()))];
    }

    std::string anyName() {
        static constexpr const char* kNames[] = {"A", "a", "B", "Printer", "printer", "", "\xFC"};
        return kNames[below(7)];
    }

    NodeFields anyPrinter(std::uint32_t parent) {
        return {0,         parent,   1, anyName(), anyName() + "://", static_cast<int>(below(2)),
                anyName(), anyName()};
    }

    void add() {
        const std::uint32_t parent = below(10) == 0 ? anyId() : anyGroup();
        if (below(2) == 0) {
            const std::string name = anyName();
            const std::uint32_t id = model.add({0, parent, 0, name, "", 0, "", ""});
            EXPECT_EQ(db.AddGroup(name, parent)->id, id);
        } else {
            const NodeFields p = anyPrinter(parent);
            const std::uint32_t id = model.add(p);
            EXPECT_EQ(
                db.AddPrinter(p.name, {p.uri, p.hasAuth != 0, p.userName, p.password}, parent)->id,
                id);
        }
    }

    void rename() {
        const std::uint32_t id = anyId();
        const std::string name = anyName();
        if (NodeFields* row = model.find(id)) row->name = name;
        db.RenameNode(id, name);
    }

    void update() {
        const std::uint32_t id = anyId();
        const NodeFields p = anyPrinter(0);
        model.update({id, 0, 1, p.name, p.uri, p.hasAuth, p.userName, p.password});
        db.UpdatePrinter(*printer(id, 0, p.name, p.uri, static_cast<std::uint8_t>(p.hasAuth),
                                  p.userName, p.password));
    }

    void place() {
        const std::uint32_t node = anyId();
        const std::uint32_t target = anyGroup();
        if (model.find(node) == nullptr) {
            EXPECT_EQ(db.FindNode(node), nullptr);
            return;
        }
        const bool allowed = model.canPlace(node, target);
        ASSERT_EQ(db.CanPlace(*db.FindNode(node), target), allowed);
        ++(allowed ? placed : refused);
        if (!allowed) return;
        if (below(3) != 0) {
            model.find(node)->parent = target;
            SetNodeParent(*db.FindNode(node), target);
        } else if (model.rows.size() < 150) {
            const std::uint32_t copy = model.copy(node, target);
            EXPECT_EQ(db.CopySubtree(*db.FindNode(node), target)->id, copy);
        }
    }

    void remove() {
        const std::uint32_t id = anyId();
        // The root is rarely deleted; otherwise the trees would stay small.
        if (id <= 1 && below(200) != 0) return;
        model.remove(id);
        db.DeleteNode(id);
    }

    void look() {
        const Ids targets{anyGroup(), anyGroup()};
        Ids expected;
        for (const std::uint32_t target : targets)
            if (target != 0) model.collect(target, expected);
        EXPECT_EQ(collect(db, targets), expected);
        const std::uint32_t id = anyId();
        EXPECT_EQ(childrenOf(db, id), model.children(id));
        const NodeFields* row = model.find(id);
        EXPECT_EQ(db.FindNode(id) != nullptr, row != nullptr);
        EXPECT_EQ(db.FindGroup(id) != nullptr, row != nullptr && row->type == 0);
        EXPECT_EQ(db.FindPrinter(id) != nullptr, row != nullptr && row->type == 1);
        std::vector<CGroupsDBGroup*> groups;
        db.GetGroups(groups);
        EXPECT_EQ(idsOf(groups), model.groups());
    }

    void travel() {
        std::vector<std::byte> payload(db.GetSize());
        db.Serialize(payload.data());
        CGroupsDB other;
        ASSERT_TRUE(other.Deserialize(payload));
        EXPECT_EQ(nodesOf(other), nodesOf(db));
    }

    /// Compares in place; whole copies of both would be most of the test's time.
    bool alike() const {
        const auto same = [](const NodeFields& row, const auto& entry) {
            const CGroupsDBNode& node = *entry.second;
            if (entry.first != row.id || node.id != row.id || node.parent != row.parent ||
                node.type != row.type || node.name != row.name)
                return false;
            if (node.type == NODE_GROUP) return true;
            const auto& printer = static_cast<const CGroupsDBPrinter&>(node);
            const PrinterAddress& address = printer.address;
            return address.url == row.uri && address.useAuthentication == row.hasAuth &&
                   address.userName == row.userName && address.password == row.password;
        };
        return model.nextId == db.nextId() &&
               std::equal(model.rows.begin(), model.rows.end(), db.nodes().begin(),
                          db.nodes().end(), same);
    }

    void step() {
        const unsigned kind = below(100);
        if (kind < 35) {
            if (model.rows.size() < 200) add();
        } else if (kind < 45) {
            rename();
        } else if (kind < 55) {
            update();
        } else if (kind < 80) {
            place();
        } else if (kind < 85) {
            remove();
        } else if (kind < 97) {
            look();
        } else {
            travel();
        }
    }

    CGroupsDB db;
    ModelDirectory model;
    int placed = 0;
    int refused = 0;

  private:
    std::mt19937 random_;
};

/// How many for each seed; VELMORA_TREE_STEPS asks for more.
int wantedSteps() {
    const char* const text = std::getenv("VELMORA_TREE_STEPS");
    return text == nullptr ? 1'500 : std::stoi(text);
}

TEST_P(RandomSteps, LeaveTheDirectoryAndTheModelAlike) {
    std::size_t largest = 0;
    const int steps = wantedSteps();
    for (int i = 0; i < steps; ++i) {
        step();
        if (!alike()) {
            ASSERT_EQ(nodesOf(db), model.rows) << "after step " << i;
            ASSERT_EQ(db.nextId(), model.nextId) << "after step " << i;
        }
        ASSERT_FALSE(HasFailure()) << "in step " << i;
        largest = std::max(largest, model.rows.size());
        if (model.rows.empty()) {
            model.add({0, 0, 0, "new top", "", 0, "", ""});
            db.AddGroup("new top", 0);
        }
    }
    // The steps must have reached the cases that they are for.
    EXPECT_GT(placed, steps / 40);
    EXPECT_GT(refused, steps / 40);
    EXPECT_GT(largest, 50u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSteps, ::testing::Values(1u, 2u, 3u, 4u, 5u, 6u));

}  // namespace
}  // namespace velmora
