#include "ui/node_placement.h"

#include <algorithm>

#include "directory/groups_db.h"
#include "ui/group_tree_rules.h"
#include "ui/tree_rows.h"

namespace velmora {
namespace {

std::vector<CGroupsDBNode*> sourcesOf(const CGroupsDB& directory, const NodeClipboard& clipboard) {
    if (clipboard.empty()) return {};
    std::vector<CGroupsDBNode*> sources;
    if (*clipboard.node() == NodeClipboard::kWholeContent) {
        directory.GetChildren(0, sources);
    } else if (CGroupsDBNode* node = directory.FindNode(*clipboard.node())) {
        sources.push_back(node);
    }
    return sources;
}

NodePlacement::Verdict verdictOfDepth(const CGroupsDB& directory, const NodePlacement& placement) {
    const bool fits =
        std::all_of(placement.sources.begin(), placement.sources.end(), [&](std::uint32_t source) {
            return fitsBelow(directory.nodes(), placement.target, source);
        });
    return fits ? NodePlacement::Verdict::allowed : NodePlacement::Verdict::tooDeep;
}

}  // namespace

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

NodePlacement planPaste(const CGroupsDB& directory, const NodeClipboard& clipboard,
                        std::uint32_t selected) {
    if (directory.FindGroup(selected) == nullptr) return {};
    const std::vector<CGroupsDBNode*> sources = sourcesOf(directory, clipboard);
    if (sources.empty()) return {};

    NodePlacement placement;
    placement.move = clipboard.isCut();
    placement.target = selected;
    for (const CGroupsDBNode* source : sources)
        placement.sources.push_back(source->id);
    const bool allowed = std::all_of(
        sources.begin(), sources.end(),
        [&](const CGroupsDBNode* source) { return directory.CanPlace(*source, selected); });
    placement.verdict =
        allowed ? verdictOfDepth(directory, placement) : NodePlacement::Verdict::cannotCopy;
    return placement;
}

NodePlacement planDrop(const CGroupsDB& directory, std::uint32_t source, std::uint32_t target,
                       bool copy) {
    const CGroupsDBNode* node = directory.FindNode(source);
    if (node == nullptr || source == target || directory.FindGroup(target) == nullptr ||
        node->parent == target)
        return {};

    NodePlacement placement;
    placement.move = !copy;
    placement.target = target;
    placement.sources = {source};
    if (directory.CanPlace(*node, target))
        placement.verdict = verdictOfDepth(directory, placement);
    else
        placement.verdict =
            copy ? NodePlacement::Verdict::cannotCopy : NodePlacement::Verdict::cannotMove;
    return placement;
}

std::vector<std::uint32_t> carryOut(const NodePlacement& placement, CGroupsDB& directory) {
    if (placement.verdict != NodePlacement::Verdict::allowed) return {};
    std::vector<std::uint32_t> placed;
    for (const std::uint32_t id : placement.sources) {
        CGroupsDBNode* source = directory.FindNode(id);
        if (source == nullptr) continue;
        if (placement.move) {
            SetNodeParent(*source, placement.target);
            placed.push_back(id);
        } else {
            placed.push_back(directory.CopySubtree(*source, placement.target)->id);
        }
    }
    return placed;
}

}  // namespace velmora
