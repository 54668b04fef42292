#include "ui/checked_groups.h"

#include <algorithm>

#include "directory/groups_db.h"

namespace velmora {

void CheckedGroups::assign(const std::vector<std::uint32_t>& ids) {
    ids_.clear();
    for (const std::uint32_t id : ids)
        if (!contains(id)) ids_.push_back(id);
}

bool CheckedGroups::contains(std::uint32_t id) const noexcept {
    return std::find(ids_.begin(), ids_.end(), id) != ids_.end();
}

void CheckedGroups::change(std::uint32_t id, bool checked) {
    std::erase(ids_, id);
    if (checked) ids_.push_back(id);
}

void CheckedGroups::keepGroupsOf(const CGroupsDB& directory) {
    std::erase_if(ids_, [&](std::uint32_t id) { return directory.FindGroup(id) == nullptr; });
}

}  // namespace velmora
