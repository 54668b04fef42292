#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace velmora {

class CGroupsDB;

/// The clipboard of one printer groups page: which node was cut or copied. Independent of the
/// system's clipboard.
class NodeClipboard {
  public:
    /// The nodes at the top of the tree: what copying "All groups" copies.
    static constexpr std::uint32_t kWholeContent = 0;

    /// Does nothing for the root group, which cannot be cut.
    void cut(std::uint32_t id) noexcept;
    void copy(std::uint32_t id) noexcept;
    void clear() noexcept { node_.reset(); }
    /// After a paste, accepted or refused: a cut node is forgotten, a copied one stays.
    void pasted() noexcept;

    bool empty() const noexcept { return !node_; }
    bool isCut() const noexcept { return node_ && cut_; }
    /// A node or kWholeContent; none if empty.
    std::optional<std::uint32_t> node() const noexcept { return node_; }

  private:
    std::optional<std::uint32_t> node_;
    bool cut_ = false;
};

/// What a paste or a drop will do, decided before anything is changed.
struct NodePlacement {
    enum class Verdict {
        nothing,     ///< no target, no source, or no change: silent
        cannotCopy,  ///< refused, with the message for copying
        cannotMove,  ///< refused, with the message for moving
        tooDeep,     ///< refused: the tree would not show all of it
        allowed,
    };

    Verdict verdict = Verdict::nothing;
    bool move = false;
    std::uint32_t target = 0;            ///< a group
    std::vector<std::uint32_t> sources;  ///< nodes, each with everything below it
};

/// Pasting into the selected node. The message about a refused paste is the one for copying, even
/// after a cut.
NodePlacement planPaste(const CGroupsDB& directory, const NodeClipboard& clipboard,
                        std::uint32_t selected);

/// Dropping `source` on `target`: nothing on itself, on a printer, or on the group it is in.
NodePlacement planDrop(const CGroupsDB& directory, std::uint32_t source, std::uint32_t target,
                       bool copy);

/// Carries out an allowed placement. Returns the ids of what is now in the target, in the same
/// order: the sources themselves after a move, otherwise their copies.
std::vector<std::uint32_t> carryOut(const NodePlacement& placement, CGroupsDB& directory);

}  // namespace velmora
