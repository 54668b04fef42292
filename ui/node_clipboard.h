#pragma once

#include <cstdint>
#include <optional>

namespace velmora {

/// The clipboard of one printer groups page: which node was cut or copied. It has nothing to do
/// with the system's clipboard.
class NodeClipboard {
  public:
    /// Stands for everything at the top of the tree: what copying "All groups" means.
    static constexpr std::uint32_t kWholeContent = 0;

    /// The root group cannot be cut: nothing happens.
    void cut(std::uint32_t id) noexcept;
    void copy(std::uint32_t id) noexcept;
    void clear() noexcept { node_.reset(); }
    /// After a paste, done or refused: what was cut is pasted once, a copy stays.
    void pasted() noexcept;

    bool empty() const noexcept { return !node_; }
    bool isCut() const noexcept { return node_ && cut_; }
    /// A node or kWholeContent; none when empty.
    std::optional<std::uint32_t> node() const noexcept { return node_; }

  private:
    std::optional<std::uint32_t> node_;
    bool cut_ = false;
};

}  // namespace velmora
