#include "ui/page_printer_groups.h"

#include "directory/groups_db.h"
#include "platform/library.h"
#include "ui/dialog_printer.h"
#include "ui/group_tree_rules.h"
#include "ui/help_window.h"
#include "ui/interface_host.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"
#include "ui/tree_rows.h"

namespace velmora {
namespace {

constexpr const char* kSection = "PagePrinterGroups";

HACCEL loadAccelerators() {
    return LoadAcceleratorsA(currentModule(), MAKEINTRESOURCEA(IDR_GROUPS_ACCELERATORS));
}

}  // namespace

CPagePrinterGroups::CPagePrinterGroups(CGroupsDB& directory)
    : PropertyPage(IDD_PRINTER_GROUPS, interfaceHost(), CTextTable(kSection).Lookup(kSection)),
      directory_(directory),
      texts_(kSection),
      tree_(directory),
      keys_(loadAccelerators(), ID_GROUPS_PROPERTIES) {}

void CPagePrinterGroups::onInit() {
    PropertyPage::onInit();
    texts_.TranslateWindow(window());
    clipboard_.clear();
    tree_.attach(control(IDC_GROUPS_TREE));
    keys_.attach(control(IDC_GROUPS_TREE));
    tree_.fill();
}

void CPagePrinterGroups::onHelp(int control) {
    showHelp(window(), control, printerGroupsHelp());
}

bool CPagePrinterGroups::onCommand(int id, int code) {
    // Keys reach the tree during a drag too; a dragged item must not be deleted.
    if (drag_.active()) return true;
    // The button that takes the focus from a label's editor ends the edit. If the label is refused,
    // nothing else happens until the user has read why and corrected it.
    if (refusedLabel_) return true;
    // Buttons also report focus changes, with other notification codes.
    if (id >= IDC_GROUPS_NEW_GROUP && id <= IDC_GROUPS_PROPERTIES && code != BN_CLICKED)
        return PropertyPage::onCommand(id, code);
    // The item that a menu or key applies to may have been scrolled out of sight.
    if (id >= ID_GROUPS_CUT && id <= ID_GROUPS_PROPERTIES) view().reselect();
    switch (id) {
        case IDC_GROUPS_NEW_GROUP:
        case ID_GROUPS_NEW_GROUP:
            newGroup();
            return true;
        case IDC_GROUPS_NEW_PRINTER:
        case ID_GROUPS_NEW_PRINTER:
            newPrinter();
            return true;
        case IDC_GROUPS_DELETE:
        case ID_GROUPS_DELETE:
            deleteNode();
            return true;
        case IDC_GROUPS_PROPERTIES:
        case ID_GROUPS_PROPERTIES:
            showProperties();
            return true;
        case ID_GROUPS_RENAME:
            renameLabel();
            return true;
        case ID_GROUPS_CUT:
            cut();
            return true;
        case ID_GROUPS_COPY:
            copy();
            return true;
        case ID_GROUPS_PASTE:
            paste();
            return true;
        default:
            return PropertyPage::onCommand(id, code);
    }
}

bool CPagePrinterGroups::onDeactivate() {
    endDrag();
    // A label that is being edited counts as entered.
    view().endEdit();
    // The message about a refused label has been posted; the page must exist for it.
    if (refusedLabel_) return false;
    return PropertyPage::onDeactivate();
}

void CPagePrinterGroups::newGroup() {
    const CGroupsDBNode* parent = tree_.selectedNode();
    if (parent == nullptr || parent->type != NODE_GROUP || !takesChild(*parent)) return;
    const std::string pattern = texts_.Lookup(loadResourceText(IDS_NEW_GROUP_PATTERN));
    const CGroupsDBGroup* group =
        directory_.AddGroup(newGroupName(directory_, parent->id, pattern), parent->id);
    tree_.insert(group->id, parent->id);
    view().expand(tree_.item(parent->id));
    const HTREEITEM item = tree_.item(group->id);
    view().select(item);
    view().editLabel(item);
}

void CPagePrinterGroups::newPrinter() {
    const CGroupsDBNode* parent = tree_.selectedNode();
    if (parent == nullptr || parent->type != NODE_GROUP || !takesChild(*parent)) return;
    const std::uint32_t group = parent->id;
    CDialogNewPrinter dialog(namesInGroup(directory_, group), directory_.portPrinters());
    dialog.useMessageBoxes(messageBoxes());
    if (!dialog.runModal(window())) return;
    const PrinterForm form = dialog.form();
    const CGroupsDBPrinter* printer =
        directory_.AddPrinter(form.name, withUsedCredentials(form.address), group);
    tree_.insert(printer->id, group);
    view().select(tree_.item(printer->id));
}

bool CPagePrinterGroups::takesChild(const CGroupsDBNode& group) const {
    if (fitsBelow(directory_.nodes(), group.id)) return true;
    showTooDeep();
    return false;
}

void CPagePrinterGroups::showTooDeep() const {
    static_assert(kMaxTreeDepth == 500, "the text has the number too");
    showMessage(lookupString("Groups cannot be nested more than 500 levels deep."));
}

void CPagePrinterGroups::showProperties() {
    const HTREEITEM item = view().selected();
    const CGroupsDBNode* node = tree_.node(item);
    if (node == nullptr || tree_.isTopLevel(item)) return;
    const CGroupsDBPrinter* printer = directory_.FindPrinter(node->id);
    if (printer == nullptr) return;
    const std::uint32_t id = printer->id;
    CDialogPrinterProperties dialog(formOf(*printer),
                                    namesInGroup(directory_, printer->parent, id));
    dialog.useMessageBoxes(messageBoxes());
    if (!dialog.runModal(window())) return;
    directory_.UpdatePrinter(recordOf(dialog.form(), id));
    tree_.refreshName(id);
}

void CPagePrinterGroups::deleteNode() {
    const HTREEITEM item = view().selected();
    const CGroupsDBNode* node = tree_.node(item);
    if (node == nullptr || tree_.isTopLevel(item) || !canDelete(*node)) return;
    const std::uint32_t id = node->id;
    directory_.DeleteNode(id);
    tree_.erase(id);
    clipboard_.clear();
}

void CPagePrinterGroups::renameLabel() {
    if (const HTREEITEM item = view().selected()) view().editLabel(item);
}

void CPagePrinterGroups::cut() {
    if (const CGroupsDBNode* node = tree_.selectedNode()) clipboard_.cut(node->id);
}

void CPagePrinterGroups::copy() {
    if (const CGroupsDBNode* node = tree_.selectedNode()) clipboard_.copy(node->id);
}

void CPagePrinterGroups::paste() {
    const CGroupsDBNode* target = tree_.selectedNode();
    if (target == nullptr) return;
    const NodePlacement placement = planPaste(directory_, clipboard_, target->id);
    if (placement.verdict != NodePlacement::Verdict::nothing) clipboard_.pasted();
    place(placement);
}

bool CPagePrinterGroups::place(const NodePlacement& placement) {
    switch (placement.verdict) {
        case NodePlacement::Verdict::nothing:
            return false;
        case NodePlacement::Verdict::cannotCopy:
            showMessage(LoadMessage(IDS_CANNOT_COPY));
            return false;
        case NodePlacement::Verdict::cannotMove:
            showMessage(LoadMessage(IDS_CANNOT_MOVE));
            return false;
        case NodePlacement::Verdict::tooDeep:
            showTooDeep();
            return false;
        case NodePlacement::Verdict::allowed:
            break;
    }
    const RedrawPause pause(view().control());
    for (const std::uint32_t id : carryOut(placement, directory_)) {
        if (placement.move) tree_.erase(id);
        tree_.insert(id, placement.target);
    }
    view().expand(tree_.item(placement.target));
    return true;
}

void CPagePrinterGroups::applyButtons() {
    const HTREEITEM item = view().selected();
    if (item == nullptr) return;
    const GroupsPageButtons buttons = groupsPageButtons(tree_.node(item));
    enableButton(IDC_GROUPS_NEW_GROUP, buttons.newGroup);
    enableButton(IDC_GROUPS_NEW_PRINTER, buttons.newPrinter);
    enableButton(IDC_GROUPS_DELETE, buttons.remove);
    enableButton(IDC_GROUPS_PROPERTIES, buttons.properties);
}

void CPagePrinterGroups::enableButton(int id, bool enabled) const {
    // A disabled control that keeps the focus would ignore every key.
    if (!enabled && GetFocus() == control(id)) focus(IDC_GROUPS_TREE);
    enable(id, enabled);
}

}  // namespace velmora
