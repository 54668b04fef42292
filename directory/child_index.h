#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "directory/groups_db.h"

namespace velmora {

/// The records of a tree by parent, and by ascending id below a parent. For walks of many steps,
/// where a scan of the whole tree for every group would make the time grow with the square.
class ChildIndex {
  public:
    explicit ChildIndex(const CGroupsDB::Nodes& nodes) {
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

/// Every printer below `group`, depth first, each once: CGroupsDB::CollectPrinters for callers that
/// ask for many groups.
std::vector<CGroupsDBPrinter*> printersBelow(const ChildIndex& index, std::uint32_t group);

}  // namespace velmora
