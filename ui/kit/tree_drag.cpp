#include "ui/kit/tree_drag.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "platform/library.h"

namespace velmora {
namespace {

constexpr UINT_PTR kTimer = 0x7D;
constexpr UINT kTimerMilliseconds = 60;
constexpr DWORD kExpandAfterMilliseconds = 700;
/// The distance from the upper and lower edge at which the pointer makes the tree scroll, in
/// pixels.
constexpr LONG kScrollZone = 12;

/// The platform does not offer a pointer for copying. "#" is black, "." white.
constexpr const char* kCopyPointer[] = {
    "#",
    "##",
    "#.#",
    "#..#",
    "#...#",
    "#....#",
    "#.....#",
    "#......#",
    "#.......#",
    "#........#",
    "#.....#####",
    "#..#..#",
    "#.# #..#",
    "##  #..#",
    "#    #..# ###########",
    "     #..# #.........#",
    "      #..##....#....#",
    "      #..##....#....#",
    "       ## #....#....#",
    "          #.#######.#",
    "          #....#....#",
    "          #....#....#",
    "          #....#....#",
    "          #.........#",
    "          ###########",
};

UniqueCursor makeCopyPointer() {
    // Windows stretches the pointer if it wants another size.
    constexpr int kSize = 32;
    constexpr int kRowBytes = kSize / 8;
    std::array<std::uint8_t, kSize * kRowBytes> transparent;
    std::array<std::uint8_t, kSize * kRowBytes> white{};
    transparent.fill(0xFF);
    int row = 0;
    for (const std::string_view line : kCopyPointer) {
        for (std::size_t x = 0; x < line.size(); ++x) {
            const std::size_t at = static_cast<std::size_t>(row * kRowBytes) + x / 8;
            const int bit = 0x80 >> (x % 8);
            if (line[x] != ' ') transparent[at] = static_cast<std::uint8_t>(transparent[at] & ~bit);
            if (line[x] == '.') white[at] = static_cast<std::uint8_t>(white[at] | bit);
        }
        ++row;
    }
    return UniqueCursor(
        CreateCursor(currentModule(), 0, 0, kSize, kSize, transparent.data(), white.data()));
}

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
    if (!copyPointer_) copyPointer_ = makeCopyPointer();
    active_ = true;
    image_.reset(reinterpret_cast<HIMAGELIST>(
        SendMessageA(tree.control(), TVM_CREATEDRAGIMAGE, 0, reinterpret_cast<LPARAM>(item))));
    if (image_) {
        const POINT held = tree.pointInDragImage(item, grip);
        // Not every tree view gives an image that can be dragged.
        if (ImageList_BeginDrag(image_.get(), 0, held.x, held.y))
            showImage();
        else
            image_.reset();
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
        // The pointer shows a copy as soon as Control is held, moved or not.
        const bool copy = GetKeyState(VK_CONTROL) < 0;
        if (copy != copy_) {
            copy_ = copy;
            follow();
        }
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
    // First, because releasing the capture sends WM_CAPTURECHANGED to the owner.
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
    if (!takes)
        SetCursor(LoadCursorA(nullptr, IDC_NO));
    else if (copy_ && copyPointer_)
        SetCursor(copyPointer_.get());
    else
        SetCursor(LoadCursorA(nullptr, IDC_ARROW));
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
