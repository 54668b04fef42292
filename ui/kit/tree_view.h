#pragma once

#include <windows.h>

#include <commctrl.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace velmora {

/// A tree view whose items carry a 32-bit number. Does not own the control. Texts are ANSI, of any
/// length.
class TreeView {
  public:
    explicit TreeView(HWND control = nullptr) noexcept : control_(control) {}

    HWND control() const noexcept { return control_; }

    void setImages(HIMAGELIST images) const;
    /// Sets the indent of each level to at least `pixels`.
    void setLeastIndent(int pixels) const;
    void clear() const;
    /// As the last child of `parent` (null: at the top).
    HTREEITEM append(HTREEITEM parent, const std::string& text, int image,
                     std::uint32_t data) const;
    void erase(HTREEITEM item) const;
    void setText(HTREEITEM item, const std::string& text) const;
    std::uint32_t data(HTREEITEM item) const;
    // Null at the ends.
    HTREEITEM parent(HTREEITEM item) const;
    /// Of null: the first item at the top.
    HTREEITEM firstChild(HTREEITEM item) const;
    HTREEITEM nextSibling(HTREEITEM item) const;
    HTREEITEM selected() const;
    /// Null: none.
    void select(HTREEITEM item) const;
    /// Selects the selected item, if any, again and scrolls it into view.
    void reselect() const;
    void expand(HTREEITEM item) const;
    bool isExpanded(HTREEITEM item) const;
    /// 0 for an item at the top.
    std::size_t depth(HTREEITEM item) const;

    /// Gives the tree the focus, which the editor needs, and opens it.
    void editLabel(HTREEITEM item) const;
    bool isEditing() const { return editBox() != nullptr; }
    HWND editBox() const;
    void endEdit() const;

    /// The item whose picture or text lies at a point of the control; null when none does.
    HTREEITEM itemAt(POINT point) const;
    /// Where an item's text is, in the control; empty when it is scrolled out of sight.
    RECT textRect(HTREEITEM item) const;
    /// Where a point of the control lies in the image that TVM_CREATEDRAGIMAGE makes of the item:
    /// its picture, and its text right of it.
    POINT pointInDragImage(HTREEITEM item, POINT point) const;
    void highlightDropTarget(HTREEITEM item) const;
    /// The highlighted item, null for none.
    HTREEITEM dropTarget() const;

  private:
    LRESULT send(UINT message, WPARAM wParam, LPARAM lParam) const;
    HTREEITEM next(UINT relation, HTREEITEM item) const;

    HWND control_;
};

}  // namespace velmora
