// What a person does in a port's sheet, with one call of the platform failing in the middle of it.
// Only what an action calls counts, from its command until it is done: how the sheets themselves
// open is looked at in failing_dialogs_test.cpp and no_memory_dialogs_test.cpp. A sheet takes its
// time, so that some calls of each action fail, and all where VELMORA_EVERY_CALL is set.
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>

#include "harness/sheet_person.h"
#include "tests/contract/fault_scenarios.h"
#include "tests/ui/tree_driver.h"
#include "ui/resources/resource_ids.h"

namespace velmora::testing {
namespace {

using Step = std::function<void(HWND)>;

HWND pageOf(HWND sheet) {
    return reinterpret_cast<HWND>(SendMessageA(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
}

TreeDriver treeOf(HWND sheet) {
    return TreeDriver(GetDlgItem(pageOf(sheet), IDC_GROUPS_TREE));
}

// Steps. The window handles what is posted before the timer's next turn.

Step select(const char* path) {
    return [path](HWND sheet) {
        const HTREEITEM item = treeOf(sheet).item(path);
        ASSERT_NE(item, nullptr) << path;
        treeOf(sheet).view().select(item);
    };
}
Step command(int id) {
    return
        [id](HWND sheet) { PostMessageA(pageOf(sheet), WM_COMMAND, static_cast<WPARAM>(id), 0); };
}
Step enterLabel(const char* text) {
    return [text](HWND sheet) {
        const HWND editor = treeOf(sheet).view().editBox();
        if (editor == nullptr) return;  // the sheet is about to close
        SetWindowTextA(editor, text);
        PostMessageA(treeOf(sheet).window(), TVM_ENDEDITLABELNOW, FALSE, 0);
    };
}
Step fill(int id, const char* text) {
    return [id, text](HWND dialog) { SetDlgItemTextA(dialog, id, text); };
}
Step press(int id) {
    return [id](HWND dialog) { PostMessageA(dialog, WM_COMMAND, static_cast<WPARAM>(id), 0); };
}
void begin(HWND) {
    FailingCalls::resume();
}
void end(HWND) {
    FailingCalls::pause();
}
void pressOk(HWND sheet) {
    PostMessageA(sheet, PSM_PRESSBUTTON, PSBTN_OK, 0);
}

/// As the tree and the mouse tell the page.
Step drag(const char* from, const char* to) {
    return [from, to](HWND sheet) {
        const HWND page = pageOf(sheet);
        const TreeDriver tree = treeOf(sheet);
        NMTREEVIEWA begun{};
        begun.hdr = {tree.window(), IDC_GROUPS_TREE, static_cast<UINT>(TVN_BEGINDRAGA)};
        begun.itemNew.hItem = tree.item(from);
        begun.ptDrag = tree.middle(from);
        SendMessageA(page, WM_NOTIFY, IDC_GROUPS_TREE, reinterpret_cast<LPARAM>(&begun));
        POINT target = tree.middle(to);
        MapWindowPoints(tree.window(), page, &target, 1);
        const LPARAM where = MAKELPARAM(target.x, target.y);
        SendMessageA(page, WM_MOUSEMOVE, MK_LBUTTON, where);
        SendMessageA(page, WM_LBUTTONUP, 0, where);
    };
}

/// A policy, whatever is in it, keeps a dialog from storing a part of the directory.
class FailingActions : public FailingCallsTest {
  protected:
    void SetUp() override {
        FailingCallsTest::SetUp();
        writeRegistryRaw(kDefaultMonitorKey + "\\Policy", "StatedSizes", REG_DWORD,
                         Bytes().u32(1).data());
    }

    /// Two groups below the root, one with a group in it, and printers in all.
    static Block directoryOfGroups() {
        Bytes directory = Bytes().u32(7).u32(1).u32(0).text("All groups").u32(0);
        const auto group = [&](unsigned id, unsigned parent, const char* name) {
            directory.u32(id).u32(parent).text(name).u32(0);
        };
        const auto printer = [&](unsigned id, unsigned parent, const std::string& name) {
            directory.u32(id).u32(parent).text(name).u32(1).text("ipp://localhost/" + name);
            directory.u8(1).text("user").text("password");
        };
        group(2, 1, "A");
        printer(3, 2, "a1");
        group(4, 2, "C");
        printer(5, 4, "c1");
        group(6, 1, "B");
        printer(7, 6, "b1");
        return directory.u32(0).data();
    }

    /// The steps are done on the printer groups page, and what has become of it is stored.
    void tryAction(const char* name, SheetSteps action, const SheetSteps& dialog = {},
                   unsigned silent = kInternetFault) {
        SheetSteps steps{[](HWND sheet) { openPage(sheet, 2); },
                         [](HWND sheet) { treeOf(sheet).expandAll(); }};
        std::ranges::move(action, std::back_inserter(steps));
        steps.emplace_back(&end);
        steps.emplace_back(&pressOk);
        trySteps(name, steps, dialog, {{kMemoryFault, kNoMemory}}, silent);
    }

    void trySteps(const char* name, const SheetSteps& steps, const SheetSteps& dialog,
                  std::vector<Documented> documented, unsigned silent) {
        const bool all = std::getenv("VELMORA_EVERY_CALL") != nullptr;
        constexpr std::size_t kPlaces = sizeof(void*) == 8 ? 2 : 3;
        tryEverywhere(
            {.name = name,
             .before =
                 [&] {
                     EXPECT_EQ(
                         xcv(monitor2_, L"ConfigPort", recordOf("One", "ipp://localhost/one")), 0u);
                     EXPECT_EQ(xcv(monitor2_, L"SetGroupsDB", directoryOfGroups()), 0u);
                 },
             .call =
                 [&] {
                     FailingCalls::pause();
                     const SheetPerson person(steps, dialog);
                     SetLastError(kUntouched);
                     const std::string result =
                         words(dll_.ui().entry<PortUiEntry>(2)(nullptr, nullptr, L"One"));
                     return result + ", " + std::to_string(person.sheets()) + " sheets";
                 },
             .good = "TRUE, 1 sheets",
             .documented = std::move(documented),
             .silent = silent,
             .places = all ? 0 : kPlaces,
             .changes = true,
             .warm = std::exchange(warm_, true),
             .again = true,
             .nextCalls = 3});
    }

    inline static const std::string kNoMemory =
        "FALSE " + std::to_string(ERROR_NOT_ENOUGH_MEMORY) + ", 1 sheets";
    inline static bool warm_ = false;
};

TEST_F(FailingActions, NewGroup) {
    tryAction("new group", {select("All groups/A"), &begin, command(IDC_GROUPS_NEW_GROUP),
                            enterLabel("Ground floor")});
}

TEST_F(FailingActions, NewPrinter) {
    tryAction(
        "new printer", {select("All groups/B"), &begin, command(ID_GROUPS_NEW_PRINTER)},
        {fill(IDC_PRINTER_NAME, "b2"), fill(IDC_PRINTER_URL, "ipp://localhost/b2"), press(IDOK)});
}

TEST_F(FailingActions, PrinterIsEdited) {
    tryAction("properties of a printer",
              {select("All groups/B/b1"), &begin, command(ID_GROUPS_PROPERTIES)},
              {fill(IDC_PRINTER_NAME, "b3"), fill(IDC_PRINTER_URL, "ipp://localhost/b3"),
               fill(IDC_PRINTER_PASSWORD, "another"), press(IDOK)});
}

TEST_F(FailingActions, Rename) {
    tryAction("rename", {select("All groups/A/C"), &begin, command(ID_GROUPS_RENAME),
                         enterLabel("Ground floor")});
}

TEST_F(FailingActions, CopyAndPaste) {
    tryAction("copy and paste", {select("All groups/A"), &begin, command(ID_GROUPS_COPY),
                                 select("All groups/B"), command(ID_GROUPS_PASTE)});
}

TEST_F(FailingActions, CutAndPaste) {
    tryAction("cut and paste", {select("All groups/A"), &begin, command(ID_GROUPS_CUT),
                                select("All groups/B"), command(ID_GROUPS_PASTE)});
}

TEST_F(FailingActions, Drag) {
    tryAction("drag", {&begin, drag("All groups/A/C", "All groups/B")});
}

TEST_F(FailingActions, Delete) {
    tryAction("delete", {select("All groups/A"), &begin, command(ID_GROUPS_DELETE)});
}

/// The record and the directory are stored, by the monitor at the other end of the channel, whose
/// answer about the record the client does not look at.
TEST_F(FailingActions, Ok) {
    trySteps(
        "OK of the sheet",
        {[](HWND sheet) { SetDlgItemTextA(pageOf(sheet), IDC_PORT_URL, "ipp://localhost/else"); },
         [](HWND sheet) { openPage(sheet, 1); },
         [](HWND sheet) { SetDlgItemTextA(pageOf(sheet), IDC_JOB_COPIES, "3"); },
         [](HWND sheet) { openPage(sheet, 2); }, [](HWND sheet) { treeOf(sheet).expandAll(); },
         select("All groups/A"), command(ID_GROUPS_DELETE), &begin, &pressOk},
        {},
        {{kMemoryFault, kNoMemory},
         {kSpoolerFault, "FALSE CODE, 1 sheets"},
         {kRegistryFault, "FALSE CODE, 1 sheets"}},
        kRegistryFault | kInternetFault);
}

}  // namespace
}  // namespace velmora::testing
