#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ui/directory_tree.h"
#include "ui/kit/property_page.h"
#include "ui/kit/tree_drag.h"
#include "ui/kit/tree_keys.h"
#include "ui/node_placement.h"
#include "ui/text_table.h"

namespace velmora {

class CGroupsDB;
struct CGroupsDBNode;

/// The page of both port sheets that edits the printer directory as a tree. Every edit is made in
/// the directory at once; storing the directory is up to the caller.
class CPagePrinterGroups : public PropertyPage, private DropRules {
  public:
    /// `directory` must outlive the page.
    explicit CPagePrinterGroups(CGroupsDB& directory);

  protected:
    void onInit() override;
    bool onCommand(int id, int code) override;
    void onHelp(int control) override;
    std::optional<LRESULT> onNotify(NMHDR& header) override;
    std::optional<LRESULT> onMessage(UINT message, WPARAM wParam, LPARAM lParam) override;
    bool onDeactivate() override;

  private:
    // Commands; each acts on the selected item.
    void newGroup();
    void newPrinter();
    void deleteNode();
    void showProperties();
    void renameLabel();
    void cut();
    void copy();
    void paste();
    /// False if the tree does not show that many levels; the user has seen the message.
    bool takesChild(const CGroupsDBNode& group) const;
    void showTooDeep() const;
    /// True if `placement` was allowed and the tree shows its result.
    bool place(const NodePlacement& placement);

    void applyButtons();
    void enableButton(int id, bool enabled) const;
    void showMenu(HTREEITEM item, POINT screen);
    std::optional<LRESULT> contextMenu(HWND source, LPARAM position);

    // Notifications of the tree.
    std::optional<LRESULT> treeNotify(NMHDR& header);
    LRESULT beginLabelEdit(const NMTVDISPINFOA& info);
    LRESULT endLabelEdit(const NMTVDISPINFOA& info);
    void refuseLabel(std::uint32_t id, std::string message);
    void reopenRefusedLabel();
    void keyDown(WORD key) const;
    void beginDrag(const NMTREEVIEWA& info);

    std::optional<LRESULT> dragMessage(UINT message, WPARAM wParam, LPARAM lParam);
    bool takesDrop(HTREEITEM item, HTREEITEM target, bool copy) const override;
    void drop(const TreeDrag::Drop& drop);
    void endDrag();

    const TreeView& view() const noexcept { return tree_.view(); }

    CGroupsDB& directory_;
    CTextTable texts_;
    DirectoryTree tree_;
    TreeKeys keys_;
    CTreeEdit edit_;
    TreeDrag drag_;
    /// The right button has ended a drag and is still held.
    bool rightHeld_ = false;
    NodeClipboard clipboard_;
    /// The node whose label was refused, until its message has been read. No command and no menu
    /// runs meanwhile.
    struct RefusedLabel {
        std::uint32_t id;
        std::string message;
    };
    std::optional<RefusedLabel> refusedLabel_;
};

}  // namespace velmora
