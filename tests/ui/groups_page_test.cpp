// The printer groups page, operated by messages.

#include "directory/groups_db.h"
#include "tests/ui/groups_page_fixture.h"
#include "tests/ui/sent_messages.h"
#include "ui/directory_tree.h"
#include "ui/kit/window.h"

namespace velmora::testing {
namespace {

using GroupsPage = GroupsPageTest;

struct Buttons {
    bool newGroup, newPrinter, remove, properties;
    bool operator==(const Buttons&) const = default;
};

Buttons buttonsOf(const DialogDriver& page) {
    return {page.enabled(IDC_GROUPS_NEW_GROUP), page.enabled(IDC_GROUPS_NEW_PRINTER),
            page.enabled(IDC_GROUPS_DELETE), page.enabled(IDC_GROUPS_PROPERTIES)};
}

TEST_F(GroupsPage, ShowsTheDirectoryWithItsPictures) {
    work([&](const Page& page) {
        EXPECT_EQ(page.tree.lines(), directoryLines());
        EXPECT_EQ(page.tree.lines(),
                  (Lines{"All groups", " A", "  a1", "  a2", "  C", "   c1", " B", "  b1"}));
        EXPECT_EQ(page.tree.image("All groups/A"), TreeIcons::kGroup);
        EXPECT_EQ(page.tree.image("All groups/A/a1"), TreeIcons::kPrinter);
        EXPECT_EQ(ImageList_GetImageCount(reinterpret_cast<HIMAGELIST>(
                      SendMessageA(page.tree.window(), TVM_GETIMAGELIST, TVSIL_NORMAL, 0))),
                  2);
    });
}

TEST_F(GroupsPage, ButtonsFollowTheSelection) {
    work([&](const Page& page) {
        page.tree.select("All groups/A");
        EXPECT_EQ(buttonsOf(page), (Buttons{true, true, true, false}));
        page.tree.select("All groups");
        EXPECT_EQ(buttonsOf(page), (Buttons{true, true, false, false}));
        page.tree.select("All groups/A/a1");
        EXPECT_EQ(buttonsOf(page), (Buttons{false, false, true, true}));
        page.tree.view().select(nullptr);
        EXPECT_EQ(buttonsOf(page), (Buttons{false, false, true, true})) << "left as they are";
    });
}

TEST_F(GroupsPage, NewGroupsAreNumberedAndEditedAtOnce) {
    work([&](const Page& page) {
        for (const char* name :
             {"New Group Pattern", "New Group Pattern (1)", "New Group Pattern (2)"}) {
            page.tree.select("All groups/B");
            page.click(IDC_GROUPS_NEW_GROUP);
            EXPECT_EQ(page.tree.selectedPath(), std::string("All groups/B/") + name);
            PostMessageA(page.tree.editor(), WM_KEYDOWN, VK_RETURN, 1);
            page.tree.waitUntilEdited();
        }
        EXPECT_EQ(page.tree.lines(), directoryLines());
    });
    EXPECT_EQ(names(5),
              (Lines{"b1", "New Group Pattern", "New Group Pattern (1)", "New Group Pattern (2)"}));
}

TEST_F(GroupsPage, TheNewGroupsPatternIsTranslatedInThePagesSection) {
    writeSettingsFile("[PagePrinterGroups]\r\nNew Group Pattern=Neu\r\n");
    work([&](const Page& page) {
        page.tree.select("All groups");
        page.command(ID_GROUPS_NEW_GROUP);
        page.tree.enterLabel("typed");
        EXPECT_TRUE(waitUntil([&] { return page.tree.item("All groups/typed") != nullptr; }));
        page.tree.select("All groups");
        page.command(ID_GROUPS_NEW_GROUP);
        EXPECT_EQ(page.tree.selectedPath(), "All groups/Neu");
    });
    EXPECT_EQ(names(1), (Lines{"A", "B", "typed", "Neu"}));
}

TEST_F(GroupsPage, CommandsThatNeedAGroupDoNothingOnAPrinterOrWithoutSelection) {
    const Lines before = directoryLines();
    work([&](const Page& page) {
        for (const char* path : {"All groups/A/a1", ""}) {
            *path ? page.tree.select(path) : page.tree.view().select(nullptr);
            for (const int id : {ID_GROUPS_NEW_GROUP, ID_GROUPS_NEW_PRINTER, ID_GROUPS_PASTE})
                page.command(id);
            if (*path) continue;
            for (const int id : {ID_GROUPS_DELETE, ID_GROUPS_PROPERTIES, ID_GROUPS_CUT,
                                 ID_GROUPS_COPY, ID_GROUPS_RENAME})
                page.command(id);
        }
        EXPECT_FALSE(page.tree.isEditing());
    });
    EXPECT_EQ(directoryLines(), before);
}

TEST_F(GroupsPage, TheRootIsNeitherDeletedNorRenamedNorCut) {
    const Lines before = directoryLines();
    work([&](const Page& page) {
        page.tree.select("All groups");
        EXPECT_FALSE(page.enabled(IDC_GROUPS_DELETE));
        page.command(ID_GROUPS_DELETE);
        page.command(ID_GROUPS_RENAME);
        page.command(ID_GROUPS_CUT);
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.lines(), before);
        page.tree.select("All groups");
        page.press(IDC_GROUPS_TREE, VK_DELETE);
        page.press(IDC_GROUPS_TREE, VK_F2);
        page.settle();
        EXPECT_FALSE(page.tree.isEditing());
        EXPECT_EQ(page.tree.lines(), before);
    });
    EXPECT_EQ(directoryLines(), before);
}

TEST_F(GroupsPage, DeletingTakesEverythingBelowAndEmptiesTheClipboard) {
    work([&](const Page& page) {
        page.tree.select("All groups/B/b1");
        page.command(ID_GROUPS_COPY);
        page.tree.select("All groups/A");
        page.click(IDC_GROUPS_DELETE);
        EXPECT_EQ(page.tree.lines(), (Lines{"All groups", " B", "  b1"}));
        page.tree.select("All groups");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.lines(), (Lines{"All groups", " B", "  b1"}));
    });
    EXPECT_EQ(directoryLines(), (Lines{"All groups", " B", "  b1"}));
}

TEST_F(GroupsPage, RenamingChangesTheDirectory) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/C");
        page.press(IDC_GROUPS_TREE, VK_F2);
        page.tree.enterLabel("Cellar");
        page.tree.waitUntilEdited();
        EXPECT_EQ(page.tree.lines(), directoryLines());
    });
    EXPECT_EQ(names(2), (Lines{"a1", "a2", "Cellar"}));
}

TEST_F(GroupsPage, ASiblingsNameIsRefusedAndTheEditorComesBack) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.press(IDC_GROUPS_TREE, VK_F2);
        page.tree.enterLabel("C");
        EXPECT_EQ(onlyMessage(), kNameExists);
        EXPECT_EQ(named("a1")->id, 3u);
        const HWND box = page.tree.editor();
        EXPECT_EQ(page.tree.text(page.tree.item("All groups/A/a1")), "a1");
        SendMessageA(box, WM_SETTEXT, 0, reinterpret_cast<LPARAM>("a1"));
        PostMessageA(box, WM_KEYDOWN, VK_RETURN, 1);
        page.tree.waitUntilEdited();
        EXPECT_EQ(page.tree.lines(), directoryLines()) << "its own name is accepted";
    });
}

TEST_F(GroupsPage, AnEmptyOrCancelledLabelKeepsTheName) {
    const Lines before = directoryLines();
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.command(ID_GROUPS_RENAME);
        page.tree.enterLabel("");
        page.tree.waitUntilEdited();
        EXPECT_EQ(page.tree.lines(), before);
        page.command(ID_GROUPS_RENAME);
        const HWND box = page.tree.editor();
        SendMessageA(box, WM_SETTEXT, 0, reinterpret_cast<LPARAM>("other"));
        PostMessageA(box, WM_KEYDOWN, VK_ESCAPE, 1);
        page.tree.waitUntilEdited();
        EXPECT_EQ(page.tree.lines(), before);
    });
    EXPECT_EQ(directoryLines(), before);
}

TEST_F(GroupsPage, LabelsOfEveryLengthComeThrough) {
    work([&](const Page& page) {
        std::string path = "All groups/A/a1";
        for (const std::size_t length : {255u, 260u, 1023u, 32000u}) {
            page.tree.select(path);
            page.command(ID_GROUPS_RENAME);
            const std::string name(length, 'n');
            page.tree.enterLabel(name);
            page.tree.waitUntilEdited();
            EXPECT_EQ(directory.FindNode(3)->name, name) << length;
            path = "All groups/A/" + page.tree.children("All groups/A").front();
        }
    });
}

TEST_F(GroupsPage, EditingALongLabelWithoutAChangeKeepsIt) {
    const std::string name(900, 'n');
    directory.RenameNode(3, name);
    work([&](const Page& page) {
        page.tree.select("All groups/A/" + name);
        page.command(ID_GROUPS_RENAME);
        EXPECT_EQ(windowText(page.tree.editor()), name);
        EXPECT_EQ(SendMessageA(page.tree.editor(), EM_GETLIMITTEXT, 0, 0), 1023);
        PostMessageA(page.tree.editor(), WM_KEYDOWN, VK_RETURN, 1);
        page.tree.waitUntilEdited();
    });
    EXPECT_EQ(directory.FindNode(3)->name, name);
}

TEST_F(GroupsPage, OkTakesTheLabelThatIsBeingEdited) {
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const Page page(sheet, sheet.openPage(2));
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_RENAME);
        SendMessageA(page.tree.editor(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("Bureau"));
        sheet.ok();
    }));
    EXPECT_EQ(directory.FindNode(5)->name, "Bureau");
}

TEST_F(GroupsPage, OkStaysWhenTheLabelIsRefused) {
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const Page page(sheet, sheet.openPage(2));
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_RENAME);
        SendMessageA(page.tree.editor(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("A"));
        sheet.ok();
        EXPECT_EQ(onlyMessage(), kNameExists);
        page.tree.enterLabel("B2");
        page.tree.waitUntilEdited();
        sheet.ok();
    }));
    EXPECT_EQ(directory.FindNode(5)->name, "B2");
}

TEST_F(GroupsPage, ACutIsPastedOnce) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/C");
        page.command(ID_GROUPS_CUT);
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        const Lines moved{"All groups", " A", "  a1", "  a2", " B", "  b1", "  C", "   c1"};
        // The directory lists children by id; the tree shows new ones at the end.
        EXPECT_EQ(page.tree.lines(), moved);
        page.tree.select("All groups/A");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.lines(), moved) << "the second paste does nothing";
    });
    EXPECT_EQ(named("C")->parent, 5u);
}

TEST_F(GroupsPage, ACopyIsPastedIntoEveryGroupButOnceInEach) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/C");
        page.command(ID_GROUPS_COPY);
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.children("All groups/B/C"), Lines{"c1"});
        EXPECT_TRUE(page.tree.view().isExpanded(page.tree.item("All groups/B")));
        page.tree.select("All groups");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.children("All groups/C"), Lines{"c1"});
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(onlyMessage(), kCannotCopy);
        EXPECT_EQ(page.tree.lines(), directoryLines());
        page.tree.select("All groups/A/C");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(onlyMessage(), kCannotCopy) << "the clipboard still holds the copy";
    });
}

TEST_F(GroupsPage, ARefusedPasteOfACutEmptiesTheClipboard) {
    const Lines before = directoryLines();
    work([&](const Page& page) {
        page.tree.select("All groups/A");
        page.command(ID_GROUPS_CUT);
        page.tree.select("All groups/A/C");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(onlyMessage(), kCannotCopy);
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.lines(), before);
    });
    EXPECT_EQ(directoryLines(), before);
}

TEST_F(GroupsPage, TheWholeContentCannotBePlacedBelowItself) {
    const Lines before = directoryLines();
    work([&](const Page& page) {
        page.tree.select("All groups");
        page.command(ID_GROUPS_COPY);
        for (const char* target : {"All groups/B", "All groups"}) {
            page.tree.select(target);
            page.command(ID_GROUPS_PASTE);
            EXPECT_EQ(onlyMessage(), kCannotCopy);
        }
    });
    EXPECT_EQ(directoryLines(), before);
}

TEST_F(GroupsPage, PastingOnTheRootPutsNodesIntoTheRootGroup) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.command(ID_GROUPS_CUT);
        page.tree.select("All groups");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.children("All groups"), (Lines{"A", "B", "a1"}));
    });
    EXPECT_EQ(named("a1")->parent, 1u);
}

TEST_F(GroupsPage, ANewPrinterComesFromItsDialog) {
    work([&](const Page& page) {
        page.tree.select("All groups/B");
        page.clickWithoutWaiting(IDC_GROUPS_NEW_PRINTER);
        const DialogDriver dialog = waitForDialog("New Printer Properties");
        dialog.type(IDC_PRINTER_NAME, "b1");
        dialog.type(IDC_PRINTER_URL, "h/p");
        dialog.clickWithoutWaiting(IDOK);
        EXPECT_EQ(boxes.take().size(), 1u) << "the name is taken in this group";
        dialog.type(IDC_PRINTER_NAME, "a1");
        dialog.click(IDC_PRINTER_AUTHENTICATION);
        dialog.type(IDC_PRINTER_USER_NAME, "forgotten");
        dialog.click(IDC_PRINTER_AUTHENTICATION);
        dialog.clickWithoutWaiting(IDOK);
        dialog.waitUntilClosed();
        EXPECT_TRUE(waitUntil([&] { return page.tree.selectedPath() == "All groups/B/a1"; }));
        EXPECT_EQ(page.tree.lines(), directoryLines());
    });
    const CGroupsDBPrinter* printer = directory.FindPrinter(directory.nextId() - 1);
    ASSERT_NE(printer, nullptr);
    EXPECT_EQ(printer->parent, 5u);
    EXPECT_EQ(printer->address.url, "h/p");
    EXPECT_EQ(printer->address.useAuthentication, 0);
    EXPECT_EQ(printer->address.userName, "");
}

TEST_F(GroupsPage, PropertiesEditThePrinterAndItsLabel) {
    directory.FindPrinter(3)->address = {"ipp://a1", 1, "user", "secret"};
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.clickWithoutWaiting(IDC_GROUPS_PROPERTIES);
        const DialogDriver dialog = waitForDialog("Printer properties");
        EXPECT_EQ(dialog.text(IDC_PRINTER_NAME), "a1");
        EXPECT_EQ(dialog.text(IDC_PRINTER_USER_NAME), "user");
        dialog.type(IDC_PRINTER_NAME, "renamed");
        dialog.click(IDC_PRINTER_AUTHENTICATION);
        dialog.clickWithoutWaiting(IDOK);
        dialog.waitUntilClosed();
        EXPECT_TRUE(waitUntil([&] { return page.tree.item("All groups/A/renamed") != nullptr; }));
    });
    const CGroupsDBPrinter* printer = directory.FindPrinter(3);
    EXPECT_EQ(printer->name, "renamed");
    EXPECT_EQ(printer->address.useAuthentication, 0);
    EXPECT_EQ(printer->address.userName, "");
    EXPECT_EQ(printer->address.password, "");
}

TEST_F(GroupsPage, PropertiesAcceptThePrintersOwnNameAndRefuseThoseOfTheOthersInItsGroup) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.clickWithoutWaiting(IDC_GROUPS_PROPERTIES);
        const DialogDriver dialog = waitForDialog("Printer properties");
        for (const char* taken : {"a2", "C"}) {
            dialog.type(IDC_PRINTER_NAME, taken);
            dialog.clickWithoutWaiting(IDOK);
            EXPECT_EQ(onlyMessage(), kPrinterNameUsed) << taken;
        }
        dialog.type(IDC_PRINTER_NAME, "a1");
        dialog.clickWithoutWaiting(IDOK);
        dialog.waitUntilClosed();
    });
    EXPECT_EQ(directory.FindNode(3)->name, "a1");
}

TEST_F(GroupsPage, ANewPrinterIsNotNamedLikeAGroupBesideIt) {
    work([&](const Page& page) {
        page.tree.select("All groups/A");
        page.clickWithoutWaiting(IDC_GROUPS_NEW_PRINTER);
        const DialogDriver dialog = waitForDialog("New Printer Properties");
        dialog.type(IDC_PRINTER_NAME, "C");
        dialog.type(IDC_PRINTER_URL, "h/p");
        dialog.clickWithoutWaiting(IDOK);
        EXPECT_EQ(onlyMessage(), kPrinterNameUsed);
        dialog.type(IDC_PRINTER_NAME, "B");
        dialog.clickWithoutWaiting(IDOK);
        dialog.waitUntilClosed();
    });
    EXPECT_EQ(names(2), (Lines{"a1", "a2", "C", "B"})) << "a group of another group does not count";
}

TEST_F(GroupsPage, APasteOpensItsTarget) {
    work([&](const Page& page) {
        const auto collapse = [&](const char* path) {
            SendMessageA(page.tree.window(), TVM_EXPAND, TVE_COLLAPSE,
                         reinterpret_cast<LPARAM>(page.tree.item(path)));
            ASSERT_FALSE(page.tree.view().isExpanded(page.tree.item(path)));
        };
        page.tree.select("All groups/A/C");
        page.command(ID_GROUPS_COPY);
        collapse("All groups/B");
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        EXPECT_TRUE(page.tree.view().isExpanded(page.tree.item("All groups/B")));
        page.tree.select("All groups/A/a1");
        page.command(ID_GROUPS_CUT);
        collapse("All groups/B");
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        EXPECT_TRUE(page.tree.view().isExpanded(page.tree.item("All groups/B")));
    });
}

TEST_F(GroupsPage, APasteOnAPrinterDoesNotUseUpACut) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/C");
        page.command(ID_GROUPS_CUT);
        page.tree.select("All groups/B/b1");
        page.command(ID_GROUPS_PASTE);
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.children("All groups/B"), (Lines{"b1", "C"}));
    });
    EXPECT_EQ(named("C")->parent, 5u);
}

TEST_F(GroupsPage, MenuCommandsSelectTheCurrentItemAgainAndBringItIntoSight) {
    for (int i = 0; i < 100; ++i)
        directory.AddGroup("g" + std::to_string(i), 1);
    work([&](const Page& page) {
        const HTREEITEM item = page.tree.item("All groups/A/a1");
        for (const int command : {ID_GROUPS_COPY, ID_GROUPS_CUT, ID_GROUPS_PASTE, ID_GROUPS_RENAME,
                                  ID_GROUPS_NEW_GROUP}) {
            page.tree.select("All groups/A/a1");
            SendMessageA(page.tree.window(), WM_VSCROLL, SB_BOTTOM, 0);
            SentMessages selected(page.tree.window(), [&](const CWPSTRUCT& sent) {
                return sent.message == TVM_SELECTITEM && sent.wParam == TVGN_CARET;
            });
            page.command(command);
            const auto messages = selected.take();
            ASSERT_GE(messages.size(), 1u) << command;
            EXPECT_EQ(reinterpret_cast<HTREEITEM>(messages.front().lParam), item) << command;
            const RECT text = page.tree.view().textRect(item);
            EXPECT_GE(text.top, 0) << command;
            EXPECT_LT(text.left, text.right) << command;
            page.tree.view().endEdit();
        }
    });
}

TEST_F(GroupsPage, TheDraggedImageIsHeldWhereTheItemIsGrasped) {
    work([&](const Page& page) {
        const HTREEITEM item = page.tree.item("All groups/A/C");
        const RECT text = page.tree.view().textRect(item);
        const LONG middle = (text.top + text.bottom) / 2;
        const auto onPicture = [&](LONG x) {
            TVHITTESTINFO hit{};
            hit.pt = {x, middle};
            SendMessageA(page.tree.window(), TVM_HITTEST, 0, reinterpret_cast<LPARAM>(&hit));
            return hit.hItem == item && (hit.flags & TVHT_ONITEMICON) != 0;
        };
        LONG left = text.left - 1;
        ASSERT_TRUE(onPicture(left));
        while (onPicture(left - 1))
            --left;
        const POINT held = page.tree.view().pointInDragImage(item, {left, middle});
        EXPECT_GE(held.x, 0) << "the picture's left edge is the image's";
        EXPECT_LE(held.x, 3);
        EXPECT_EQ(held.y, middle - text.top);
    });
}

TEST_F(GroupsPage, ATransferIsDrawnOnce) {
    work([&](const Page& page) {
        SentMessages drawing(page.tree.window(), [&](const CWPSTRUCT& sent) {
            return sent.hwnd == page.tree.window() && sent.message == WM_SETREDRAW;
        });
        page.tree.select("All groups/A/C");
        page.command(ID_GROUPS_CUT);
        page.tree.select("All groups/B");
        page.command(ID_GROUPS_PASTE);
        std::vector<WPARAM> switched;
        for (const auto& message : drawing.take())
            switched.push_back(message.wParam);
        EXPECT_EQ(switched, (std::vector<WPARAM>{FALSE, TRUE}));
    });
}

TEST_F(GroupsPage, PatternsAreInsertedIntoAListThatKnowsTheirNumberAndIsDrawnOnce) {
    for (int i = 0; i < 20; ++i)
        directory.SetPortPrinter("port " + std::to_string(i), {"ipp://p", 0, "", ""});
    work([&](const Page& page) {
        page.tree.select("All groups/A");
        SentMessages sent(page.window(), [](const CWPSTRUCT& message) {
            return GetDlgCtrlID(message.hwnd) == IDC_PRINTER_PATTERNS &&
                   (message.message == WM_SETREDRAW || message.message == LVM_SETITEMCOUNT ||
                    message.message == LVM_INSERTITEMA);
        });
        page.clickWithoutWaiting(IDC_GROUPS_NEW_PRINTER);
        const DialogDriver dialog = waitForDialog("New Printer Properties");
        EXPECT_EQ(dialog.rows(IDC_PRINTER_PATTERNS), 20);
        std::vector<std::pair<UINT, WPARAM>> messages;
        for (const auto& message : sent.take())
            messages.emplace_back(message.message, message.wParam);
        std::vector<std::pair<UINT, WPARAM>> expected{{WM_SETREDRAW, FALSE},
                                                      {LVM_SETITEMCOUNT, 20}};
        expected.insert(expected.end(), 20, {LVM_INSERTITEMA, 0});
        expected.emplace_back(WM_SETREDRAW, TRUE);
        EXPECT_EQ(messages, expected);
        dialog.clickWithoutWaiting(IDCANCEL);
        dialog.waitUntilClosed();
    });
}

TEST_F(GroupsPage, NothingIsMadeWhereTheTreeDoesNotShowIt) {
    addChain("g", 5, 498);
    const std::size_t before = directory.nodes().size();
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        const Page page(sheet, sheet.openPage(2));
        // Drawing hundreds of levels that open one after another takes a minute.
        const RedrawPause pause(page.tree.window());
        HTREEITEM item = page.tree.item("All groups/B/g");
        while (const HTREEITEM child = page.tree.view().firstChild(item))
            item = child;
        page.tree.select("All groups/A/a1");
        page.command(ID_GROUPS_COPY);
        page.tree.view().select(item);
        page.command(ID_GROUPS_NEW_GROUP);
        EXPECT_EQ(onlyMessage(), kTooDeep);
        page.command(ID_GROUPS_NEW_PRINTER);
        EXPECT_EQ(onlyMessage(), kTooDeep);
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(onlyMessage(), kTooDeep);
        page.tree.view().select(page.tree.view().parent(item));
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(directory.nodes().size(), before + 1) << "the last level that is shown";
        sheet.cancel();
    }));
}

TEST_F(GroupsPage, ADirectoryWithoutItsRootShowsNothingAndTakesNothing) {
    directory = CGroupsDB();
    directory.AddGroup("lost", 1);
    work([&](const Page& page) {
        EXPECT_EQ(page.tree.lines(), Lines{});
        for (const int id :
             {ID_GROUPS_NEW_GROUP, ID_GROUPS_NEW_PRINTER, ID_GROUPS_COPY, ID_GROUPS_CUT,
              ID_GROUPS_PASTE, ID_GROUPS_DELETE, ID_GROUPS_RENAME, ID_GROUPS_PROPERTIES})
            page.command(id);
        EXPECT_EQ(page.tree.lines(), Lines{});
    });
    EXPECT_EQ(directory.nodes().size(), 1u);
}

TEST_F(GroupsPage, ARefusedLabelsMessageWaitsUntilTheSheetCanBeUsed) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.command(ID_GROUPS_RENAME);
        const HWND sheet = page.sheet.sheet().window();
        EnableWindow(sheet, FALSE);
        SendMessageA(page.tree.editor(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("C"));
        page.tree.view().endEdit();
        page.settle();
        EXPECT_EQ(boxes.count(), 0u);
        EXPECT_FALSE(page.tree.isEditing());
        EnableWindow(sheet, TRUE);
        EXPECT_EQ(onlyMessage(), kNameExists);
        page.tree.enterLabel("mended");
        page.tree.waitUntilEdited();
    });
    EXPECT_EQ(directory.FindNode(3)->name, "mended");
}

TEST_F(GroupsPage, CommandsThatArriveWhileADialogIsOpenAreDropped) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.postCommand(ID_GROUPS_PROPERTIES);
        page.postCommand(ID_GROUPS_PROPERTIES);
        page.postCommand(ID_GROUPS_DELETE);
        const DialogDriver dialog = waitForDialog("Printer properties");
        page.settle();
        EXPECT_EQ(GetLastActivePopup(page.sheet.sheet().window()), dialog.window())
            << "a second dialog";
        dialog.type(IDC_PRINTER_NAME, "renamed");
        dialog.clickWithoutWaiting(IDOK);
        dialog.waitUntilClosed();
        EXPECT_TRUE(waitUntil([&] { return page.tree.item("All groups/A/renamed") != nullptr; }));
    });
    ASSERT_NE(directory.FindPrinter(3), nullptr) << "deleted under its dialog";
    EXPECT_EQ(directory.FindPrinter(3)->name, "renamed");
}

TEST_F(GroupsPage, PropertiesOfAGroupDoNothing) {
    work([&](const Page& page) {
        page.tree.select("All groups/A");
        page.command(ID_GROUPS_PROPERTIES);
        page.tree.select("All groups");
        page.command(ID_GROUPS_PROPERTIES);
    });
}

TEST_F(GroupsPage, AChangedDirectoryShowsOnTheMainPage) {
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const Page page(sheet, sheet.openPage(2));
        page.tree.expandAll();
        page.tree.select("All groups/B");
        page.click(IDC_GROUPS_DELETE);
        const DialogDriver main = sheet.openPage(0);
        EXPECT_EQ(main.rows(IDC_PORT_GROUPS), 3);
        sheet.ok();
    }));
}

TEST_F(GroupsPage, DamagedDirectoriesAreShownAsFarAsTheyHang) {
    const auto insert = [&](std::uint32_t id, std::uint32_t parent, std::uint32_t type) {
        std::unique_ptr<CGroupsDBNode> node;
        if (type == NODE_PRINTER)
            node = std::make_unique<CGroupsDBPrinter>();
        else
            node = std::make_unique<CGroupsDBGroup>();
        node->id = id;
        node->parent = parent;
        node->name = "n" + std::to_string(id);
        directory.Insert(std::move(node));
    };
    insert(0, 0, NODE_GROUP);
    insert(20, 20, NODE_GROUP);
    insert(21, 22, NODE_GROUP);
    insert(22, 21, NODE_GROUP);
    insert(23, 4000, NODE_PRINTER);
    insert(24, 3, NODE_PRINTER);
    insert(25, 0, NODE_GROUP);
    insert(0xFFFFFFFF, 5, NODE_GROUP);
    work([&](const Page& page) {
        EXPECT_EQ(page.tree.lines(), (Lines{"All groups", " A", "  a1", "   n24", "  a2", "  C",
                                            "   c1", " B", "  b1", "  n4294967295", "n25"}));
        page.tree.select("n25");
        page.command(ID_GROUPS_COPY);
        page.tree.select("All groups/B/n4294967295");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(page.tree.children("All groups/B/n4294967295"), Lines{"n25"});
        page.tree.select("n25");
        page.command(ID_GROUPS_DELETE);
        EXPECT_EQ(page.tree.item("n25"), nullptr);
        page.tree.select("All groups/A/a1/n24");
        page.command(ID_GROUPS_DELETE);
    });
    EXPECT_NE(directory.FindNode(1), nullptr);
}

TEST_F(GroupsPage, TenThousandNodesAreShownAndEdited) {
    std::uint32_t group = 0;
    while (directory.nodes().size() < 10000) {
        if (directory.nodes().size() % 100 == 0 || group == 0)
            group = directory.AddGroup("g" + std::to_string(directory.nextId()), 1)->id;
        directory.AddPrinter("p" + std::to_string(directory.nextId()), {"h", false, "", ""}, group);
    }
    const std::string last = "All groups/" + directory.FindNode(group)->name;
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        const Page page(sheet, sheet.openPage(2));
        const auto count = [&] { return SendMessageA(page.tree.window(), TVM_GETCOUNT, 0, 0); };
        EXPECT_EQ(count(), 10000);
        page.tree.select("All groups/A");
        page.command(ID_GROUPS_CUT);
        page.tree.select(last);
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(count(), 10000);
        page.tree.select(last);
        page.command(ID_GROUPS_DELETE);
        EXPECT_EQ(static_cast<std::size_t>(count()), directory.nodes().size());
        sheet.cancel();
    }));
}

TEST_F(GroupsPage, AChainAsDeepAsTheDirectoryIsShownInPart) {
    addChain("g", 5, 2000);
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        const Page page(sheet, sheet.openPage(2));
        page.tree.select("All groups/B/g");
        page.command(ID_GROUPS_COPY);
        page.tree.select("All groups/A");
        page.command(ID_GROUPS_PASTE);
        EXPECT_EQ(onlyMessage(), kTooDeep) << "most of the copy would not be shown";
        page.tree.select("All groups/B/g");
        page.command(ID_GROUPS_DELETE);
        sheet.cancel();
    }));
    EXPECT_EQ(names(5), Lines{"b1"});
    EXPECT_EQ(directory.nodes().size(), 8u);
}

}  // namespace
}  // namespace velmora::testing
