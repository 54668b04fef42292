#pragma once

#include <cstdint>
#include <vector>

#include "directory/groups_db.h"
#include "ui/node_clipboard.h"

namespace velmora {

/// What a paste or a drop will do, decided before anything is changed.
struct NodePlacement {
    enum class Verdict {
        nothing,     ///< no target, no source, or no change: silent
        cannotCopy,  ///< refused, with the message for copying
        cannotMove,  ///< refused, with the message for moving
        allowed,
    };

    Verdict verdict = Verdict::nothing;
    bool move = false;
    std::uint32_t target = 0;            ///< a group
    std::vector<std::uint32_t> sources;  ///< nodes, each with everything below it
};

/// Pasting into the selected node. A refused paste speaks of copying even after a cut.
NodePlacement planPaste(const CGroupsDB& directory, const NodeClipboard& clipboard,
                        std::uint32_t selected);

/// Dropping `source` on `target`: nothing on itself, on a printer, or on the group it is in.
NodePlacement planDrop(const CGroupsDB& directory, std::uint32_t source, std::uint32_t target,
                       bool copy);

/// Carries out an allowed placement; the ids that now stand in the target for the sources, in the
/// same order (the sources themselves after a move, their copies otherwise).
std::vector<std::uint32_t> carryOut(const NodePlacement& placement, CGroupsDB& directory);

}  // namespace velmora
