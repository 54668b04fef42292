#include "ui/node_clipboard.h"

#include "ui/group_tree_rules.h"

namespace velmora {

void NodeClipboard::cut(std::uint32_t id) noexcept {
    if (id == kRootGroup) return;
    node_ = id;
    cut_ = true;
}

void NodeClipboard::copy(std::uint32_t id) noexcept {
    node_ = id == kRootGroup ? kWholeContent : id;
    cut_ = false;
}

void NodeClipboard::pasted() noexcept {
    if (isCut()) clear();
}

}  // namespace velmora
