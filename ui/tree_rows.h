#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "directory/directory_records.h"

namespace velmora {

/// One item of the tree view.
struct TreeRow {
    static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

    const CGroupsDBNode* node;
    std::size_t parentRow;  ///< position of the parent's row, which always comes earlier
};

/// The tree view recurses when it deletes items, on the stack of a caller we do not know; what lies
/// deeper than this below the top is not shown (it stays in the directory).
constexpr std::size_t kMaxTreeDepth = 500;

/// The whole tree in the order in which a tree view is filled: each item before its children,
/// children in ascending id. Records that cannot be reached from the top (missing parents, cycles)
/// have no row, and neither has one with the id 0.
std::vector<TreeRow> treeRows(const DirectoryNodes& nodes);

/// The same for one node and everything below it; `depth` is the number of levels above it. Empty
/// if the node does not exist.
std::vector<TreeRow> treeRows(const DirectoryNodes& nodes, std::uint32_t top, std::size_t depth);

/// Whether the tree can show a new child of `group`, or `source` with everything below it as one.
bool fitsBelow(const DirectoryNodes& nodes, std::uint32_t group);
bool fitsBelow(const DirectoryNodes& nodes, std::uint32_t group, std::uint32_t source);

}  // namespace velmora
