#pragma once

#include <cstdint>
#include <map>

#include "ui/kit/tree_view.h"
#include "ui/kit/user_objects.h"

namespace velmora {

class CGroupsDB;
struct CGroupsDBNode;

/// The pictures of groups and printers, for trees.
class TreeIcons {
  public:
    // Positions in the strip (ui/resources/tree_icons.txt).
    static constexpr int kGroup = 0;
    static constexpr int kPrinter = 1;

    TreeIcons();

    /// Null if the image list could not be created; trees then show no pictures.
    HIMAGELIST list() const noexcept { return list_.get(); }

  private:
    UniqueImageList list_;
};

/// The printer directory in a tree view: which item shows which node. Reads the directory, never
/// changes it; items are changed after the directory has been.
class DirectoryTree {
  public:
    explicit DirectoryTree(const CGroupsDB& directory) noexcept : directory_(directory) {}

    /// Attaches to a tree view, which must outlive the calls below, and sets its pictures.
    void attach(HWND control);
    const TreeView& view() const noexcept { return view_; }

    /// Shows the whole directory, with nothing selected.
    void fill();
    /// Shows a node with everything below it as the last child of the item of `parent`.
    void insert(std::uint32_t id, std::uint32_t parent);
    /// Removes an item with everything below it.
    void erase(std::uint32_t id);
    /// Shows the node's current name.
    void refreshName(std::uint32_t id) const;

    /// Null when the node is not shown.
    HTREEITEM item(std::uint32_t id) const;
    /// The node of an item (null: no item); null also if the directory does not have it.
    CGroupsDBNode* node(HTREEITEM item) const;
    CGroupsDBNode* selectedNode() const { return node(view_.selected()); }
    /// The item that represents the whole directory.
    bool isTopLevel(HTREEITEM item) const;

  private:
    HTREEITEM append(HTREEITEM parent, const CGroupsDBNode& node);

    const CGroupsDB& directory_;
    TreeView view_;
    TreeIcons icons_;
    /// Items by node id; key 0 is the top-level item, too.
    std::map<std::uint32_t, HTREEITEM> items_;
};

}  // namespace velmora
