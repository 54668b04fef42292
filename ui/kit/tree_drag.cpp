#include "ui/kit/tree_drag.h"

namespace velmora {
namespace {

constexpr UINT_PTR kTimer = 0x7D;
constexpr UINT kTimerMilliseconds = 60;
constexpr DWORD kExpandAfterMilliseconds = 700;
/// How near to the upper and lower edge the pointer makes the tree scroll, in pixels.
constexpr LONG kScrollZone = 12;

}  // namespace

void TreeDrag::begin(HWND owner, const TreeView& tree, HTREEITEM item, POINT grip,
                     const DropRules& rules) {
    cancel();
    owner_ = owner;
    tree_ = tree;
    item_ = item;
    point_ = grip;
    copy_ = false;
    rules_ = &rules;
    active_ = true;
    image_.reset(reinterpret_cast<HIMAGELIST>(
        SendMessageA(tree.control(), TVM_CREATEDRAGIMAGE, 0, reinterpret_cast<LPARAM>(item))));
    if (image_) {
        const RECT text = tree.textRect(item);
        ImageList_BeginDrag(image_.get(), 0, grip.x - text.left, grip.y - text.top);
        showImage();
    }
    SetCapture(owner);
    SetTimer(owner, kTimer, kTimerMilliseconds, nullptr);
}

void TreeDrag::move(POINT point, WPARAM keys) {
    if (!active_) return;
    MapWindowPoints(owner_, tree_.control(), &point, 1);
    point_ = point;
    copy_ = (keys & MK_CONTROL) != 0;
    if (imageShown_) ImageList_DragMove(point_.x, point_.y);
    follow();
}

bool TreeDrag::tick(WPARAM timer) {
    if (timer != kTimer) return false;
    if (active_) {
        scrollNearEdges();
        expandRestedOn();
    }
    return true;
}

std::optional<TreeDrag::Drop> TreeDrag::drop(POINT point, WPARAM keys) {
    if (!active_) return std::nullopt;
    move(point, keys);
    const Drop drop{item_, target_, copy_};
    cancel();
    if (drop.target == nullptr) return std::nullopt;
    return drop;
}

void TreeDrag::cancel() {
    if (!active_) return;
    // First, since giving the mouse back tells the owner that it has lost it.
    active_ = false;
    hideImage();
    if (image_) ImageList_EndDrag();
    image_.reset();
    tree_.highlightDropTarget(nullptr);
    target_ = nullptr;
    hovered_ = nullptr;
    KillTimer(owner_, kTimer);
    if (GetCapture() == owner_) ReleaseCapture();
}

void TreeDrag::showImage() {
    imageShown_ = image_ && ImageList_DragEnter(tree_.control(), point_.x, point_.y);
}

void TreeDrag::hideImage() {
    if (imageShown_) ImageList_DragLeave(tree_.control());
    imageShown_ = false;
}

void TreeDrag::follow() {
    const HTREEITEM below = tree_.itemAt(point_);
    if (below != hovered_) {
        hovered_ = below;
        hoveredSince_ = GetTickCount();
    }
    const bool takes = below != nullptr && rules_->takesDrop(item_, below, copy_);
    setTarget(takes ? below : nullptr);
    SetCursor(LoadCursorA(nullptr, takes ? IDC_ARROW : IDC_NO));
}

void TreeDrag::setTarget(HTREEITEM target) {
    target_ = target;
    // The tree itself may have marked the dragged item when it began.
    if (tree_.dropTarget() == target) return;
    // The picture is drawn over the tree, which must not draw below it.
    hideImage();
    tree_.highlightDropTarget(target);
    UpdateWindow(tree_.control());
    showImage();
}

void TreeDrag::scrollNearEdges() {
    RECT area{};
    GetClientRect(tree_.control(), &area);
    if (point_.x < area.left || point_.x >= area.right) return;
    const bool up = point_.y < area.top + kScrollZone && point_.y >= area.top - kScrollZone;
    const bool down = point_.y >= area.bottom - kScrollZone && point_.y < area.bottom + kScrollZone;
    if (!up && !down) return;
    hideImage();
    SendMessageA(tree_.control(), WM_VSCROLL, up ? SB_LINEUP : SB_LINEDOWN, 0);
    UpdateWindow(tree_.control());
    showImage();
    follow();
}

void TreeDrag::expandRestedOn() {
    if (hovered_ == nullptr || tree_.firstChild(hovered_) == nullptr ||
        tree_.isExpanded(hovered_) || GetTickCount() - hoveredSince_ < kExpandAfterMilliseconds)
        return;
    hideImage();
    tree_.expand(hovered_);
    UpdateWindow(tree_.control());
    showImage();
    follow();
}

}  // namespace velmora
