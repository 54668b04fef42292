#pragma once

#include "harness/real_input.h"
#include "tests/ui/port_sheet_fixture.h"
#include "tests/ui/tree_driver.h"

namespace velmora {
struct CGroupsDBNode;
}

namespace velmora::testing {

using Lines = std::vector<std::string>;

constexpr const char* kCannotCopy = "Can't copy object.";
constexpr const char* kCannotMove = "Can't move object.";
constexpr const char* kNameExists =
    "An object with the name you specified already exists.\nPlease specify a different name.";

constexpr const char* kPrinterNameUsed =
    "A printer or a group with the name you specified already exists in this group.\n"
    "Please specify a different printer name.";
constexpr const char* kTooDeep = "Groups cannot be nested more than 500 levels deep.";

/// The printer groups page of a port's sheet. The directory below "All groups":
///   A: a1, a2 (printers), C: c1 (printer)
///   B: b1 (printer)
class GroupsPageTest : public PortSheetTest {
  protected:
    struct Page : DialogDriver {
        Page(const SheetDriver& opened, const DialogDriver& page)
            : DialogDriver(page), sheet(opened), tree(page.control(IDC_GROUPS_TREE)) {}

        /// Runs a menu command as TrackPopupMenu delivers it.
        void command(int id) const {
            SendMessageA(window(), WM_COMMAND, static_cast<WPARAM>(id), 0);
        }
        /// For commands that open a dialog.
        void postCommand(int id) const {
            PostMessageA(window(), WM_COMMAND, static_cast<WPARAM>(id), 0);
        }

        SheetDriver sheet;
        TreeDriver tree;
    };

    void SetUp() override;

    /// Opens the page, lets `person` work, and cancels the sheet (the directory keeps the edits).
    void work(const std::function<void(const Page&)>& person) {
        EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
            const Page page(sheet, sheet.openPage(2));
            page.tree.expandAll();
            person(page);
            sheet.cancel();
        }));
    }

    /// Groups of that name, each in the one before; returns the last one's id.
    std::uint32_t addChain(const std::string& name, std::uint32_t parent, int count);

    /// The directory as the tree should show it.
    Lines directoryLines() const { return records.outline(); }

    std::vector<std::string> names(std::uint32_t group) const { return records.namesIn(group); }
    CGroupsDBNode* named(const std::string& name) const;
    std::string onlyMessage();
};

}  // namespace velmora::testing
