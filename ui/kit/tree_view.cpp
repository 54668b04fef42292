#include "ui/kit/tree_view.h"

#include <cstring>

namespace velmora {

LRESULT TreeView::send(UINT message, WPARAM wParam, LPARAM lParam) const {
    return SendMessageA(control_, message, wParam, lParam);
}

HTREEITEM TreeView::next(UINT relation, HTREEITEM item) const {
    return reinterpret_cast<HTREEITEM>(
        send(TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
}

void TreeView::setImages(HIMAGELIST images) const {
    send(TVM_SETIMAGELIST, TVSIL_NORMAL, reinterpret_cast<LPARAM>(images));
}

void TreeView::setLeastIndent(int pixels) const {
    if (send(TVM_GETINDENT, 0, 0) < pixels) send(TVM_SETINDENT, static_cast<WPARAM>(pixels), 0);
}

void TreeView::clear() const {
    send(TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(TVI_ROOT));
}

HTREEITEM TreeView::append(HTREEITEM parent, const std::string& text, int image,
                           std::uint32_t data) const {
    TVINSERTSTRUCTA insert{};
    insert.hParent = parent;
    insert.hInsertAfter = TVI_LAST;
    insert.item.mask = TVIF_TEXT | TVIF_PARAM | TVIF_IMAGE | TVIF_SELECTEDIMAGE;
    insert.item.pszText = const_cast<char*>(text.c_str());  // read only
    insert.item.lParam = static_cast<LPARAM>(data);
    insert.item.iImage = image;
    insert.item.iSelectedImage = image;
    return reinterpret_cast<HTREEITEM>(send(TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert)));
}

void TreeView::erase(HTREEITEM item) const {
    send(TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(item));
}

void TreeView::setText(HTREEITEM item, const std::string& text) const {
    TVITEMA change{};
    change.mask = TVIF_HANDLE | TVIF_TEXT;
    change.hItem = item;
    change.pszText = const_cast<char*>(text.c_str());  // read only
    send(TVM_SETITEMA, 0, reinterpret_cast<LPARAM>(&change));
}

std::uint32_t TreeView::data(HTREEITEM item) const {
    TVITEMA query{};
    query.mask = TVIF_HANDLE | TVIF_PARAM;
    query.hItem = item;
    send(TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&query));
    return static_cast<std::uint32_t>(query.lParam);
}

HTREEITEM TreeView::parent(HTREEITEM item) const {
    return next(TVGN_PARENT, item);
}

HTREEITEM TreeView::selected() const {
    return next(TVGN_CARET, nullptr);
}

void TreeView::select(HTREEITEM item) const {
    send(TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(item));
}

void TreeView::reselect() const {
    const HTREEITEM item = selected();
    if (item == nullptr) return;
    select(item);
    send(TVM_ENSUREVISIBLE, 0, reinterpret_cast<LPARAM>(item));
}

void TreeView::expand(HTREEITEM item) const {
    send(TVM_EXPAND, TVE_EXPAND, reinterpret_cast<LPARAM>(item));
}

bool TreeView::isExpanded(HTREEITEM item) const {
    return (send(TVM_GETITEMSTATE, reinterpret_cast<WPARAM>(item), TVIS_EXPANDED) &
            TVIS_EXPANDED) != 0;
}

HTREEITEM TreeView::firstChild(HTREEITEM item) const {
    return item == nullptr ? next(TVGN_ROOT, nullptr) : next(TVGN_CHILD, item);
}

HTREEITEM TreeView::nextSibling(HTREEITEM item) const {
    return next(TVGN_NEXT, item);
}

std::size_t TreeView::depth(HTREEITEM item) const {
    std::size_t levels = 0;
    for (HTREEITEM above = parent(item); above != nullptr; above = parent(above))
        ++levels;
    return levels;
}

void TreeView::editLabel(HTREEITEM item) const {
    SetFocus(control_);
    send(TVM_EDITLABELA, 0, reinterpret_cast<LPARAM>(item));
}

HWND TreeView::editBox() const {
    return reinterpret_cast<HWND>(send(TVM_GETEDITCONTROL, 0, 0));
}

void TreeView::endEdit() const {
    send(TVM_ENDEDITLABELNOW, FALSE, 0);
}

HTREEITEM TreeView::itemAt(POINT point) const {
    TVHITTESTINFO hit{};
    hit.pt = point;
    const auto item =
        reinterpret_cast<HTREEITEM>(send(TVM_HITTEST, 0, reinterpret_cast<LPARAM>(&hit)));
    return (hit.flags & TVHT_ONITEM) != 0 ? item : nullptr;
}

RECT TreeView::textRect(HTREEITEM item) const {
    RECT rect{};
    // The message takes the item's handle from the area that it fills.
    std::memcpy(&rect, &item, sizeof item);  // NOLINT(bugprone-sizeof-expression)
    if (!send(TVM_GETITEMRECT, TRUE, reinterpret_cast<LPARAM>(&rect))) return {};
    return rect;
}

POINT TreeView::pointInDragImage(HTREEITEM item, POINT point) const {
    int pictureWidth = 0;
    int height = 0;
    const auto images = reinterpret_cast<HIMAGELIST>(send(TVM_GETIMAGELIST, TVSIL_NORMAL, 0));
    if (images != nullptr) ImageList_GetIconSize(images, &pictureWidth, &height);
    const RECT text = textRect(item);
    return {point.x - text.left + pictureWidth, point.y - text.top};
}

void TreeView::highlightDropTarget(HTREEITEM item) const {
    send(TVM_SELECTITEM, TVGN_DROPHILITE, reinterpret_cast<LPARAM>(item));
}

HTREEITEM TreeView::dropTarget() const {
    return next(TVGN_DROPHILITE, nullptr);
}

}  // namespace velmora
