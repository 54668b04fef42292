// How the printer groups page handles its tree's notifications and the mouse. The tree view sends
// notifications in the middle of its work, and a dialog, a message box or another label edit opened
// from there would re-enter it; those are posted.

#include <windowsx.h>

#include "directory/directory_records.h"
#include "platform/library.h"
#include "ui/group_tree_rules.h"
#include "ui/kit/user_objects.h"
#include "ui/page_printer_groups.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

/// Posted to the page: show the message about a refused label, then open the editor again.
constexpr UINT kReopenLabel = WM_APP + 1;
constexpr UINT_PTR kReopenTimer = 0x7E;
constexpr UINT kReopenMilliseconds = 50;

/// The size of a tree view's own label buffers, with the terminator.
constexpr std::size_t kTreeLabel = 260;

POINT pointOf(LPARAM position) {
    return {GET_X_LPARAM(position), GET_Y_LPARAM(position)};
}

}  // namespace

std::optional<LRESULT> CPagePrinterGroups::onNotify(NMHDR& header) {
    if (header.idFrom == IDC_GROUPS_TREE) {
        if (const auto result = treeNotify(header)) return result;
    }
    return PropertyPage::onNotify(header);
}

std::optional<LRESULT> CPagePrinterGroups::treeNotify(NMHDR& header) {
    switch (header.code) {
        case static_cast<UINT>(TVN_SELCHANGEDA):
            applyButtons();
            return 0;
        case static_cast<UINT>(TVN_BEGINLABELEDITA):
            return beginLabelEdit(reinterpret_cast<const NMTVDISPINFOA&>(header));
        case static_cast<UINT>(TVN_ENDLABELEDITA):
            return endLabelEdit(reinterpret_cast<const NMTVDISPINFOA&>(header));
        case static_cast<UINT>(TVN_KEYDOWN):
            keyDown(reinterpret_cast<const NMTVKEYDOWN&>(header).wVKey);
            return 0;
        case static_cast<UINT>(TVN_BEGINDRAGA):
            beginDrag(reinterpret_cast<const NMTREEVIEWA&>(header));
            return 0;
        default:
            return std::nullopt;
    }
}

LRESULT CPagePrinterGroups::beginLabelEdit(const NMTVDISPINFOA& info) {
    const CGroupsDBNode* node = tree_.node(info.item.hItem);
    if (refusedLabel_ || node == nullptr || tree_.isTopLevel(info.item.hItem) || !canRename(*node))
        return TRUE;
    edit_.open(view().editBox(), node->name, kLongestDirectoryText);
    return FALSE;
}

LRESULT CPagePrinterGroups::endLabelEdit(const NMTVDISPINFOA& info) {
    const bool entered = info.item.pszText != nullptr;
    std::optional<std::string> text;
    if (entered) text = edit_.window() != nullptr ? edit_.text() : std::string(info.item.pszText);
    edit_.detach();

    const CGroupsDBNode* node = tree_.node(info.item.hItem);
    if (node == nullptr) return FALSE;
    if (entered && !text) {
        refuseLabel(node->id, host().outsideCodePage());
        return FALSE;
    }
    if (renameNode(directory_, node->id, text) == RenameOutcome::duplicate) {
        refuseLabel(node->id, LoadMessage(IDS_NAME_EXISTS));
        return FALSE;
    }
    // FALSE keeps the old label. TRUE accepts the typed text, but only the beginning of a long one.
    if (!text || text->empty()) return FALSE;
    if (text->size() < kTreeLabel) return TRUE;
    tree_.refreshName(node->id);
    return FALSE;
}

void CPagePrinterGroups::refuseLabel(std::uint32_t id, std::string message) {
    refusedLabel_ = RefusedLabel{id, std::move(message)};
    PostMessageA(window(), kReopenLabel, 0, 0);
}

void CPagePrinterGroups::reopenRefusedLabel() {
    if (!refusedLabel_) return;
    // The message must not open over a dialog that another part of the sheet has opened.
    if (!IsWindowEnabled(GetAncestor(window(), GA_ROOT))) {
        SetTimer(window(), kReopenTimer, kReopenMilliseconds, nullptr);
        return;
    }
    KillTimer(window(), kReopenTimer);
    showMessage(refusedLabel_->message);
    const std::uint32_t id = refusedLabel_->id;
    refusedLabel_.reset();
    if (const HTREEITEM item = tree_.item(id)) view().editLabel(item);
}

void CPagePrinterGroups::keyDown(WORD key) const {
    const auto post = [this](int command) {
        PostMessageA(window(), WM_COMMAND, static_cast<WPARAM>(command), 0);
    };
    // Not the Applications key: it causes a WM_CONTEXTMENU.
    if (key == VK_DELETE) post(ID_GROUPS_DELETE);
    if (key == VK_F2) post(ID_GROUPS_RENAME);
}

std::optional<LRESULT> CPagePrinterGroups::onMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CONTEXTMENU) return contextMenu(reinterpret_cast<HWND>(wParam), lParam);
    if (message == kReopenLabel || (message == WM_TIMER && wParam == kReopenTimer)) {
        reopenRefusedLabel();
        return 0;
    }
    if (const auto result = dragMessage(message, wParam, lParam)) return result;
    return PropertyPage::onMessage(message, wParam, lParam);
}

std::optional<LRESULT> CPagePrinterGroups::contextMenu(HWND source, LPARAM position) {
    if (source != view().control()) return std::nullopt;
    if (drag_.active() || refusedLabel_) return 0;
    // From the keyboard the position is -1.
    if (position == -1) {
        const HTREEITEM item = view().selected();
        if (item == nullptr) return 0;
        view().reselect();
        const RECT text = view().textRect(item);
        POINT below{text.left, text.bottom};
        ClientToScreen(view().control(), &below);
        showMenu(item, below);
        return 0;
    }
    const POINT screen = pointOf(position);
    POINT point = screen;
    ScreenToClient(view().control(), &point);
    if (const HTREEITEM item = view().itemAt(point)) showMenu(item, screen);
    return 0;
}

void CPagePrinterGroups::showMenu(HTREEITEM item, POINT screen) {
    const CGroupsDBNode* node = tree_.node(item);
    const auto kind = node == nullptr ? std::nullopt : groupsPageMenu(*node);
    if (!kind) return;
    const UniqueMenu menus(LoadMenuA(currentModule(), MAKEINTRESOURCEA(IDR_GROUPS_MENU)));
    const HMENU menu = GetSubMenu(menus.get(), static_cast<int>(*kind));
    if (menu == nullptr) return;
    CTextTable("PagePrinterGroupsMenu").TranslateMenu(menu);
    if (clipboard_.empty()) EnableMenuItem(menu, ID_GROUPS_PASTE, MF_BYCOMMAND | MF_GRAYED);
    view().select(item);
    TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_TOPALIGN | TPM_RIGHTBUTTON, screen.x, screen.y, 0,
                   window(), nullptr);
}

void CPagePrinterGroups::beginDrag(const NMTREEVIEWA& info) {
    if (refusedLabel_) return;
    view().select(info.itemNew.hItem);
    // Escape goes to the control with the focus, and not every tree takes the focus when a drag
    // begins.
    SetFocus(view().control());
    keys_.wantEscape(true);
    drag_.begin(window(), view(), info.itemNew.hItem, info.ptDrag, *this);
}

std::optional<LRESULT> CPagePrinterGroups::dragMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_TIMER && drag_.tick(wParam)) return 0;
    if (rightHeld_ && (message == WM_RBUTTONUP || message == WM_CAPTURECHANGED)) {
        rightHeld_ = false;
        if (message == WM_RBUTTONUP) ReleaseCapture();
        return 0;
    }
    if (!drag_.active()) return std::nullopt;
    switch (message) {
        case WM_MOUSEMOVE:
            drag_.move(pointOf(lParam), wParam);
            return 0;
        case WM_LBUTTONUP: {
            const auto dropped = drag_.drop(pointOf(lParam), wParam);
            endDrag();
            if (dropped) drop(*dropped);
            return 0;
        }
        case WM_KEYDOWN:
            if (wParam != VK_ESCAPE) return std::nullopt;
            endDrag();
            return 0;
        case WM_RBUTTONDOWN:
            endDrag();
            // The tree would open a context menu when the button is released.
            SetCapture(window());
            rightHeld_ = true;
            return 0;
        case WM_CAPTURECHANGED:
            endDrag();
            return 0;
        default:
            return std::nullopt;
    }
}

void CPagePrinterGroups::endDrag() {
    drag_.cancel();
    keys_.wantEscape(false);
}

bool CPagePrinterGroups::takesDrop(HTREEITEM item, HTREEITEM target, bool copy) const {
    // A drop that will be refused with a message is accepted too, so that the message appears.
    return planDrop(directory_, view().data(item), view().data(target), copy).verdict !=
           NodePlacement::Verdict::nothing;
}

void CPagePrinterGroups::drop(const TreeDrag::Drop& drop) {
    const std::uint32_t source = view().data(drop.item);
    const NodePlacement placement =
        planDrop(directory_, source, view().data(drop.target), drop.copy);
    if (!place(placement) || !placement.move) return;
    if (const HTREEITEM item = tree_.item(source)) view().select(item);
}

}  // namespace velmora
