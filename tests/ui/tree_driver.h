#pragma once

#include <windows.h>

#include <commctrl.h>

#include <string>
#include <vector>

#include "ui/kit/tree_view.h"

namespace velmora::testing {

/// Reads and operates a tree view of this process from another thread. Items are named by their
/// path of texts, such as "All groups/Office/Laser".
class TreeDriver {
  public:
    explicit TreeDriver(HWND tree) : view_(tree) {}

    HWND window() const { return view_.control(); }
    const TreeView& view() const { return view_; }

    /// Null if there is none.
    HTREEITEM item(const std::string& path) const;
    std::string text(HTREEITEM item) const;
    /// All items in order, indented by one space for each level.
    std::vector<std::string> lines() const;
    /// The texts below an item.
    std::vector<std::string> children(const std::string& path) const;
    std::string selectedPath() const;
    int image(const std::string& path) const;

    void select(const std::string& path) const;
    void expandAll() const;
    /// The middle of an item's text, in the tree.
    POINT middle(const std::string& path) const;

    /// The label editor, once it is open.
    HWND editor() const;
    bool isEditing() const { return view_.isEditing(); }
    void waitUntilEdited() const;
    /// Replaces the editor's text and presses Enter.
    void enterLabel(const std::string& text) const;

  private:
    void addLines(HTREEITEM first, std::size_t level, std::vector<std::string>& lines) const;

    TreeView view_;
};

}  // namespace velmora::testing
