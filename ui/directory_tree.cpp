#include "ui/directory_tree.h"

#include <vector>

#include "directory/groups_db.h"
#include "platform/library.h"
#include "ui/group_tree_rules.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"
#include "ui/tree_rows.h"

namespace velmora {
namespace {

constexpr std::uint32_t kTopLevel = 0;
/// The indent of each level, in pixels at 96 dots per inch.
constexpr int kIndent = 19;

UniqueBitmap loadBitmap(int id) {
    // As a DIB section the strip keeps its 32 bits on a screen of any depth.
    return UniqueBitmap(static_cast<HBITMAP>(LoadImageA(currentModule(), MAKEINTRESOURCEA(id),
                                                        IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
}

/// The same pictures, drawn once for each size: stretched ones would be blurred.
struct Strip {
    int size;
    int images;
    int mask;
};

constexpr Strip kStrips[] = {
    {16, IDB_GROUPS_IMAGES, IDB_GROUPS_MASK},
    {24, IDB_GROUPS_IMAGES_24, IDB_GROUPS_MASK_24},
    {32, IDB_GROUPS_IMAGES_32, IDB_GROUPS_MASK_32},
};

/// The largest strip that is not larger than 16 pixels at 96 dots per inch are on this screen.
const Strip& stripForScreen() {
    const Strip* best = kStrips;
    for (const Strip& strip : kStrips)
        if (strip.size <= scaledPixels(kStrips[0].size)) best = &strip;
    return *best;
}

}  // namespace

TreeIcons::TreeIcons() {
    const Strip& strip = stripForScreen();
    list_.reset(ImageList_Create(strip.size, strip.size, ILC_COLOR32 | ILC_MASK, 8, 8));
    if (!list_) return;
    const UniqueBitmap images = loadBitmap(strip.images);
    const UniqueBitmap mask = loadBitmap(strip.mask);
    ImageList_Add(list_.get(), images.get(), mask.get());
}

void DirectoryTree::attach(HWND control) {
    view_ = TreeView(control);
    view_.setImages(icons_.list());
    // Rows and pictures follow the screen; the default indent need not.
    view_.setLeastIndent(scaledPixels(kIndent));
}

void DirectoryTree::fill() {
    const RedrawPause pause(view_.control());
    view_.clear();
    items_.clear();
    const std::vector<TreeRow> rows = treeRows(directory_.nodes());
    std::vector<HTREEITEM> items;
    items.reserve(rows.size());
    for (const TreeRow& row : rows) {
        const bool top = row.parentRow == TreeRow::kNoParent;
        items.push_back(append(top ? nullptr : items[row.parentRow], *row.node));
        // A damaged directory may have more than one record without a parent; the root is the one
        // that represents the whole.
        if (top && row.node->id == kRootGroup) items_[kTopLevel] = items.back();
    }
    view_.select(nullptr);
}

void DirectoryTree::insert(std::uint32_t id, std::uint32_t parent) {
    const HTREEITEM parentItem = item(parent);
    if (parentItem == nullptr) return;
    const RedrawPause pause(view_.control());
    std::vector<HTREEITEM> items;
    for (const TreeRow& row : treeRows(directory_.nodes(), id, view_.depth(parentItem) + 1)) {
        const bool top = row.parentRow == TreeRow::kNoParent;
        items.push_back(append(top ? parentItem : items[row.parentRow], *row.node));
    }
}

void DirectoryTree::erase(std::uint32_t id) {
    const HTREEITEM gone = item(id);
    if (gone == nullptr) return;
    std::vector<HTREEITEM> pending{gone};
    while (!pending.empty()) {
        const HTREEITEM next = pending.back();
        pending.pop_back();
        items_.erase(view_.data(next));
        for (HTREEITEM child = view_.firstChild(next); child != nullptr;
             child = view_.nextSibling(child))
            pending.push_back(child);
    }
    view_.erase(gone);
}

void DirectoryTree::refreshName(std::uint32_t id) const {
    const CGroupsDBNode* node = directory_.FindNode(id);
    if (node != nullptr && item(id) != nullptr) view_.setText(item(id), node->name);
}

HTREEITEM DirectoryTree::item(std::uint32_t id) const {
    const auto found = items_.find(id);
    return found == items_.end() ? nullptr : found->second;
}

CGroupsDBNode* DirectoryTree::node(HTREEITEM item) const {
    return item == nullptr ? nullptr : directory_.FindNode(view_.data(item));
}

bool DirectoryTree::isTopLevel(HTREEITEM item) const {
    return item != nullptr && item == this->item(kTopLevel);
}

HTREEITEM DirectoryTree::append(HTREEITEM parent, const CGroupsDBNode& node) {
    const int image = node.type == NODE_PRINTER ? TreeIcons::kPrinter : TreeIcons::kGroup;
    const HTREEITEM item = view_.append(parent, node.name, image, node.id);
    items_[node.id] = item;
    return item;
}

}  // namespace velmora
