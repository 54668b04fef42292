// The printer groups page, operated with the keyboard and the mouse.

#include "directory/directory_records.h"
#include "tests/ui/groups_page_fixture.h"
#include "ui/kit/window.h"

namespace velmora::testing {
namespace {

/// The open context menu; null when there is none.
HWND popupWindow() {
    return FindWindowA("#32768", nullptr);
}

HWND waitForPopup() {
    EXPECT_TRUE(waitUntil([] {
        const HWND popup = popupWindow();
        return popup != nullptr && IsWindowVisible(popup);
    })) << "no menu";
    return popupWindow();
}

HMENU menuOf(HWND popup) {
    return reinterpret_cast<HMENU>(SendMessageA(popup, MN_GETHMENU, 0, 0));
}

/// The commands of a menu and of its popups; "!" before those that are greyed.
std::string commandsOf(HMENU menu) {
    std::string text;
    for (int i = 0; i < GetMenuItemCount(menu); ++i) {
        const UINT state = GetMenuState(menu, static_cast<UINT>(i), MF_BYPOSITION);
        if ((state & MF_SEPARATOR) != 0 && GetSubMenu(menu, i) == nullptr) continue;
        if (!text.empty()) text += ' ';
        if (const HMENU popup = GetSubMenu(menu, i))
            text += "[" + commandsOf(popup) + "]";
        else
            text += ((state & MF_GRAYED) != 0 ? "!" : "") + std::to_string(GetMenuItemID(menu, i));
    }
    return text;
}

bool noPopup() {
    return waitUntil([] { return popupWindow() == nullptr || !IsWindowVisible(popupWindow()); });
}

class GroupsPageInput : public GroupsPageTest {
  protected:
    struct Desk : Page {
        explicit Desk(const Page& page) : Page(page), input(page.sheet.sheet().window()) {}

        HWND treeWindow() const { return tree.window(); }
        void focusTree() const { setFocus(IDC_GROUPS_TREE); }
        void focusOn(const std::string& path) const {
            tree.select(path);
            focusTree();
        }
        bool lineUp(const Lines& expected) const {
            return waitUntil([&] { return tree.lines() == expected; });
        }

        RealInput input;
    };

    void sit(const std::function<void(const Desk&)>& person) {
        work([&](const Page& page) { person(Desk(page)); });
    }

    const Lines kStart{"All groups", " A", "  a1", "  a2", "  C", "   c1", " B", "  b1"};
};

TEST_F(GroupsPageInput, ControlKeysCopyCutAndPaste) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A/C");
        desk.input.keys({VK_CONTROL, 'C'});
        desk.focusOn("All groups/B");
        desk.input.keys({VK_CONTROL, 'V'});
        EXPECT_TRUE(desk.lineUp(
            {"All groups", " A", "  a1", "  a2", "  C", "   c1", " B", "  b1", "  C", "   c1"}));
        desk.focusOn("All groups/A/a1");
        desk.input.keys({VK_CONTROL, 'X'});
        desk.focusOn("All groups/B");
        desk.input.keys({VK_CONTROL, 'V'});
        EXPECT_TRUE(desk.lineUp(
            {"All groups", " A", "  a2", "  C", "   c1", " B", "  b1", "  C", "   c1", "  a1"}));
        // The cut node is no longer in the clipboard. A key has been handled once a later one has
        // had its effect.
        desk.input.keys({VK_CONTROL, 'V'});
        desk.focusOn("All groups/A/a2");
        desk.input.keys({VK_DELETE});
        EXPECT_TRUE(desk.lineUp(
            {"All groups", " A", "  C", "   c1", " B", "  b1", "  C", "   c1", "  a1"}));
        EXPECT_TRUE(desk.sheet.sheet().isOpen());
    });
    EXPECT_EQ(named("a1")->parent, 5u);
}

TEST_F(GroupsPageInput, ControlVOnAPrinterDoesNothing) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A/C");
        desk.input.keys({VK_CONTROL, 'C'});
        desk.focusOn("All groups/B/b1");
        desk.input.keys({VK_CONTROL, 'V'});
        desk.focusOn("All groups/B");
        desk.input.keys({VK_CONTROL, 'V'});
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/B/C") != nullptr; }));
        EXPECT_EQ(desk.tree.children("All groups/B/b1"), Lines{});
    });
}

TEST_F(GroupsPageInput, DeleteAndF2ActOnTheSelection) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A/a2");
        desk.input.keys({VK_DELETE});
        EXPECT_TRUE(desk.lineUp({"All groups", " A", "  a1", "  C", "   c1", " B", "  b1"}));
        desk.focusOn("All groups/B");
        desk.input.keys({VK_F2});
        desk.tree.editor();
        desk.input.keys({'Q'});
        desk.input.keys({VK_RETURN});
        EXPECT_TRUE(waitUntil([&] { return names(1) == (Lines{"A", "q"}); }));
        EXPECT_TRUE(desk.sheet.sheet().isOpen()) << "Enter belongs to the editor";
    });
}

TEST_F(GroupsPageInput, EnterOpensPropertiesAndNeverPressesOk) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A/a1");
        desk.input.keys({VK_RETURN});
        const DialogDriver dialog = waitForDialog("Printer properties");
        dialog.clickWithoutWaiting(IDCANCEL);
        dialog.waitUntilClosed();
        desk.focusOn("All groups/A");
        desk.input.keys({VK_RETURN});
        desk.focusOn("All groups");
        desk.input.keys({VK_RETURN});
        // The key has been handled once a later one has had its effect.
        desk.focusOn("All groups/A/a2");
        desk.input.keys({VK_DELETE});
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/A/a2") == nullptr; }));
        EXPECT_TRUE(desk.sheet.sheet().isOpen());
    });
}

TEST_F(GroupsPageInput, KeysInALabelEditBelongToTheEditor) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A/a1");
        desk.input.keys({VK_F2});
        const HWND box = desk.tree.editor();
        EXPECT_EQ(windowText(box), "a1");
        desk.input.keys({VK_CONTROL, 'C'});
        desk.input.keys({VK_DELETE});
        EXPECT_TRUE(waitUntil([&] { return windowText(box).empty(); }));
        desk.input.keys({VK_CONTROL, 'V'});
        desk.input.keys({VK_CONTROL, 'V'});
        EXPECT_TRUE(waitUntil([&] { return windowText(box) == "a1a1"; }));
        desk.input.keys({VK_HOME});
        desk.input.keys({VK_SHIFT, VK_RIGHT});
        desk.input.keys({VK_CONTROL, 'X'});
        EXPECT_TRUE(waitUntil([&] { return windowText(box) == "1a1"; }));
        desk.input.keys({VK_ESCAPE});
        desk.tree.waitUntilEdited();
        EXPECT_TRUE(desk.sheet.sheet().isOpen()) << "Escape cancels the edit alone";
        EXPECT_EQ(desk.tree.lines(), kStart);
        // Nothing is pasted, since the page's clipboard is still empty.
        desk.focusOn("All groups/B");
        desk.input.keys({VK_CONTROL, 'V'});
        desk.focusOn("All groups/B/b1");
        desk.input.keys({VK_DELETE});
        EXPECT_TRUE(desk.lineUp({"All groups", " A", "  a1", "  a2", "  C", "   c1", " B"}));
    });
    EXPECT_EQ(named("a1")->id, 3u);
}

TEST_F(GroupsPageInput, TheMenuKeyOpensOneMenuForTheSelection) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A");
        desk.input.keys({VK_APPS});
        EXPECT_EQ(commandsOf(menuOf(waitForPopup())),
                  "[32777 32778] 32772 32773 !32774 32776 32775");
        desk.input.keys({VK_ESCAPE});
        EXPECT_TRUE(noPopup()) << "a second menu";
        EXPECT_TRUE(desk.sheet.sheet().isOpen());
    });
}

TEST_F(GroupsPageInput, ARightClickSelectsAndShowsTheItemsMenu) {
    sit([&](const Desk& desk) {
        const struct {
            const char* path;
            const char* commands;
        } cases[] = {
            {"All groups", "[32777 32778] !32772 32773 !32774"},
            {"All groups/B", "[32777 32778] 32772 32773 !32774 32776 32775"},
            {"All groups/A/a1", "32772 32773 !32774 32776 32775 32781"},
        };
        for (const auto& [path, commands] : cases) {
            desk.input.rightClick(desk.treeWindow(), desk.tree.middle(path));
            EXPECT_EQ(commandsOf(menuOf(waitForPopup())), commands) << path;
            EXPECT_EQ(desk.tree.selectedPath(), path);
            desk.input.keys({VK_ESCAPE});
            EXPECT_TRUE(noPopup());
        }
    });
}

TEST_F(GroupsPageInput, PasteIsOfferedOnceSomethingWasCopied) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A/C");
        desk.input.keys({VK_CONTROL, 'C'});
        desk.input.rightClick(desk.treeWindow(), desk.tree.middle("All groups/B"));
        EXPECT_EQ(commandsOf(menuOf(waitForPopup())),
                  "[32777 32778] 32772 32773 32774 32776 32775");
        desk.input.keys({'P'});
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/B/C/c1") != nullptr; }));
        desk.input.rightClick(desk.treeWindow(), desk.tree.middle("All groups/B/b1"));
        EXPECT_EQ(commandsOf(menuOf(waitForPopup())), "32772 32773 !32774 32776 32775 32781");
        desk.input.keys({VK_ESCAPE});
        EXPECT_TRUE(noPopup());
    });
}

TEST_F(GroupsPageInput, MenuCommandsActOnTheClickedItem) {
    sit([&](const Desk& desk) {
        desk.tree.select("All groups/B");
        desk.input.rightClick(desk.treeWindow(), desk.tree.middle("All groups/A/a1"));
        waitForPopup();
        desk.input.keys({'R'});
        const DialogDriver dialog = waitForDialog("Printer properties");
        EXPECT_EQ(dialog.text(IDC_PRINTER_NAME), "a1");
        dialog.clickWithoutWaiting(IDCANCEL);
        dialog.waitUntilClosed();
        desk.input.rightClick(desk.treeWindow(), desk.tree.middle("All groups/A/a2"));
        waitForPopup();
        desk.input.keys({'M'});
        EXPECT_EQ(windowText(desk.tree.editor()), "a2");
        desk.input.keys({VK_ESCAPE});
        desk.tree.waitUntilEdited();
    });
}

TEST_F(GroupsPageInput, ARightClickBesideTheItemsShowsNoMenu) {
    sit([&](const Desk& desk) {
        RECT area{};
        GetClientRect(desk.treeWindow(), &area);
        desk.input.rightClick(desk.treeWindow(), {area.right - 5, area.bottom - 5});
        desk.focusOn("All groups/A/a2");
        desk.input.keys({VK_DELETE});
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/A/a2") == nullptr; }));
        EXPECT_TRUE(noPopup());
    });
}

TEST_F(GroupsPageInput, ADoubleClickOpensPropertiesOfThePrinterBelowThePointer) {
    sit([&](const Desk& desk) {
        desk.tree.select("All groups/A/a1");
        RECT area{};
        GetClientRect(desk.treeWindow(), &area);
        desk.input.doubleClick(desk.treeWindow(), {area.right - 5, area.bottom - 5});
        desk.input.doubleClick(desk.treeWindow(), desk.tree.middle("All groups/A/a2"));
        const DialogDriver dialog = waitForDialog("Printer properties");
        EXPECT_EQ(dialog.text(IDC_PRINTER_NAME), "a2");
        dialog.clickWithoutWaiting(IDCANCEL);
        dialog.waitUntilClosed();
    });
}

TEST_F(GroupsPageInput, DraggingMovesAndHighlightsItsTarget) {
    sit([&](const Desk& desk) {
        const auto highlighted = [&] { return desk.tree.view().dropTarget(); };
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"),
                          desk.tree.middle("All groups/B/b1"));
        EXPECT_TRUE(waitUntil([&] { return highlighted() == nullptr; })) << "printers take no drop";
        desk.input.moveTo(desk.treeWindow(), desk.tree.middle("All groups/B"));
        EXPECT_TRUE(waitUntil([&] { return highlighted() == desk.tree.item("All groups/B"); }));
        desk.input.buttonUp();
        EXPECT_TRUE(
            desk.lineUp({"All groups", " A", "  a1", "  a2", " B", "  b1", "  C", "   c1"}));
        EXPECT_EQ(highlighted(), nullptr);
        EXPECT_EQ(desk.tree.selectedPath(), "All groups/B/C");
    });
    EXPECT_EQ(named("C")->parent, 5u);
}

TEST_F(GroupsPageInput, DraggingWithControlCopies) {
    sit([&](const Desk& desk) {
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"),
                          desk.tree.middle("All groups/B"));
        desk.input.keyDown(VK_CONTROL);
        desk.input.moveTo(desk.treeWindow(), desk.tree.middle("All groups/B"));
        desk.input.buttonUp();
        desk.input.keyUp(VK_CONTROL);
        EXPECT_TRUE(desk.lineUp(
            {"All groups", " A", "  a1", "  a2", "  C", "   c1", " B", "  b1", "  C", "   c1"}));
    });
}

TEST_F(GroupsPageInput, DropsThatChangeNothingAreSilent) {
    sit([&](const Desk& desk) {
        // Two presses in one place would be a double click.
        const char* drags[][2] = {{"All groups/A/a1", "All groups/A"},
                                  {"All groups/A/a2", "All groups/B/b1"},
                                  {"All groups/A/a1", "All groups/A/a2"},
                                  {"All groups/A/C", "All groups/A/C"}};
        for (const auto& [from, target] : drags) {
            desk.input.dragTo(desk.treeWindow(), desk.tree.middle(from), desk.tree.middle(target));
            desk.input.buttonUp();
        }
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/a1"), {-40, 40});
        desk.input.buttonUp();
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/B/b1"),
                          desk.tree.middle("All groups"));
        desk.input.buttonUp();
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/b1") != nullptr; }))
            << "a drop that does change something comes through";
        EXPECT_EQ(desk.tree.children("All groups/A"), (Lines{"a1", "a2", "C"}));
    });
    EXPECT_EQ(named("b1")->parent, 1u);
}

TEST_F(GroupsPageInput, RefusedDropsSayWhatWasTried) {
    sit([&](const Desk& desk) {
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A"),
                          desk.tree.middle("All groups/A/C"));
        desk.input.buttonUp();
        EXPECT_EQ(onlyMessage(), kCannotMove);
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups"),
                          desk.tree.middle("All groups/A/C"));
        desk.input.keyDown(VK_CONTROL);
        desk.input.buttonUp();
        desk.input.keyUp(VK_CONTROL);
        EXPECT_EQ(onlyMessage(), kCannotCopy);
        EXPECT_EQ(desk.tree.lines(), kStart);
    });
}

TEST_F(GroupsPageInput, EscapeEndsADragAndLeavesTheSheetOpen) {
    sit([&](const Desk& desk) {
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"),
                          desk.tree.middle("All groups/B"));
        desk.input.keys({VK_ESCAPE});
        desk.input.buttonUp();
        EXPECT_TRUE(waitUntil([&] {
            GUITHREADINFO info{};
            info.cbSize = sizeof info;
            GetGUIThreadInfo(GetWindowThreadProcessId(desk.treeWindow(), nullptr), &info);
            return info.hwndCapture == nullptr;
        }));
        EXPECT_EQ(desk.tree.lines(), kStart);
        EXPECT_TRUE(desk.sheet.sheet().isOpen());
    });
}

TEST_F(GroupsPageInput, OtherKeysDoNothingDuringADrag) {
    sit([&](const Desk& desk) {
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"),
                          desk.tree.middle("All groups/B"));
        desk.input.keys({VK_DELETE});
        desk.input.keys({VK_F2});
        desk.input.keys({VK_RETURN});
        desk.input.keys({VK_CONTROL, 'X'});
        desk.input.buttonUp();
        EXPECT_TRUE(
            desk.lineUp({"All groups", " A", "  a1", "  a2", " B", "  b1", "  C", "   c1"}));
        EXPECT_FALSE(desk.tree.isEditing());
        desk.settle();
        desk.command(ID_GROUPS_PASTE);
        EXPECT_EQ(boxes.count(), 0u) << "nothing was cut";
    });
    EXPECT_EQ(named("C")->parent, 5u);
}

TEST_F(GroupsPageInput, EscapeClosesTheSheetAgainWhenThePageWasLeftDuringADrag) {
    sit([&](const Desk& desk) {
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"),
                          desk.tree.middle("All groups/B"));
        desk.sheet.openPage(0);
        desk.input.buttonUp();
        desk.sheet.openPage(2);
        EXPECT_EQ(desk.tree.lines(), kStart);
        desk.focusTree();
        desk.input.keys({VK_ESCAPE});
        EXPECT_TRUE(waitUntil([&] { return !desk.sheet.sheet().isOpen(); }));
    });
}

TEST_F(GroupsPageInput, ARestingDragOpensGroupsAndScrollsTheTree) {
    std::uint32_t lowest = 0;
    for (int i = 0; i < 40; ++i)
        lowest = records.addGroup("g" + std::to_string(i), 1);
    records.addGroup("inner", lowest);
    sit([&](const Desk& desk) {
        SendMessageA(desk.treeWindow(), WM_VSCROLL, SB_TOP, 0);
        const HTREEITEM last = desk.tree.item("All groups/g39");
        SendMessageA(desk.treeWindow(), TVM_EXPAND, TVE_COLLAPSE, reinterpret_cast<LPARAM>(last));
        RECT area{};
        GetClientRect(desk.treeWindow(), &area);
        const auto visible = [&](HTREEITEM item) {
            const RECT text = desk.tree.view().textRect(item);
            return text.right > text.left && text.bottom <= area.bottom && text.top >= 0;
        };
        EXPECT_FALSE(visible(last));
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/a1"),
                          {60, area.bottom - 4});
        EXPECT_TRUE(waitUntil([&] { return visible(last); })) << "no scrolling";
        desk.input.moveTo(desk.treeWindow(), desk.tree.middle("All groups/g39"));
        EXPECT_TRUE(waitUntil([&] { return desk.tree.view().isExpanded(last); })) << "stays shut";
        desk.input.moveTo(desk.treeWindow(), desk.tree.middle("All groups/g39/inner"));
        desk.input.buttonUp();
        EXPECT_TRUE(
            waitUntil([&] { return desk.tree.item("All groups/g39/inner/a1") != nullptr; }));
    });
}

bool hasCapture(HWND window) {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(GetWindowThreadProcessId(window, nullptr), &info);
    return info.hwndCapture != nullptr;
}

TEST_F(GroupsPageInput, TheRightButtonEndsADrag) {
    sit([&](const Desk& desk) {
        const POINT target = desk.tree.middle("All groups/B");
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"), target);
        ASSERT_TRUE(hasCapture(desk.treeWindow()));
        desk.input.rightClick(desk.treeWindow(), target);
        EXPECT_TRUE(waitUntil([&] { return !hasCapture(desk.treeWindow()); }));
        desk.input.buttonUp();
        desk.settle();
        EXPECT_EQ(desk.tree.lines(), kStart);
        EXPECT_TRUE(noPopup()) << "the button ends the drag and does nothing else";
    });
}

TEST_F(GroupsPageInput, ADragEndsWhenTheMouseIsTakenAway) {
    sit([&](const Desk& desk) {
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"),
                          desk.tree.middle("All groups/B"));
        ASSERT_TRUE(hasCapture(desk.treeWindow()));
        SendMessageA(desk.window(), WM_CANCELMODE, 0, 0);
        EXPECT_TRUE(waitUntil([&] { return !hasCapture(desk.treeWindow()); }));
        EXPECT_EQ(desk.tree.view().dropTarget(), nullptr);
        desk.input.buttonUp();
        desk.settle();
        EXPECT_EQ(desk.tree.lines(), kStart);
        desk.command(ID_GROUPS_DELETE);
        EXPECT_EQ(desk.tree.item("All groups/A/C"), nullptr) << "commands work again";
    });
}

TEST_F(GroupsPageInput, ThePointerShowsACopyWhileControlIsHeld) {
    sit([&](const Desk& desk) {
        const auto pointer = [] {
            CURSORINFO info{};
            info.cbSize = sizeof info;
            GetCursorInfo(&info);
            return info.hCursor;
        };
        const HCURSOR arrow = LoadCursorA(nullptr, IDC_ARROW);
        const HCURSOR no = LoadCursorA(nullptr, IDC_NO);
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/C"),
                          desk.tree.middle("All groups/B"));
        EXPECT_TRUE(waitUntil([&] { return pointer() == arrow; }));
        desk.input.keyDown(VK_CONTROL);
        EXPECT_TRUE(waitUntil([&] { return pointer() != arrow && pointer() != no; }))
            << "without a movement";
        desk.input.keyUp(VK_CONTROL);
        EXPECT_TRUE(waitUntil([&] { return pointer() == arrow; }));
        desk.input.moveTo(desk.treeWindow(), desk.tree.middle("All groups/B/b1"));
        EXPECT_TRUE(waitUntil([&] { return pointer() == no; }));
        desk.input.keys({VK_ESCAPE});
        desk.input.buttonUp();
    });
}

TEST_F(GroupsPageInput, ADropOpensItsTarget) {
    // A group without contents does not open by itself while the pointer rests on it; and what was
    // copied is not selected, which would open the group too.
    records.deleteNode(6);
    sit([&](const Desk& desk) {
        const HTREEITEM target = desk.tree.item("All groups/B");
        desk.input.dragTo(desk.treeWindow(), desk.tree.middle("All groups/A/a1"),
                          desk.tree.middle("All groups/B"));
        desk.input.keyDown(VK_CONTROL);
        desk.input.moveTo(desk.treeWindow(), desk.tree.middle("All groups/B"));
        desk.input.buttonUp();
        desk.input.keyUp(VK_CONTROL);
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/B/a1") != nullptr; }));
        EXPECT_TRUE(waitUntil([&] { return desk.tree.view().isExpanded(target); }));
        EXPECT_EQ(desk.tree.selectedPath(), "All groups/A/a1");
    });
}

TEST_F(GroupsPageInput, CommandsAreChosenFromTheOpenMenu) {
    sit([&](const Desk& desk) {
        const auto choose = [&](const std::string& path, std::initializer_list<WORD> keys) {
            desk.input.rightClick(desk.treeWindow(), desk.tree.middle(path));
            waitForPopup();
            for (const WORD key : keys)
                desk.input.keys({key});
        };
        choose("All groups/A/C", {'T'});
        choose("All groups/B", {'P'});
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/B/C") != nullptr; }));
        choose("All groups/A/a1", {'C'});
        choose("All groups/B", {'P'});
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/B/a1") != nullptr; }));
        choose("All groups/A/a2", {'D'});
        EXPECT_TRUE(waitUntil([&] { return desk.tree.item("All groups/A/a2") == nullptr; }));
        choose("All groups/A", {'N', 'P'});
        const DialogDriver dialog = waitForDialog("New Printer Properties");
        dialog.clickWithoutWaiting(IDCANCEL);
        dialog.waitUntilClosed();
        choose("All groups", {'N', 'G'});
        desk.tree.editor();
        EXPECT_EQ(desk.tree.selectedPath(), "All groups/New Group Pattern");
        desk.input.keys({VK_RETURN});
        desk.tree.waitUntilEdited();
    });
    EXPECT_EQ(names(2), Lines{"a1"}) << "C was cut, a1 copied, a2 deleted";
    EXPECT_EQ(names(5), (Lines{"b1", "C", "a1"}));
    EXPECT_EQ(names(1), (Lines{"A", "B", "New Group Pattern"}));
}

/// A label edit that is ended by another action and refused.
class RefusedLabel : public GroupsPageInput {
  protected:
    /// Types a name that is taken and lets `start` do something else: the message appears, then the
    /// editor again; nothing else happens.
    void refuse(const Desk& desk, const std::function<void()>& start) {
        desk.focusOn("All groups/A/a1");
        desk.input.keys({VK_F2});
        SendMessageA(desk.tree.editor(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("C"));
        start();
        EXPECT_EQ(onlyMessage(), kNameExists);
        EXPECT_EQ(windowText(desk.tree.editor()), "a1");
        desk.settle();
        EXPECT_TRUE(desk.tree.isEditing());
        EXPECT_EQ(desk.tree.selectedPath(), "All groups/A/a1");
        EXPECT_EQ(desk.tree.lines(), kStart);
        EXPECT_EQ(popupWindow(), nullptr);
        const HWND sheet = desk.sheet.sheet().window();
        EXPECT_EQ(GetLastActivePopup(sheet), sheet) << "a dialog";
        EXPECT_TRUE(IsWindowEnabled(sheet));
        desk.input.keys({VK_ESCAPE});
        desk.tree.waitUntilEdited();
    }
};

TEST_F(RefusedLabel, ComesBeforeTheCommandsOfTheButtons) {
    sit([&](const Desk& desk) {
        for (const WORD mnemonic : {WORD{'P'}, WORD{'D'}})
            refuse(desk, [&] { desk.input.keys({VK_MENU, mnemonic}); });
    });
    work([&](const Page& page) {
        const Desk desk(page);
        // On a group, whose other buttons are enabled.
        for (const WORD mnemonic : {WORD{'G'}, WORD{'R'}, WORD{'D'}}) {
            desk.focusOn("All groups/A/C");
            desk.input.keys({VK_F2});
            SendMessageA(desk.tree.editor(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("a1"));
            desk.input.keys({VK_MENU, mnemonic});
            EXPECT_EQ(onlyMessage(), kNameExists);
            EXPECT_EQ(windowText(desk.tree.editor()), "C");
            desk.settle();
            const HWND sheet = desk.sheet.sheet().window();
            EXPECT_EQ(GetLastActivePopup(sheet), sheet) << "a dialog";
            desk.input.keys({VK_ESCAPE});
            desk.tree.waitUntilEdited();
            EXPECT_EQ(desk.tree.lines(), kStart);
        }
    });
}

TEST_F(GroupsPageInput, ARightClickElsewhereBringsTheRefusalOfALabelInThePlatformsBox) {
    // With the platform's own message boxes, which keep the mouse from the sheet.
    CDialogConfigPort sheet(nullptr, directory, spooler.functions());
    drive([&] { EXPECT_FALSE(sheet.edit(config)); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              const Desk desk(Page(opened, opened.openPage(2)));
              desk.tree.expandAll();
              desk.focusOn("All groups/A/a1");
              desk.input.keys({VK_F2});
              SendMessageA(desk.tree.editor(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("C"));
              desk.input.rightClickIntoABox(desk.treeWindow(), desk.tree.middle("All groups/B"));
              const HWND window = opened.sheet().window();
              EXPECT_TRUE(waitUntil([&] { return GetLastActivePopup(window) != window; }));
              const DialogDriver box(GetLastActivePopup(window));
              EXPECT_EQ(box.text(0xFFFF), kNameExists);
              EXPECT_EQ(popupWindow(), nullptr);
              // Closed earlier, the box would leave the release to the tree.
              RealInput::waitUntilTaken(box.window());
              PostMessageA(box.window(), WM_COMMAND, IDOK, 0);
              box.waitUntilClosed();
              EXPECT_EQ(windowText(desk.tree.editor()), "a1");
              EXPECT_EQ(desk.tree.selectedPath(), "All groups/A/a1");
              EXPECT_EQ(popupWindow(), nullptr);
              opened.cancel();
              opened.waitUntilClosed();
          });
}

TEST_F(GroupsPageInput, NothingIsStartedWhileARefusedLabelWaits) {
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A/a1");
        desk.command(ID_GROUPS_RENAME);
        // While the sheet is disabled the message about the label is delayed.
        const HWND sheet = desk.sheet.sheet().window();
        EnableWindow(sheet, FALSE);
        SendMessageA(desk.tree.editor(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("C"));
        desk.tree.view().endEdit();

        POINT other = desk.tree.middle("All groups/B");
        ClientToScreen(desk.treeWindow(), &other);
        for (const LPARAM position : {MAKELPARAM(other.x, other.y), LPARAM{-1}}) {
            PostMessageA(desk.window(), WM_CONTEXTMENU, reinterpret_cast<WPARAM>(desk.treeWindow()),
                         position);
            desk.settle();
            EXPECT_EQ(popupWindow(), nullptr);
            PostMessageA(desk.window(), WM_CANCELMODE, 0, 0);
            EXPECT_TRUE(noPopup());
        }
        EXPECT_EQ(desk.tree.selectedPath(), "All groups/A/a1");
        desk.tree.view().editLabel(desk.tree.item("All groups/B"));
        EXPECT_FALSE(desk.tree.isEditing());
        NMTREEVIEWA drag{};
        drag.hdr = {desk.treeWindow(), IDC_GROUPS_TREE, static_cast<UINT>(TVN_BEGINDRAGA)};
        drag.itemNew.hItem = desk.tree.item("All groups/B");
        SendMessageA(desk.window(), WM_NOTIFY, IDC_GROUPS_TREE, reinterpret_cast<LPARAM>(&drag));
        EXPECT_FALSE(hasCapture(desk.treeWindow()));

        EnableWindow(sheet, TRUE);
        EXPECT_EQ(onlyMessage(), kNameExists);
        EXPECT_EQ(windowText(desk.tree.editor()), "a1");
        desk.tree.enterLabel("a1");
        desk.tree.waitUntilEdited();
        EXPECT_EQ(desk.tree.lines(), kStart);
    });
}

TEST_F(GroupsPageInput, TabReachesTheButtonsAndADeletedSelectionLeavesTheKeyboardAlive) {
    records.deleteNode(5);
    records.deleteNode(7);
    records.deleteNode(4);
    records.deleteNode(3);
    sit([&](const Desk& desk) {
        desk.focusOn("All groups/A");
        for (int i = 0; i < 3; ++i)
            desk.input.keys({VK_TAB});
        EXPECT_TRUE(waitUntil([&] { return desk.hasFocus(IDC_GROUPS_DELETE); }));
        desk.input.keys({VK_SPACE});
        EXPECT_TRUE(desk.lineUp({"All groups"}));
        EXPECT_TRUE(waitUntil([&] { return desk.hasFocus(IDC_GROUPS_TREE); }));
    });
}

}  // namespace
}  // namespace velmora::testing
