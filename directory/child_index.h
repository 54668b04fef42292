#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "directory/directory_records.h"

namespace velmora {

/// The records of a tree by parent, and by ascending id below a parent. For walks of many steps,
/// where a scan of the whole tree for every group would make the time grow with the square.
class ChildIndex {
  public:
    explicit ChildIndex(const DirectoryNodes& nodes) {
        entries_.reserve(nodes.size());
        for (const auto& [id, node] : nodes)
            entries_.push_back({node->parent, id, node.get()});
        std::ranges::sort(entries_, {}, [](const Entry& entry) {
            return std::uint64_t{entry.parent} << 32 | entry.id;
        });
    }

    struct Entry {
        std::uint32_t parent;
        std::uint32_t id;
        CGroupsDBNode* node;
    };

    std::span<const Entry> childrenOf(std::uint32_t parent) const {
        const auto first = std::ranges::lower_bound(entries_, parent, {}, &Entry::parent);
        const auto last = std::find_if_not(
            first, entries_.end(), [parent](const Entry& entry) { return entry.parent == parent; });
        return {first, last};
    }

  private:
    std::vector<Entry> entries_;
};

/// How many printers CGroupsDB::CollectPrinters finds below each group, by the group's id. One
/// pass, whatever the depth, for callers that ask for all groups.
std::unordered_map<std::uint32_t, std::size_t> printerCounts(const DirectoryNodes& nodes);

}  // namespace velmora
