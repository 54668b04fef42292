#pragma once

#include <windows.h>

#include <commctrl.h>

#include <optional>

#include "ui/kit/tree_view.h"
#include "ui/kit/user_objects.h"

namespace velmora {

/// Where a dragged item may be dropped.
class DropRules {
  public:
    virtual ~DropRules() = default;
    /// Whether `item` may be dropped on `target`; called for every move of the pointer.
    virtual bool takesDrop(HTREEITEM item, HTREEITEM target, bool copy) const = 0;
};

/// Dragging one item of a tree view with the left button, as in the shell: the item's picture
/// follows the pointer, which shows a plus while Control is held, the item below the pointer is
/// highlighted when it takes the drop, the tree scrolls near its edges, and a group that the
/// pointer rests on opens. The window that has the mouse meanwhile passes its messages on.
class TreeDrag {
  public:
    struct Drop {
        HTREEITEM item;
        HTREEITEM target;
        bool copy;  ///< Control was held when the button was released
    };

    TreeDrag() = default;
    TreeDrag(const TreeDrag&) = delete;
    TreeDrag& operator=(const TreeDrag&) = delete;
    ~TreeDrag() { cancel(); }

    bool active() const noexcept { return active_; }

    /// `owner` gets the mouse and the timer; `grip`: where the pointer holds the item, in the tree.
    /// `rules` must outlive the drag.
    void begin(HWND owner, const TreeView& tree, HTREEITEM item, POINT grip,
               const DropRules& rules);

    /// For the owner's WM_MOUSEMOVE (`point` in the owner, `keys` as the message has them).
    void move(POINT point, WPARAM keys);
    /// For the owner's WM_TIMER: true when the timer was this drag's.
    bool tick(WPARAM timer);
    /// For the owner's WM_LBUTTONUP: ends the drag; the drop, or none if nothing below the pointer
    /// takes it.
    std::optional<Drop> drop(POINT point, WPARAM keys);
    /// Ends the drag without a drop.
    void cancel();

  private:
    void showImage();
    void hideImage();
    void follow();
    void setTarget(HTREEITEM target);
    void scrollNearEdges();
    void expandRestedOn();

    bool active_ = false;
    HWND owner_ = nullptr;
    TreeView tree_;
    HTREEITEM item_ = nullptr;
    HTREEITEM target_ = nullptr;   ///< highlighted
    HTREEITEM hovered_ = nullptr;  ///< below the pointer, whether it takes the drop or not
    DWORD hoveredSince_ = 0;       ///< GetTickCount
    POINT point_{};                ///< of the pointer, in the tree
    bool copy_ = false;
    const DropRules* rules_ = nullptr;
    UniqueImageList image_;
    UniqueCursor copyPointer_;
    bool imageShown_ = false;
};

}  // namespace velmora
