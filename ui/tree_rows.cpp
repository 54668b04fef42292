#include "ui/tree_rows.h"

#include <unordered_set>
#include <utility>

#include "directory/child_index.h"

namespace velmora {
namespace {

/// A node that waits for its row.
struct Pending {
    const CGroupsDBNode* node;
    std::size_t parentRow;
    std::size_t depth;
};

/// The rows of one walk from the top down, on a stack of its own: chains can be as long as the
/// directory.
class Walk {
  public:
    explicit Walk(const DirectoryNodes& nodes) : index_(nodes) {}

    void push(const CGroupsDBNode& node, std::size_t parentRow, std::size_t depth) {
        // Id 0 means "none" everywhere, so a stray record of that number cannot be addressed; and a
        // node is met twice only in a cycle.
        if (node.id == 0 || depth >= kMaxTreeDepth || !seen_.insert(node.id).second) return;
        pending_.push_back({&node, parentRow, depth});
    }

    void pushChildren(std::uint32_t parent, std::size_t parentRow, std::size_t depth) {
        const auto children = index_.childrenOf(parent);
        // The stack reverses the order.
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            push(*child->node, parentRow, depth);
    }

    std::vector<TreeRow> rows() {
        std::vector<TreeRow> rows;
        while (!pending_.empty()) {
            const Pending next = pending_.back();
            pending_.pop_back();
            rows.push_back({next.node, next.parentRow});
            pushChildren(next.node->id, rows.size() - 1, next.depth + 1);
        }
        return rows;
    }

  private:
    ChildIndex index_;
    std::unordered_set<std::uint32_t> seen_;
    std::vector<Pending> pending_;
};

/// Null if there is none.
const CGroupsDBNode* find(const DirectoryNodes& nodes, std::uint32_t id) {
    const auto found = nodes.find(id);
    return found == nodes.end() ? nullptr : found->second.get();
}

/// The number of levels above a node; no more than the tree shows.
std::size_t levelsAbove(const DirectoryNodes& nodes, std::uint32_t id) {
    std::size_t levels = 0;
    const CGroupsDBNode* node = find(nodes, id);
    while (node != nullptr && node->parent != 0 && levels < kMaxTreeDepth) {
        node = find(nodes, node->parent);
        ++levels;
    }
    return levels;
}

/// The number of levels of a node and everything below it; no more than the tree shows.
std::size_t levelsOf(const DirectoryNodes& nodes, std::uint32_t top) {
    const ChildIndex index(nodes);
    std::unordered_set<std::uint32_t> seen{top};
    std::vector<std::uint32_t> level{top};
    std::size_t levels = 0;
    while (!level.empty() && levels < kMaxTreeDepth) {
        ++levels;
        std::vector<std::uint32_t> below;
        for (const std::uint32_t id : level)
            for (const auto& child : index.childrenOf(id))
                if (seen.insert(child.id).second) below.push_back(child.id);
        level = std::move(below);
    }
    return levels;
}

}  // namespace

std::vector<TreeRow> treeRows(const DirectoryNodes& nodes) {
    Walk walk(nodes);
    walk.pushChildren(0, TreeRow::kNoParent, 0);
    return walk.rows();
}

std::vector<TreeRow> treeRows(const DirectoryNodes& nodes, std::uint32_t top, std::size_t depth) {
    const CGroupsDBNode* node = find(nodes, top);
    if (node == nullptr) return {};
    Walk walk(nodes);
    walk.push(*node, TreeRow::kNoParent, depth);
    return walk.rows();
}

bool fitsBelow(const DirectoryNodes& nodes, std::uint32_t group) {
    return levelsAbove(nodes, group) + 1 < kMaxTreeDepth;
}

bool fitsBelow(const DirectoryNodes& nodes, std::uint32_t group, std::uint32_t source) {
    return levelsAbove(nodes, group) + levelsOf(nodes, source) < kMaxTreeDepth;
}

}  // namespace velmora
