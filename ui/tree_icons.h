#pragma once

#include "ui/kit/user_objects.h"

namespace velmora {

/// The pictures of groups and printers, for trees.
class TreeIcons {
  public:
    // Positions in the strip (ui/resources/tree_icons.txt).
    static constexpr int kGroup = 0;
    static constexpr int kPrinter = 1;

    TreeIcons();

    /// Null when it could not be made; trees then show no pictures.
    HIMAGELIST list() const noexcept { return list_.get(); }

  private:
    UniqueImageList list_;
};

}  // namespace velmora
