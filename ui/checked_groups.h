#pragma once

#include <cstdint>
#include <vector>

namespace velmora {

class CGroupsDB;

/// The printer groups that are ticked for a port, in the order in which the user ticked them.
class CheckedGroups {
  public:
    const std::vector<std::uint32_t>& ids() const noexcept { return ids_; }
    /// A group that is listed twice counts at its first place.
    void assign(const std::vector<std::uint32_t>& ids);

    bool contains(std::uint32_t id) const noexcept;
    /// The user's tick or untick. A group that is ticked again moves to the end.
    void change(std::uint32_t id, bool checked);
    /// Drops what the directory no longer has as a group: its identifiers are given out again.
    void keepGroupsOf(const CGroupsDB& directory);

  private:
    std::vector<std::uint32_t> ids_;
};

}  // namespace velmora
